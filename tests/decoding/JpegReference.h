#pragma once
// Small JPEG files of all samplings, and what libjpeg-turbo and our decoder make of a file.

#include "decoding/codecs/jpeg/JpegDecoder.h"
#include "decoding/codecs/jpeg/JpegHeaders.h"
#include "pixels/Limits.h"
#include "TestPictures.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <csetjmp>

#include <jpeglib.h>

namespace tavolin::test {

/// Rows that came, of a picture of this size.
struct DecodedRows
{
    QSize size;
    int rows = 0;
    std::vector<Pixel> pixels; ///< rows of them.
    bool isWhole = false;
    bool isClean = true; ///< Nothing in the file was found wrong; only libjpeg-turbo tells.

    /// Whether both have the same pixels.
    [[nodiscard]] bool operator==(const DecodedRows &other) const
    {
        return size == other.size && rows == other.rows && pixels == other.pixels &&
               isWhole == other.isWhole;
    }
};

/// The samples of the first component that one of the others has, across and down. No colour: one
/// component.
struct Sampling
{
    int across = 1;
    int down = 1;
    bool isGrey = false;
};

struct FileOptions
{
    Sampling sampling;
    int quality = 80;
    int restartInterval = 0;
    bool isProgressive = false;
};

/// Anything in a picture: slopes, edges, flat areas and noise.
inline std::vector<std::uint8_t> anything(QSize size, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<std::uint8_t> samples;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const auto noise = (x / 16 + y / 16) % 3 == 0 ? static_cast<int>(random() % 80) : 0;
            const int edge = (x + y / 2) % 23 < 4 ? 120 : 0;
            for (int i = 0; i < 3; ++i)
                samples.push_back(static_cast<std::uint8_t>((i == 0   ? x * 5
                                                             : i == 1 ? y * 7
                                                                      : 255 - x * 2) +
                                                            edge + noise));
        }
    }
    return samples;
}

/// libjpeg-turbo's compressor, writing to memory.
struct MemoryJpeg
{
    MemoryJpeg()
    {
        info.err = jpeg_std_error(&errors);
        jpeg_create_compress(&info);
        jpeg_mem_dest(&info, &bytes, &count);
    }
    ~MemoryJpeg()
    {
        jpeg_destroy_compress(&info);
        std::free(bytes);
    }
    MemoryJpeg(const MemoryJpeg &) = delete;
    MemoryJpeg &operator=(const MemoryJpeg &) = delete;

    /// The file, once all of the picture has been given.
    [[nodiscard]] QByteArray finished()
    {
        jpeg_finish_compress(&info);
        return {reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(count)};
    }

    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    unsigned char *bytes = nullptr;
    unsigned long count = 0;
};

/// A file of anything().
inline QByteArray jpegFile(QSize size, const FileOptions &options, unsigned seed = 1)
{
    const std::vector<std::uint8_t> samples = anything(size, seed);
    MemoryJpeg jpeg;
    jpeg_compress_struct &info = jpeg.info;
    info.image_width = static_cast<JDIMENSION>(size.width());
    info.image_height = static_cast<JDIMENSION>(size.height());
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    if (options.sampling.isGrey)
        jpeg_set_colorspace(&info, JCS_GRAYSCALE);
    jpeg_set_quality(&info, options.quality, TRUE);
    info.comp_info[0].h_samp_factor = options.sampling.across;
    info.comp_info[0].v_samp_factor = options.sampling.down;
    info.restart_interval = static_cast<unsigned>(options.restartInterval);
    if (options.isProgressive)
        jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto *row = const_cast<JSAMPROW>(samples.data() +
                                         std::size_t{info.next_scanline} * 3 * info.image_width);
        jpeg_write_scanlines(&info, &row, 1);
    }
    return jpeg.finished();
}

/// A grey file of one row of blocks with these coefficients (in rows of eight), not quantised, in
/// codes as short as can be.
inline QByteArray jpegOfBlocks(const std::vector<std::array<std::int16_t, 64>> &blocks)
{
    const auto count = static_cast<JDIMENSION>(blocks.size());
    MemoryJpeg jpeg;
    jpeg_compress_struct &info = jpeg.info;
    info.image_width = 8 * count;
    info.image_height = 8;
    info.input_components = 1;
    info.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    info.optimize_coding = TRUE;
    auto *const common = reinterpret_cast<j_common_ptr>(&info);
    jvirt_barray_ptr coefficients =
        info.mem->request_virt_barray(common, JPOOL_IMAGE, TRUE, count, 1, 1);
    jpeg_write_coefficients(&info, &coefficients);
    JBLOCKROW row = info.mem->access_virt_barray(common, coefficients, 0, 1, TRUE)[0];
    for (const auto &block : blocks)
        std::ranges::copy(block, *row++);
    return jpeg.finished();
}

struct JumpingErrors
{
    jpeg_error_mgr manager{};
    std::jmp_buf jump{};

    void install(jpeg_decompress_struct &info)
    {
        info.err = jpeg_std_error(&manager);
        manager.output_message = [](j_common_ptr) {};
        // A level below 0 is a warning (libjpeg.txt, "Error handling").
        manager.emit_message = [](j_common_ptr of, int level) {
            of->err->num_warnings += level < 0 ? 1 : 0;
        };
        manager.error_exit = [](j_common_ptr failed) {
            std::longjmp(reinterpret_cast<JumpingErrors *>(failed->err)->jump, 1);
        };
    }
};

/// What libjpeg-turbo makes of @p file at @p scale eighths. Nothing where it can't.
inline DecodedRows referenceRows(const QByteArray &file, int scale)
{
    DecodedRows result;
    jpeg_decompress_struct info{};
    JumpingErrors errors;
    errors.install(info);
    if (setjmp(errors.jump) != 0) {
        result.isClean = false;
        jpeg_destroy_decompress(&info);
        return result;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(file.constData()),
                 static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info, TRUE);
    info.scale_num = static_cast<unsigned>(scale);
    info.scale_denom = 8;
    info.out_color_space = JCS_EXT_BGRA;
    jpeg_start_decompress(&info);
    result.size = {static_cast<int>(info.output_width), static_cast<int>(info.output_height)};
    result.pixels.resize(std::size_t{info.output_width} * info.output_height);
    while (info.output_scanline < info.output_height) {
        auto *row = reinterpret_cast<JSAMPROW>(
            result.pixels.data() + std::size_t{info.output_scanline} * info.output_width);
        jpeg_read_scanlines(&info, &row, 1);
        ++result.rows;
    }
    result.isWhole = true;
    result.isClean = errors.manager.num_warnings == 0;
    jpeg_destroy_decompress(&info);
    return result;
}

/// Where the headers of a file end, and what they say, if our decoder takes it.
struct Headers
{
    std::optional<JpegFrame> frame;
    std::int64_t scan = 0;
};

inline Headers headersOf(const QByteArray &file)
{
    Headers headers;
    jpeg_decompress_struct info{};
    JumpingErrors errors;
    errors.install(info);
    if (setjmp(errors.jump) == 0) {
        jpeg_create_decompress(&info);
        jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(file.constData()),
                     static_cast<unsigned long>(file.size()));
        jpeg_read_header(&info, TRUE);
        headers.frame = sequentialFrame(info);
        headers.scan = file.size() - static_cast<std::int64_t>(info.src->bytes_in_buffer);
    }
    jpeg_destroy_decompress(&info);
    return headers;
}

/// What our decoder makes of @p file, whose frame it takes.
inline DecodedRows ourRows(const QByteArray &file, int scale, const JpegWork &work)
{
    DecodedRows result;
    const Headers headers = headersOf(file);
    if (!headers.frame)
        return result;
    const auto source = SourceFile::fromBytes(file);
    const auto scan =
        JpegScan::read(source, headers.scan, file.size(), headers.frame->restartInterval > 0);
    if (!scan)
        return result;
    result.size = layoutOf(*headers.frame, scale).size;
    RowSink sink(result.size, result.size);
    result.isWhole = decodeJpegScan(*headers.frame, scale, *scan, sink, {}, work);
    result.rows = sink.rowsTaken();
    sink.fillRest(MISSING);
    PixelBuffer buffer = std::move(sink).takeBuffers().image;
    result.pixels.assign(buffer.row(0), buffer.row(0) + pixelCount(result.size));
    return result;
}

} // namespace tavolin::test
