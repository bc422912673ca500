#include "decoding/codecs/JpegCodec.h"

#include "decoding/codecs/jpeg/JpegDecoder.h"
#include "decoding/codecs/jpeg/JpegHeaders.h"
#include "decoding/color/Color.h"
#include "decoding/color/ProfileCheck.h"
#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include <csetjmp>

#include <jpeglib.h>

#include <jerror.h>

namespace tavolin {

namespace {

constexpr J_COLOR_SPACE SCREEN_PIXELS =
    std::endian::native == std::endian::little ? JCS_EXT_BGRA : JCS_EXT_ARGB;
/// Progressive pictures have about ten scans; one made to keep a decoder busy has thousands. What
/// stands after these is not looked at.
constexpr int MAX_SCANS = 100;
/// Each scan goes over all of a picture: large ones are given fewer, so that they end in seconds.
constexpr int LEAST_SCANS = 16;
constexpr std::int64_t MAX_SCANNED_PIXELS = 1'500'000'000;
/// The most that is read for what stands before the picture: some hundred times the largest profile
/// that is in use, and soon over where a file consists of segments.
constexpr std::int64_t MAX_HEADER_BYTES = std::int64_t{64} << 20;
/// The most bytes of each pixel, with comments between the scans and all; noise at the highest
/// quality has three.
constexpr std::int64_t MAX_BYTES_PER_PIXEL = 4;
/// A progressive picture is held whole as coefficients, three bytes a pixel with halved chroma.
constexpr long MAX_COEFFICIENT_BYTES = 900L << 20;

/// What libjpeg may hold of rows that it has not given yet: of a row of MCUs, and of the one before
/// it, where chroma is made smooth.
constexpr int MOST_ROWS_UNDER_WAY = 2 * MAX_SAMP_FACTOR * DCTSIZE;

/// libjpeg's objects for one file. Everything in libjpeg that can fail runs in one of a few steps,
/// each of which catches its jump; no object with a destructor is made inside them.
class Decompressor
{
public:
    explicit Decompressor(const SourceFile &file);
    ~Decompressor() { jpeg_destroy_decompress(&m_info); }
    Decompressor(const Decompressor &) = delete;
    Decompressor &operator=(const Decompressor &) = delete;

    [[nodiscard]] bool readHeader();
    /// Decodes to @p longestSide pixels on the longest side, or somewhat more, where it has them.
    [[nodiscard]] bool start(int longestSide);
    /// Feeds @p sink, by our own decoder as far as that goes; false when an error ended it early.
    bool readRows(RowSink &sink);

    [[nodiscard]] QSize size() const { return sized(m_info.image_width, m_info.image_height); }
    [[nodiscard]] QSize scaledSize() const
    {
        return sized(m_info.output_width, m_info.output_height);
    }
    [[nodiscard]] bool isCmyk() const { return m_info.out_color_space == JCS_CMYK; }
    /// Adobe's writers store ink inverted: 255 is no ink.
    [[nodiscard]] bool isInverted() const { return m_info.saw_Adobe_marker != 0; }
    [[nodiscard]] QByteArray iccProfile();
    [[nodiscard]] bool isStopped() const { return m_file.stopToken().stop_requested(); }

private:
    static QSize sized(JDIMENSION width, JDIMENSION height)
    {
        return {static_cast<int>(width), static_cast<int>(height)};
    }
    static Decompressor &self(j_common_ptr info)
    {
        return *static_cast<Decompressor *>(info->client_data);
    }
    static Decompressor &self(j_decompress_ptr info)
    {
        return *static_cast<Decompressor *>(info->client_data);
    }
    [[noreturn]] static void fail(j_common_ptr info);
    /// Says nothing, but takes note.
    static void warn(j_common_ptr info, int level);
    static boolean fill(j_decompress_ptr info);
    static void skip(j_decompress_ptr info, long count);
    static void watch(j_common_ptr info);
    /// Feeds @p sink what our own decoder makes of a picture of its kind: all rows, or those before
    /// what it takes for damage.
    void readParallel(RowSink &sink) const;
    /// Feeds @p sink the rows that it hasn't got yet.
    bool readRest(RowSink &sink);

    const SourceFile &m_file;
    jpeg_decompress_struct m_info{};
    jpeg_error_mgr m_errors{};
    jpeg_source_mgr m_source{};
    jpeg_progress_mgr m_progress{};
    std::jmp_buf m_jump{};
    std::int64_t m_offset = 0;
    std::int64_t m_bytesLeft = MAX_HEADER_BYTES; // that may still be read
    int m_maxScans = LEAST_SCANS;
    bool m_isCutOff = false;
    bool m_hasLackedData = false;  // before some marker
    std::int64_t m_scanOffset = 0; // of what follows the headers
    std::vector<Pixel> m_skippedRow;
    std::array<JOCTET, 1 << 16> m_buffer;
};

Decompressor::Decompressor(const SourceFile &file) : m_file(file)
{
    m_info.err = jpeg_std_error(&m_errors);
    m_errors.error_exit = fail;
    m_errors.emit_message = warn;
    m_errors.output_message = [](j_common_ptr) {};
    m_info.client_data = this;
}

void Decompressor::fail(j_common_ptr info)
{
    std::longjmp(self(info).m_jump, 1);
}

void Decompressor::warn(j_common_ptr info, int level)
{
    if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER)
        self(info).m_hasLackedData = true;
}

boolean Decompressor::fill(j_decompress_ptr info)
{
    Decompressor &decompressor = self(info);
    if (decompressor.isStopped())
        fail(reinterpret_cast<j_common_ptr>(info));
    const std::size_t count =
        decompressor.m_isCutOff || decompressor.m_bytesLeft <= 0
            ? 0
            : decompressor.m_file.readAt(decompressor.m_offset,
                                         std::as_writable_bytes(std::span(decompressor.m_buffer)));
    decompressor.m_offset += static_cast<std::int64_t>(count);
    decompressor.m_bytesLeft -= static_cast<std::int64_t>(count);
    decompressor.m_source.next_input_byte = decompressor.m_buffer.data();
    decompressor.m_source.bytes_in_buffer = count;
    if (count == 0) {
        // The end of the picture, so that what has come is shown.
        decompressor.m_buffer[0] = 0xff;
        decompressor.m_buffer[1] = JPEG_EOI;
        decompressor.m_source.bytes_in_buffer = 2;
    }
    return TRUE;
}

void Decompressor::skip(j_decompress_ptr info, long count)
{
    Decompressor &decompressor = self(info);
    jpeg_source_mgr &source = decompressor.m_source;
    const auto wanted = static_cast<std::size_t>(std::max(0L, count));
    const std::size_t buffered = std::min(wanted, source.bytes_in_buffer);
    source.next_input_byte += buffered;
    source.bytes_in_buffer -= buffered;
    decompressor.m_offset += static_cast<std::int64_t>(wanted - buffered);
}

void Decompressor::watch(j_common_ptr info)
{
    Decompressor &decompressor = self(info);
    if (decompressor.isStopped())
        fail(info);
    if (decompressor.m_info.input_scan_number > decompressor.m_maxScans) {
        decompressor.m_isCutOff = true;
        decompressor.m_source.bytes_in_buffer = 0;
    }
}

bool Decompressor::readHeader()
{
    if (setjmp(m_jump) != 0)
        return false;
    jpeg_create_decompress(&m_info);
    m_info.mem->max_memory_to_use = MAX_COEFFICIENT_BYTES;
    m_source.init_source = [](j_decompress_ptr) {};
    m_source.fill_input_buffer = fill;
    m_source.skip_input_data = skip;
    m_source.resync_to_restart = jpeg_resync_to_restart;
    m_source.term_source = [](j_decompress_ptr) {};
    m_info.src = &m_source;
    m_progress.progress_monitor = watch;
    m_info.progress = &m_progress;
    jpeg_save_markers(&m_info, JPEG_APP0 + 2, 0xffff);
    if (jpeg_read_header(&m_info, TRUE) != JPEG_HEADER_OK)
        return false;
    m_scanOffset = m_offset - static_cast<std::int64_t>(m_source.bytes_in_buffer);
    return true;
}

bool Decompressor::start(int longestSide)
{
    if (setjmp(m_jump) != 0)
        return false;
    const std::int64_t pixels = pixelCount(size());
    m_bytesLeft = MAX_HEADER_BYTES + MAX_BYTES_PER_PIXEL * pixels;
    m_maxScans = static_cast<int>(
        std::clamp<std::int64_t>(MAX_SCANNED_PIXELS / pixels, LEAST_SCANS, MAX_SCANS));
    const bool hasFourChannels =
        m_info.jpeg_color_space == JCS_CMYK || m_info.jpeg_color_space == JCS_YCCK;
    m_info.out_color_space = hasFourChannels ? JCS_CMYK : SCREEN_PIXELS;
    // Only halvings have vector code: the smallest that is still large enough.
    m_info.scale_denom = 8;
    for (m_info.scale_num = 1; m_info.scale_num < 8; m_info.scale_num *= 2) {
        jpeg_calc_output_dimensions(&m_info);
        if (std::max(scaledSize().width(), scaledSize().height()) >= longestSide)
            break;
    }
    return jpeg_start_decompress(&m_info) != FALSE;
}

bool Decompressor::readRows(RowSink &sink)
{
    readParallel(sink);
    // Rows that both decode are the same: libjpeg goes on as if it had made all of them.
    m_skippedRow.resize(sink.rowsTaken() > 0 ? m_info.output_width : 0);
    return readRest(sink);
}

void Decompressor::readParallel(RowSink &sink) const
{
    const auto frame = sequentialFrame(m_info);
    if (!frame)
        return;
    const std::int64_t most = std::min(m_bytesLeft, MAX_WHOLE_FILE_BYTES);
    const auto scan = JpegScan::read(m_file, m_scanOffset, most, frame->restartInterval > 0);
    if (scan)
        decodeJpegScan(*frame, static_cast<int>(m_info.scale_num), *scan, sink, m_file.stopToken());
}

bool Decompressor::readRest(RowSink &sink)
{
    if (setjmp(m_jump) != 0)
        return false;
    int end = static_cast<int>(m_info.output_height);
    bool hasEnded = false;
    while (sink.rowsTaken() < end) {
        if (isStopped())
            return false;
        // Behind the end of the data all rows are MISSING, but for those under way.
        if (!hasEnded && m_hasLackedData && m_info.unread_marker == JPEG_EOI && !isCmyk()) {
            hasEnded = true;
            end = std::min(end, sink.rowsTaken() + MOST_ROWS_UNDER_WAY);
        }
        const bool isThere = static_cast<int>(m_info.output_scanline) < sink.rowsTaken();
        JSAMPROW row = reinterpret_cast<JSAMPROW>(isThere ? m_skippedRow.data() : sink.nextRow());
        if (jpeg_read_scanlines(&m_info, &row, 1) != 1)
            return false;
        if (!isThere)
            sink.rowDone();
    }
    return true;
}

QByteArray Decompressor::iccProfile()
{
    JOCTET *data = nullptr;
    unsigned int length = 0;
    if (setjmp(m_jump) != 0 || jpeg_read_icc_profile(&m_info, &data, &length) == FALSE)
        return {};
    QByteArray profile(reinterpret_cast<const char *>(data), static_cast<qsizetype>(length));
    std::free(data);
    return soundProfile(std::move(profile));
}

} // namespace

ScaledPicture decodeJpeg(const SourceFile &file, const SizeRule &rule, ColorHint hint)
{
    Decompressor decompressor(file);
    if (!decompressor.readHeader())
        return {};
    const PictureSizes sizes = rule.sizesOf(decompressor.size());
    if (!isWithinLimits(decompressor.size(), sizes.image) ||
        !decompressor.start(sizes.longestSide()))
        return {};
    RowSink sink(decompressor.scaledSize(), sizes);
    if (!sink.isReady())
        return {};
    decompressor.readRows(sink);
    if (sink.rowsTaken() == 0 || decompressor.isStopped())
        return {};
    sink.fillRest(MISSING);

    QByteArray profile = decompressor.iccProfile();
    auto [image, rendition] = std::move(sink).takeBuffers();
    if (decompressor.isCmyk()) {
        for (PixelBuffer *inks : {&image, &rendition})
            convertCmykToSrgb(*inks, profile, decompressor.isInverted());
        profile.clear();
    } else if (profile.isEmpty() && hint == ColorHint::AdobeRgb) {
        profile = adobeRgbProfile();
    }
    return {std::move(image).toImage(Alpha::Opaque, profile),
            std::move(rendition).toImage(Alpha::Opaque, profile)};
}

} // namespace tavolin
