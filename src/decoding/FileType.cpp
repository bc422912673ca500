#include "decoding/FileType.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

namespace tavolin {

namespace {

/// Enough for every magic number and for the brands of all ISO media files seen.
using Head = std::array<std::byte, 256>;

constexpr std::array<std::string_view, 12> HEIF_BRANDS{
    "heic", "heix", "hevc", "hevx", "heim", "heis", "hevm", "hevs", "mif1", "mif2", "msf1", "heif"};

/// A file whose first box is "ftyp" (ISO/IEC 14496-12, 4.3): the brands decide.
FileType typeOfIsoMedia(std::string_view head)
{
    if (head.substr(8, 4) == "crx ")
        return FileType::Raw;
    const std::size_t end =
        std::min<std::size_t>(head.size(), qFromBigEndian<quint32>(head.data()));
    // The major brand, then, after four bytes of version, the compatible ones.
    for (std::size_t at = 8; at + 4 <= end; at += at == 8 ? 8 : 4) {
        const std::string_view brand = head.substr(at, 4);
        if (std::find(HEIF_BRANDS.begin(), HEIF_BRANDS.end(), brand) != HEIF_BRANDS.end())
            return FileType::Heif;
    }
    return FileType::Unknown;
}

/// Windows and OS/2 headers have 12 or 16 to 124 bytes; "BM" alone also begins many a text.
bool isBmp(std::string_view head)
{
    if (!head.starts_with("BM") || head.size() < 18)
        return false;
    const auto headerBytes = qFromLittleEndian<quint32>(head.data() + 14);
    return headerBytes == 12 || (headerBytes >= 16 && headerBytes <= 124);
}

} // namespace

FileType sniffFileType(const SourceFile &file)
{
    using namespace std::string_view_literals;
    Head bytes;
    const std::size_t count = file.readAt(0, bytes);
    const std::string_view head(reinterpret_cast<const char *>(bytes.data()), count);
    const auto startsWithAny = [head](std::initializer_list<std::string_view> magics) {
        return std::any_of(magics.begin(), magics.end(),
                           [head](std::string_view magic) { return head.starts_with(magic); });
    };
    const auto has = [head](std::size_t at, std::string_view text) {
        return head.size() >= at + text.size() && head.substr(at, text.size()) == text;
    };

    if (head.starts_with("\xff\xd8\xff"sv))
        return FileType::Jpeg;
    if (head.starts_with("\x89PNG\r\n\x1a\n"sv))
        return FileType::Png;
    if (head.starts_with("RIFF"sv) && has(8, "WEBP"sv))
        return FileType::WebP;
    if (startsWithAny({"IIU\0"sv, "IIRO"sv, "IIRS"sv, "MMOR"sv, "FUJIFILMCCD-RAW"sv}))
        return FileType::Raw;
    if (startsWithAny({"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}))
        return has(8, "CR"sv) ? FileType::Raw : FileType::Tiff;
    if (has(4, "ftyp"sv) && head.size() >= 12)
        return typeOfIsoMedia(head);
    return isBmp(head) ? FileType::Bmp : FileType::Unknown;
}

} // namespace tavolin
