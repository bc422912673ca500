#include "decoding/codecs/RawCodec.h"

#include "decoding/codecs/JpegCodec.h"
#include "decoding/codecs/RawSeam.h"
#include "decoding/Guarded.h"
#include "decoding/headers/RawPreviews.h"
#include "pixels/Geometry.h"
#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#ifdef Q_OS_MACOS
#include <malloc/malloc.h>
#else
#include <malloc.h>
#endif

namespace tavolin {

namespace {

/// LibRaw holds two bytes of raw data and four 16-bit channels for each pixel.
constexpr int RENDERING_BYTES_PER_PIXEL = 10;
/// LibRaw reads some raw data in blocks of this size; the last one may end beyond the file.
constexpr std::int64_t READ_AHEAD_BYTES = 0x4000;

std::size_t allocatedBytes(void *memory)
{
#ifdef Q_OS_MACOS
    return malloc_size(memory);
#else
    return malloc_usable_size(memory);
#endif
}

/// A SourceFile as LibRaw reads it: byte by byte in places, hence the buffer.
class RawStream : public libraw::Stream
{
public:
    explicit RawStream(const SourceFile &file) : m_file(file) {}

    int valid() override { return 1; }
    int read(void *out, std::size_t size, std::size_t count) override
    {
        countCall();
        // What is larger than any file gives nothing; the rest fits into memory that LibRaw has.
        if (size == 0 || count > std::size_t(m_file.size()) ||
            size > std::size_t(SourceFile::MAX_BYTES)) {
            m_allMissingBytes += m_file.size();
            return 0;
        }
        auto rest = std::span(static_cast<std::byte *>(out), size * count);
        const auto buffered =
            this->buffered().first(std::min(this->buffered().size(), rest.size()));
        std::copy(buffered.begin(), buffered.end(), rest.begin());
        const std::size_t direct = m_file.readAt(m_position + std::int64_t(buffered.size()),
                                                 rest.subspan(buffered.size()));
        // LibRaw takes buffers as they come from malloc, and not always looks at what it got.
        m_missingBytes = rest.size() - buffered.size() - direct;
        m_allMissingBytes += std::int64_t(m_missingBytes);
        std::ranges::fill(rest.last(m_missingBytes), m_filler);
        m_position += std::int64_t(buffered.size() + direct);
        return static_cast<int>((buffered.size() + direct) / size);
    }
    int seek(INT64 offset, int whence) override
    {
        countCall();
        clearRawData();
        const std::int64_t base = whence == SEEK_CUR   ? m_position
                                  : whence == SEEK_END ? m_file.size()
                                                       : 0;
        m_position = clamped<std::int64_t>(base + offset, 0, m_file.size());
        return 0;
    }
    INT64 tell() override { return m_position; }
    INT64 size() override { return m_file.size(); }
    int get_char() override
    {
        countCall();
        if (buffered().empty())
            fill();
        if (buffered().empty()) {
            ++m_allMissingBytes;
            return EOF;
        }
        const auto byte = std::to_integer<int>(buffered().front());
        ++m_position;
        return byte;
    }
    char *gets(char *line, int size) override
    {
        int length = 0;
        for (int byte = 0; length + 1 < size && byte != '\n'; ++length) {
            byte = get_char();
            if (byte == EOF)
                break;
            line[length] = static_cast<char>(byte);
        }
        if (size > 0)
            line[length] = '\0';
        return length > 0 ? line : nullptr;
    }
    int scanf_one(const char *format, void *value) override
    {
        std::array<char, 32> word{};
        std::size_t length = 0;
        for (int byte = get_char(); byte != EOF && length + 1 < word.size(); byte = get_char()) {
            const bool isBlank = byte == 0 || byte == ' ' || byte == '\t' || byte == '\n';
            if (isBlank && length > 0)
                break;
            if (!isBlank)
                word[length++] = static_cast<char>(byte);
        }
        return std::sscanf(word.data(), format, value);
    }
    int eof() override { return m_position >= m_file.size() ? 1 : 0; }

    /// The file has been opened: from now on there is no limit to what is asked for.
    void endOpening() { m_isOpening = false; }
    /// What bytes that the file does not have are read as from now on; 0 at first.
    void fillWith(std::byte filler) { m_filler = filler; }
    /// How many bytes the file did not have of those that were last read.
    [[nodiscard]] std::size_t missingBytes() const { return m_missingBytes; }
    /// The same of all that were ever read.
    [[nodiscard]] std::int64_t allMissingBytes() const { return m_allMissingBytes; }
    /// Where LibRaw will decode to. It offers no way to clear that buffer before, but goes to the
    /// place of the raw data as soon as it has it.
    void watch(const libraw_rawdata_t &data) { m_data = &data; }

private:
    /// Gives up as LibRaw's own streams do: boxes within boxes may have it go over the same bytes
    /// for hours.
    void countCall()
    {
        // Real files take some thousand.
        constexpr int MOST_CALLS = 4'000'000;
        if (m_isOpening && ++m_calls > MOST_CALLS)
            throw LIBRAW_EXCEPTION_IO_CORRUPT;
    }
    void clearRawData()
    {
        if (!m_data || m_data->raw_alloc == m_cleared)
            return;
        m_cleared = m_data->raw_alloc;
        if (m_cleared)
            std::memset(m_cleared, 0, allocatedBytes(m_cleared));
    }

    /// What the buffer holds from the position on.
    [[nodiscard]] std::span<const std::byte> buffered() const
    {
        const std::int64_t begin = m_position - m_bufferStart;
        if (begin < 0 || begin >= std::int64_t(m_bufferSize))
            return {};
        return std::span(m_buffer).first(m_bufferSize).subspan(std::size_t(begin));
    }
    void fill()
    {
        m_bufferStart = m_position;
        m_bufferSize = m_file.readAt(m_position, m_buffer);
    }

    const SourceFile &m_file;
    const libraw_rawdata_t *m_data = nullptr;
    void *m_cleared = nullptr;
    bool m_isOpening = true;
    int m_calls = 0;
    std::byte m_filler{0};
    std::size_t m_missingBytes = 0;
    std::int64_t m_allMissingBytes = 0;
    std::int64_t m_position = 0;
    std::int64_t m_bufferStart = 0;
    std::size_t m_bufferSize = 0;
    std::array<std::byte, 1 << 15> m_buffer;
};

/// One raw file open in LibRaw.
class RawFile
{
public:
    explicit RawFile(const SourceFile &file)
        : m_stream(file), m_raw(std::make_unique<LibRaw>(libraw::NO_DATA_ERROR_CALLBACK))
    {
        libraw::limitMemory(*m_raw, unsigned(MAX_DECODER_BYTES >> 20));
        m_raw->set_progress_handler(
            [](void *source, LibRaw_progress, int, int) {
                return static_cast<const SourceFile *>(source)->stopToken().stop_requested() ? 1
                                                                                             : 0;
            },
            const_cast<SourceFile *>(&file));
        m_stream.watch(m_raw->imgdata.rawdata);
        m_isOpen = m_raw->open_datastream(&m_stream) == LIBRAW_SUCCESS;
        m_stream.endOpening();
    }

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    /// Unpacks the preview; where a part of it is not in the file, that part is grey if it consists
    /// of pixels. Whether there is one.
    [[nodiscard]] bool unpackPreview()
    {
        m_stream.fillWith(std::byte{MISSING & 0xff});
        return m_isOpen && m_raw->unpack_thumb() == LIBRAW_SUCCESS;
    }
    /// Bytes of the unpacked preview that are in the file.
    [[nodiscard]] qsizetype previewBytes() const
    {
        const auto whole = qsizetype(m_raw->imgdata.thumbnail.tlength);
        return std::max<qsizetype>(0, whole - qsizetype(m_stream.missingBytes()));
    }
    /// Unpacks the raw data; false where that fails.
    [[nodiscard]] bool unpackRawData()
    {
        const std::int64_t before = m_stream.allMissingBytes();
        const bool isUnpacked = m_raw->unpack() == LIBRAW_SUCCESS;
        m_isCut = m_stream.allMissingBytes() - before > READ_AHEAD_BYTES;
        return isUnpacked;
    }
    /// Whether the file had not all of the raw data that were unpacked.
    [[nodiscard]] bool isCut() const { return m_isCut; }
    [[nodiscard]] LibRaw &raw() { return *m_raw; }
    [[nodiscard]] QSize size() const
    {
        return {m_raw->imgdata.sizes.width, m_raw->imgdata.sizes.height};
    }
    [[nodiscard]] Orientation orientation() const
    {
        // LibRaw's bits: 1 mirrors left and right, 2 top and bottom, 4 (done last) the diagonal.
        constexpr std::array EXIF_OF_FLIP{1U, 2U, 4U, 3U, 5U, 8U, 6U, 7U};
        return orientationFromExif(
            EXIF_OF_FLIP[static_cast<std::size_t>(m_raw->imgdata.sizes.flip) & 7]);
    }

private:
    RawStream m_stream;
    std::unique_ptr<LibRaw> m_raw; // hundreds of kilobytes; before the stream it reads from dies
    bool m_isOpen = false;
    bool m_isCut = false;
};

/// Rows of interleaved 8-bit red, green and blue as a picture.
ScaledPicture fromRgb(const unsigned char *data, QSize size, const SizeRule &rule)
{
    RowSink sink(size, rule.sizesOf(size));
    if (!sink.isReady())
        return {};
    for (int y = 0; y < size.height(); ++y) {
        Pixel *row = sink.nextRow();
        for (int x = 0; x < size.width(); ++x, data += 3)
            row[x] = 0xff000000 | Pixel{data[0]} << 16 | Pixel{data[1]} << 8 | data[2];
        sink.rowDone();
    }
    return std::move(sink).takePicture(Alpha::Opaque, {});
}

/// What a raw file says about the previews in it.
struct PreviewFacts
{
    Orientation orientation = Orientation::Upright;
    ColorHint colorHint = ColorHint::None; // unless the preview has one of its own
};

int longSide(QSize size)
{
    return std::max(size.width(), size.height());
}

DecodedPreview decodePreviewJpeg(const SourceFile &jpeg, const SizeRule &rule,
                                 const PreviewFacts &facts)
{
    const auto properties = readProperties(jpeg);
    // What can't be cropped is not shown either, or the crop would be that of another preview.
    if (properties && !isWithinLimits(properties->stored))
        return {};
    const bool hasHint = properties && properties->colorHint != ColorHint::None;
    const ScaledPicture picture = decodeJpeg(jpeg, rule.beforeTurning(facts.orientation),
                                             hasHint ? properties->colorHint : facts.colorHint);
    const QSize size = properties ? properties->stored : picture.image.size();
    return {turnedUpright(picture, facts.orientation), longSide(size)};
}

/// The preview that LibRaw offers, which may be one of pixels.
DecodedPreview libRawPreview(RawFile &file, const SizeRule &rule, const PreviewFacts &facts,
                             const std::stop_token &stop)
{
    if (!file.unpackPreview())
        return {};
    const libraw_thumbnail_t &thumbnail = file.raw().imgdata.thumbnail;
    const QSize size(thumbnail.twidth, thumbnail.theight);
    if (!thumbnail.thumb)
        return {};
    if (thumbnail.tformat == LIBRAW_THUMBNAIL_JPEG) {
        const auto bytes = QByteArray::fromRawData(thumbnail.thumb, file.previewBytes());
        return decodePreviewJpeg(SourceFile::fromBytes(bytes, stop), rule, facts);
    }
    if (thumbnail.tformat != LIBRAW_THUMBNAIL_BITMAP || !isWithinLimits(size) ||
        pixelCount(size) * 3 > std::int64_t(thumbnail.tlength))
        return {};
    const auto *pixels = reinterpret_cast<const unsigned char *>(thumbnail.thumb);
    const Orientation orientation = file.orientation();
    return {turnedUpright(fromRgb(pixels, size, rule.beforeTurning(orientation)), orientation),
            longSide(size)};
}

DecodedPreview preview(const SourceFile &source, const std::optional<ImageProperties> &properties,
                       const SizeRule &rule)
{
    RawFile file(source);
    PreviewFacts facts;
    if (properties)
        facts = {properties->orientation, properties->colorHint};
    if (file.isOpen())
        facts.orientation = file.orientation();
    DecodedPreview found;
    FieldReader fields(source);
    for (const RawPreview &jpeg : findRawPreviews(fields)) {
        found = decodePreviewJpeg(source.part(jpeg.offset, jpeg.length), rule, facts);
        if (!found.picture.isNull())
            break;
    }
    if (!found.picture.isNull() && found.longSidePx >= MIN_PREVIEW_LONG_SIDE_PX)
        return found;
    // A larger one may consist of pixels, or be in a container that only LibRaw knows.
    DecodedPreview offered = libRawPreview(file, rule, facts, source.stopToken());
    const bool isLarger = found.picture.isNull() || offered.longSidePx > found.longSidePx;
    return isLarger && !offered.picture.isNull() ? offered : found;
}

/// Where there is a preview, of the long side @p previewPx, only what is larger and whole.
ScaledPicture render(const SourceFile &source, const SizeRule &rule, std::optional<int> previewPx)
{
    RawFile file(source);
    if (!file.isOpen() || !isWithinLimits(file.size()))
        return {};
    auto &parameters = file.raw().imgdata.params;
    const int longest = longSide(file.size());
    if (previewPx && longest <= *previewPx)
        return {};
    const bool isHalf = longest / 2 >= rule.sizesOf(file.size()).longestSide() ||
                        !isWithinLimits(file.size(), RENDERING_BYTES_PER_PIXEL);
    parameters.half_size = isHalf ? 1 : 0;
    parameters.use_camera_wb = 1;
    parameters.gamm[0] = 1 / 2.4; // sRGB's curve
    parameters.gamm[1] = 12.92;
    if (!file.unpackRawData() || (previewPx && file.isCut()) ||
        file.raw().dcraw_process() != LIBRAW_SUCCESS)
        return {};
    const std::unique_ptr<libraw_processed_image_t, void (*)(libraw_processed_image_t *)> picture(
        file.raw().dcraw_make_mem_image(), LibRaw::dcraw_clear_mem);
    if (!picture || picture->type != LIBRAW_IMAGE_BITMAP || picture->colors != 3 ||
        picture->bits != 8)
        return {};
    const QSize size(picture->width, picture->height);
    if (!isWithinLimits(size) || pixelCount(size) * 3 > std::int64_t(picture->data_size))
        return {};
    return fromRgb(picture->data, size, rule);
}

} // namespace

std::optional<ImageProperties> readRawProperties(const SourceFile &file)
{
    using Properties = std::optional<ImageProperties>;
    return guarded([&]() -> Properties {
        RawFile raw(file);
        if (!raw.isOpen() || raw.size().isEmpty())
            return {};
        libraw::leaveBorderOut(raw.raw());
        return ImageProperties{.stored = raw.size(), .orientation = raw.orientation()};
    });
}

DecodedPreview decodeRawPreview(const SourceFile &file,
                                const std::optional<ImageProperties> &properties,
                                const SizeRule &rule)
{
    return guarded([&] { return preview(file, properties, rule); });
}

ScaledPicture renderRaw(const SourceFile &file, const SizeRule &rule)
{
    return guarded([&] { return render(file, rule, {}); });
}

ScaledPicture renderRawInsteadOf(int previewPx, const SourceFile &file, const SizeRule &rule)
{
    return guarded([&] { return render(file, rule, previewPx); });
}

} // namespace tavolin
