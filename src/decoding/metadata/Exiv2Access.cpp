#include "decoding/metadata/Exiv2Access.h"

#include "decoding/metadata/Exiv2Seam.h"
#include "pixels/Limits.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <zlib.h>

namespace tavolin {

namespace {

/// The most that Exiv2 may read of one file, apart from mapping it: far above the metadata of
/// honest files, and an end to a chunk that claims hundreds of megabytes.
constexpr std::int64_t MAX_READ_BYTES = std::int64_t{64} << 20;

/// Segments of a JPEG's profile, of 64 kB each: Exiv2 copies all that it has of it with each of
/// them. The largest profiles in use, for presses, have about 3 MB.
constexpr int MAX_PROFILE_SEGMENTS = 64;

/// What one block of metadata may have. Reading XMP takes time that grows with the square of the
/// number of its properties: a tenth of a second with these.
constexpr std::size_t MAX_BLOCK_BYTES = std::size_t{1} << 20;
constexpr std::ptrdiff_t MAX_MARKS = 5000;
/// What a text of a PNG that was made of a block may have: two digits a byte, in lines.
constexpr uLong MAX_INFLATED_BYTES = 192 << 10;

using Bytes = std::span<Exiv2::byte>;
using exiv2::Count;
using Exiv2::ErrorCode;

/// Whether @p block is XMP with too many properties, each of which takes a "<" or a "=" in any
/// encoding. Nearly all that is no text has fewer: one of 128 bytes is one of the two by chance.
bool hasTooManyProperties(std::span<const Exiv2::byte> block)
{
    const auto marks =
        std::ranges::count_if(block, [](Exiv2::byte byte) { return byte == '<' || byte == '='; });
    return marks > MAX_MARKS && marks > static_cast<std::ptrdiff_t>(block.size() / 96);
}

/// Whether @p text, the content of a PNG's chunk, is deflated and has more in it than a block of
/// metadata.
bool isInflatedTooLarge(Bytes text)
{
    std::vector<Exiv2::byte> room(MAX_INFLATED_BYTES);
    // The stream begins two bytes after the end of its name, or further on where languages are
    // named in between; elsewhere nothing looks like the beginning of one for long.
    constexpr std::ptrdiff_t LONGEST_LANGUAGE = 256;
    const auto nameEnd = std::ranges::find(text, Exiv2::byte{0});
    for (auto at = nameEnd; at != text.end() && at - nameEnd < LONGEST_LANGUAGE; ++at) {
        uLongf length = MAX_INFLATED_BYTES;
        const int result =
            uncompress(room.data(), &length, &*at, static_cast<uLong>(text.end() - at));
        if (result == Z_BUF_ERROR && length > 0)
            return true;
    }
    return false;
}

/// A SourceFile as Exiv2 reads it. Blocks of metadata that are larger or more than anybody's come
/// out as zeros. What Exiv2 calls mapping reads the file into memory: only TIFF streams, of which
/// metadataFile() has left out all of that kind.
class SourceIo : public Exiv2::BasicIo
{
public:
    explicit SourceIo(const SourceFile &file) : m_file(file) {}

    int open() override
    {
        m_position = 0;
        m_isAtEnd = false;
        return 0;
    }
    int close() override { return 0; }
    Count write(const Exiv2::byte *, Count) override { return 0; }
    Count write(BasicIo &) override { return 0; }
    int putb(Exiv2::byte) override { return EOF; }
    Exiv2::DataBuf read(Count count) override
    {
        const std::int64_t left = std::max<std::int64_t>(0, m_file.size() - m_position);
        const std::int64_t wanted = std::min(bounded(count), left);
        if (wanted > m_budget)
            throw Exiv2::Error(ErrorCode::kerInputDataReadFailed);
        Exiv2::DataBuf buffer(static_cast<Count>(wanted));
        const Count got = read(exiv2::bytesOf(buffer), static_cast<Count>(wanted));
        exiv2::shorten(buffer, got);
        m_isAtEnd = m_isAtEnd || got < count;
        return buffer;
    }
    Count read(Exiv2::byte *out, Count count) override
    {
        const std::int64_t wanted = bounded(count);
        if (wanted <= 0)
            return 0;
        m_budget -= wanted;
        if (m_budget < 0)
            throw Exiv2::Error(ErrorCode::kerInputDataReadFailed);
        const std::size_t got = m_file.readAt(
            m_position, std::as_writable_bytes(std::span(out, static_cast<std::size_t>(wanted))));
        if (!m_isTrusted && wanted > 1)
            tame(Bytes(out, got));
        m_position += static_cast<std::int64_t>(got);
        m_isAtEnd = m_isAtEnd || static_cast<std::int64_t>(got) < wanted;
        return static_cast<Count>(got);
    }
    int getb() override
    {
        Exiv2::byte byte = 0;
        return read(&byte, 1) == 1 ? byte : EOF;
    }
    void transfer(BasicIo &) override
    {
        throw Exiv2::Error(ErrorCode::kerFunctionNotSupported, "write");
    }
    int seek(std::int64_t offset, Position from) override
    {
        const std::int64_t base = from == cur ? m_position : from == end ? m_file.size() : 0;
        if (offset < -base || offset > m_file.size() - base)
            return 1;
        m_position = base + offset;
        m_isAtEnd = false;
        return 0;
    }
    Exiv2::byte *mmap(bool) override
    {
        if (m_file.size() > MAX_WHOLE_FILE_BYTES)
            throw Exiv2::Error(ErrorCode::kerFailedToMapFileForReadWrite, path(), "large file");
        if (m_contents.isEmpty())
            m_contents = m_file.bytesAt(0, m_file.size());
        if (m_contents.size() != m_file.size())
            throw Exiv2::Error(ErrorCode::kerFailedToMapFileForReadWrite, path(), "short file");
        return reinterpret_cast<Exiv2::byte *>(m_contents.data());
    }
    int munmap() override { return 0; }
    [[nodiscard]] Count tell() const override { return static_cast<Count>(m_position); }
    [[nodiscard]] std::size_t size() const override
    {
        return static_cast<std::size_t>(m_file.size());
    }
    [[nodiscard]] bool isopen() const override { return true; }
    [[nodiscard]] int error() const override { return 0; }
    [[nodiscard]] bool eof() const override { return m_isAtEnd; }
    [[nodiscard]] exiv2::Path path() const noexcept override { return m_name; }
    void populateFakeData() override {}

    /// Lets all bytes through from now on: what is read is no metadata any more.
    void trust() { m_isTrusted = true; }

private:
    /// @p count, which may be anything, as a number of this file's bytes.
    [[nodiscard]] static std::int64_t bounded(Count count)
    {
        constexpr auto MOST = static_cast<Count>(SourceFile::MAX_BYTES);
        return static_cast<std::int64_t>(std::min(count, MOST));
    }

    /// Clears @p block where it is more than metadata can be.
    void tame(Bytes block)
    {
        constexpr std::size_t CHUNK_HEAD_BYTES = 8; // of a PNG: length and type
        if (block.size() == CHUNK_HEAD_BYTES) {
            std::copy(block.begin() + 4, block.end(), m_chunkType.begin());
            return;
        }
        constexpr std::string_view PROFILE_MARK("ICC_PROFILE\0", 12);
        const std::string_view text(reinterpret_cast<const char *>(block.data()), block.size());
        if (text.substr(0, 64).find(PROFILE_MARK) != text.npos &&
            ++m_profileSegments > 2 * MAX_PROFILE_SEGMENTS) // each is read twice
            throw Exiv2::Error(ErrorCode::kerInputDataReadFailed);
        const std::string_view type(m_chunkType.data(), m_chunkType.size());
        // Exiv2 inflates profiles too, which are none of its business here.
        const bool isDeflated =
            type == "iCCP" || ((type == "zTXt" || type == "iTXt") && isInflatedTooLarge(block));
        // What a block begins with tells how large a picture is.
        constexpr std::size_t KEPT_BYTES = 16;
        if (isDeflated || block.size() > MAX_BLOCK_BYTES || hasTooManyProperties(block))
            std::ranges::fill(block.subspan(std::min(KEPT_BYTES, block.size())), Exiv2::byte{0});
    }

    const SourceFile &m_file;
    const std::string m_name = "picture";
    bool m_isTrusted = false;
    int m_profileSegments = 0;
    std::array<char, 4> m_chunkType{};
    std::int64_t m_budget = MAX_READ_BYTES;
    std::int64_t m_position = 0;
    bool m_isAtEnd = false;
    QByteArray m_contents;
};

void setUp()
{
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    exiv2::readBoxes();
    Exiv2::XmpParser::initialize();
}

} // namespace

bool withMetadata(const SourceFile &file, const std::function<void(Exiv2::Image &)> &use)
{
    static std::mutex mutex;
    static std::once_flag isSetUp;
    const std::lock_guard guard(mutex);
    try {
        std::call_once(isSetUp, setUp);
        auto *const io = new SourceIo(file); // the image's
        const auto image = Exiv2::ImageFactory::open(exiv2::IoPointer(io));
        if (!image.get())
            return false;
        try {
            image->readMetadata();
        } catch (...) { // What has been found until then holds, as in a file that is cut.
        }
        io->trust();
        use(*image);
        return true;
    } catch (...) {
        return false;
    }
}

bool isTameXmp(const QByteArray &packet)
{
    const std::span block(reinterpret_cast<const Exiv2::byte *>(packet.constData()),
                          static_cast<std::size_t>(packet.size()));
    return block.size() <= MAX_BLOCK_BYTES && !hasTooManyProperties(block);
}

} // namespace tavolin
