#include "decoding/codecs/BmpLayout.h"

#include "decoding/color/Color.h"
#include "decoding/color/ProfileCheck.h"
#include "decoding/headers/Headers.h"
#include "pixels/Limits.h"

#include <algorithm>

namespace tavolin {

namespace {

constexpr std::size_t FILE_HEADER_BYTES = 14;
/// The headers of Windows by their sizes; "INFO" has no masks of its own.
constexpr std::size_t CORE_BYTES = 12;
constexpr std::size_t INFO_BYTES = 40;
constexpr std::size_t OS2_BYTES = 64;
constexpr std::size_t V4_BYTES = 108;
constexpr std::size_t V5_BYTES = 124;

// biCompression.
constexpr std::uint32_t PLAIN = 0;
constexpr std::uint32_t RUNS_OF_8 = 1;
constexpr std::uint32_t RUNS_OF_4 = 2;
constexpr std::uint32_t BIT_FIELDS = 3;
constexpr std::uint32_t ALPHA_BIT_FIELDS = 6;

// bV4CSType: the header itself says what the colours are, or (the letters "MBED") holds a profile.
constexpr std::uint32_t CALIBRATED = 0;
constexpr std::uint32_t PROFILE_EMBEDDED = 0x4d424544;

/// The bytes of BITMAPINFOHEADER and what has its place; offsets count from its own beginning.
struct InfoHeader
{
    ByteSpan bytes;

    [[nodiscard]] bool has(std::size_t end) const { return bytes.size() >= end; }
    /// A number of four bytes, 0 where the header is too short to have it.
    [[nodiscard]] std::uint32_t u32(std::size_t at) const
    {
        return has(at + 4) ? littleEndian<quint32>(bytes, at) : 0;
    }
    [[nodiscard]] bool isCore() const { return bytes.size() == CORE_BYTES; }
    /// Of OS/2, where the numbers of compressions mean others.
    [[nodiscard]] bool isOs2() const
    {
        return bytes.size() < INFO_BYTES || bytes.size() == OS2_BYTES;
    }
    [[nodiscard]] int bits() const { return littleEndian<quint16>(bytes, isCore() ? 10 : 14); }
    [[nodiscard]] std::uint32_t compression() const { return u32(16); }
    /// BITMAPINFOHEADER has its masks behind it.
    [[nodiscard]] std::size_t masksBehind() const
    {
        if (bytes.size() != INFO_BYTES)
            return 0;
        return compression() == BIT_FIELDS ? 12 : compression() == ALPHA_BIT_FIELDS ? 16 : 0;
    }
};

bool isKnown(const InfoHeader &header)
{
    const int bits = header.bits();
    switch (header.compression()) {
    case PLAIN:
        return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 ||
               bits == 32;
    case RUNS_OF_8:
        return bits == 8;
    case RUNS_OF_4:
        return bits == 4;
    case BIT_FIELDS:
    case ALPHA_BIT_FIELDS:
        return !header.isOs2() && (bits == 16 || bits == 32);
    default:
        return false;
    }
}

/// @p behind: the masks that stand behind the header. A pixel that does not say that its fields are
/// its own is opaque, whatever its header has for alpha.
void readMasks(const InfoHeader &header, ByteSpan behind, BmpLayout &layout)
{
    if (header.compression() == PLAIN) {
        layout.masks = layout.bits == 16 ? std::array<std::uint32_t, 4>{0x7c00, 0x3e0, 0x1f, 0}
                                         : std::array<std::uint32_t, 4>{0xff0000, 0xff00, 0xff, 0};
        return;
    }
    const InfoHeader masks{behind.empty() ? header.bytes.subspan(INFO_BYTES) : behind};
    for (std::size_t i = 0; i < layout.masks.size(); ++i)
        layout.masks[i] = masks.u32(4 * i);
}

/// @p begin: where the palette begins in the file.
void readPalette(FieldReader &fields, std::int64_t begin, std::uint32_t used, bool isCore,
                 BmpLayout &layout)
{
    const std::size_t most = std::size_t{1} << layout.bits;
    const std::size_t entryBytes = isCore ? 3 : 4;
    std::size_t count = used == 0 ? most : std::min<std::size_t>(used, most);
    // Some claim a full palette and have less.
    const std::int64_t end = layout.pixels > begin ? layout.pixels : fields.size();
    const auto room = std::max(std::int64_t{0}, std::min(end, fields.size()) - begin);
    count = std::min(count, static_cast<std::size_t>(room) / entryBytes);
    const ByteSpan entries = fields.bytes(begin, count * entryBytes);
    layout.palette.fill(0xff000000);
    for (std::size_t i = 0; (i + 1) * entryBytes <= entries.size(); ++i) {
        const auto level = [&](std::size_t at) {
            return std::to_integer<Pixel>(entries[i * entryBytes + at]);
        };
        layout.palette[i] = 0xff000000 | level(2) << 16 | level(1) << 8 | level(0);
    }
}

/// bV4Endpoints, X, Y and Z of each primary with 30 binary places, and the gammas of the three with
/// 16. Most programs leave zeros, which say nothing.
QByteArray calibratedProfile(const InfoHeader &header)
{
    std::array<Chromaticity, 3> primaries;
    double whiteX = 0;
    double whiteY = 0;
    double whiteSum = 0;
    for (std::size_t i = 0; i < primaries.size(); ++i) {
        const auto number = [&](std::size_t place) {
            return header.u32(60 + 12 * i + 4 * place) / double{1U << 30};
        };
        const double sum = number(0) + number(1) + number(2);
        if (sum <= 0)
            return {};
        primaries[i] = {number(0) / sum, number(1) / sum};
        whiteX += number(0);
        whiteY += number(1);
        whiteSum += sum;
    }
    // One for all: a picture whose channels differ in gamma is not to be met.
    const double gamma = header.u32(96) / 65536.0;
    return rgbProfile(
        {{whiteX / whiteSum, whiteY / whiteSum}, primaries[0], primaries[1], primaries[2]}, gamma);
}

QByteArray readProfile(const SourceFile &file, const InfoHeader &header)
{
    if (header.has(V4_BYTES) && header.u32(56) == CALIBRATED)
        return calibratedProfile(header);
    const std::uint32_t count = header.u32(116);
    if (!header.has(V5_BYTES) || header.u32(56) != PROFILE_EMBEDDED || count > MAX_PROFILE_BYTES)
        return {};
    QByteArray profile =
        file.bytesAt(std::int64_t{FILE_HEADER_BYTES} + header.u32(112), std::int64_t{count});
    // ICC.1:2022, 7.2.6.
    return profile.size() == qsizetype{count} && profile.mid(16, 4) == "RGB " ? profile
                                                                              : QByteArray();
}

} // namespace

std::optional<BmpLayout> readBmpLayout(FieldReader &fields)
{
    const auto properties = readBmpHeader(fields);
    const ByteSpan head = fields.bytes(0, FILE_HEADER_BYTES + 4);
    if (!properties || !isWithinLimits(properties->stored) || !hasText(head, "BM"))
        return std::nullopt;
    BmpLayout layout;
    layout.size = properties->stored;
    layout.pixels = littleEndian<quint32>(head, 10);
    const std::size_t headerBytes = littleEndian<quint32>(head, FILE_HEADER_BYTES);
    if (headerBytes < CORE_BYTES || headerBytes > V5_BYTES)
        return std::nullopt;

    // One call, as each makes what the one before gave invalid; masks may stand behind the header.
    constexpr std::size_t MOST_MASK_BYTES = 16;
    ByteSpan bytes = fields.bytes(FILE_HEADER_BYTES, headerBytes + MOST_MASK_BYTES);
    if (bytes.empty())
        bytes = fields.bytes(FILE_HEADER_BYTES, headerBytes);
    if (bytes.empty())
        return std::nullopt;
    const InfoHeader header{bytes.first(headerBytes)};
    if (!isKnown(header))
        return std::nullopt;
    layout.bits = header.bits();
    layout.hasRuns = header.compression() == RUNS_OF_8 || header.compression() == RUNS_OF_4;
    layout.isTopDown = !header.isCore() && littleEndian<qint32>(header.bytes, 8) < 0;
    const std::size_t behind = header.masksBehind();
    if (bytes.size() < headerBytes + behind)
        return std::nullopt;
    readMasks(header, bytes.subspan(headerBytes, behind), layout);
    layout.iccProfile = soundProfile(readProfile(fields.file(), header));
    const std::uint32_t used = header.u32(32);
    const bool isCore = header.isCore();
    const auto begin = static_cast<std::int64_t>(FILE_HEADER_BYTES + headerBytes + behind);
    const auto colors = layout.bits <= 8 ? std::int64_t{1} << layout.bits : 0;
    if (layout.bits <= 8)
        readPalette(fields, begin, used, isCore, layout);
    if (layout.pixels == 0)
        layout.pixels = begin + colors * (isCore ? 3 : 4);
    return layout;
}

} // namespace tavolin
