#include "decoding/metadata/Exiv2Access.h"

#include "pixels/Limits.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include <exiv2/exiv2.hpp>

namespace tavolin {

namespace {

/// The most that Exiv2 may read of one file, apart from mapping it: far above the metadata of
/// honest files, and an end to a chunk that claims hundreds of megabytes.
constexpr std::int64_t MAX_READ_BYTES = std::int64_t{64} << 20;

/// A SourceFile as Exiv2 reads it. What Exiv2 calls mapping reads the file into memory.
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
    long write(const Exiv2::byte *, long) override { return 0; }
    long write(BasicIo &) override { return 0; }
    int putb(Exiv2::byte) override { return EOF; }
    Exiv2::DataBuf read(long count) override
    {
        const std::int64_t left = std::max<std::int64_t>(0, m_file.size() - m_position);
        const auto wanted = static_cast<long>(std::min<std::int64_t>(count, left));
        if (wanted > m_budget)
            throw Exiv2::Error(Exiv2::kerInputDataReadFailed);
        Exiv2::DataBuf buffer(wanted);
        buffer.size_ = read(buffer.pData_, buffer.size_);
        m_isAtEnd = m_isAtEnd || buffer.size_ < count;
        return buffer;
    }
    long read(Exiv2::byte *out, long count) override
    {
        if (count <= 0)
            return 0;
        m_budget -= count;
        if (m_budget < 0)
            throw Exiv2::Error(Exiv2::kerInputDataReadFailed);
        const auto got = static_cast<long>(m_file.readAt(
            m_position, std::as_writable_bytes(std::span(out, static_cast<std::size_t>(count)))));
        m_position += got;
        m_isAtEnd = m_isAtEnd || got < count;
        return got;
    }
    int getb() override
    {
        Exiv2::byte byte = 0;
        return read(&byte, 1) == 1 ? byte : EOF;
    }
    void transfer(BasicIo &) override
    {
        throw Exiv2::Error(Exiv2::kerFunctionNotSupported, "write");
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
            throw Exiv2::Error(Exiv2::kerFailedToMapFileForReadWrite, path(), "large file");
        if (m_contents.isEmpty())
            m_contents = m_file.bytesAt(0, m_file.size());
        if (m_contents.size() != m_file.size())
            throw Exiv2::Error(Exiv2::kerFailedToMapFileForReadWrite, path(), "short file");
        return reinterpret_cast<Exiv2::byte *>(m_contents.data());
    }
    int munmap() override { return 0; }
    [[nodiscard]] long tell() const override { return m_position; }
    [[nodiscard]] std::size_t size() const override
    {
        return static_cast<std::size_t>(m_file.size());
    }
    [[nodiscard]] bool isopen() const override { return true; }
    [[nodiscard]] int error() const override { return 0; }
    [[nodiscard]] bool eof() const override { return m_isAtEnd; }
    [[nodiscard]] std::string path() const override { return "picture"; }

private:
    const SourceFile &m_file;
    std::int64_t m_budget = MAX_READ_BYTES;
    std::int64_t m_position = 0;
    bool m_isAtEnd = false;
    QByteArray m_contents;
};

void setUp()
{
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::enableBMFF(true);
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
        const auto image = Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(new SourceIo(file)));
        if (!image.get())
            return false;
        image->readMetadata();
        use(*image);
        return true;
    } catch (...) {
        return false;
    }
}

QByteArray largestEmbeddedPreview(const SourceFile &file)
{
    QByteArray result;
    withMetadata(file, [&](Exiv2::Image &image) {
        const Exiv2::PreviewManager manager(image);
        auto previews = manager.getPreviewProperties(); // the smallest first
        std::erase_if(previews,
                      [](const auto &preview) { return preview.mimeType_ != "image/jpeg"; });
        if (previews.empty())
            return;
        const Exiv2::PreviewImage largest = manager.getPreviewImage(previews.back());
        result = QByteArray(reinterpret_cast<const char *>(largest.pData()),
                            static_cast<qsizetype>(largest.size()));
    });
    return result;
}

} // namespace tavolin
