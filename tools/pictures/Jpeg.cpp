#include "pictures/Jpeg.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

namespace tavolin::pictures {

namespace {

const QByteArray EXIF_SIGNATURE("Exif\0\0", 6);

/// What a segment can hold after its two length bytes.
constexpr qsizetype MAX_SEGMENT_BYTES = 65533;

/// The RGB pixels @p rgb as inverted CMYK bytes, with as much black as the colour has, so that
/// red = C · K / 255.
void toInvertedCmyk(const QRgb *rgb, std::vector<JSAMPLE> &cmyk)
{
    for (std::size_t at = 0; at < cmyk.size(); at += 4, ++rgb) {
        const int black = std::max({qRed(*rgb), qGreen(*rgb), qBlue(*rgb)});
        const auto ink = [black](int value) {
            return static_cast<JSAMPLE>(black == 0 ? 255 : (value * 255 + black / 2) / black);
        };
        cmyk[at] = ink(qRed(*rgb));
        cmyk[at + 1] = ink(qGreen(*rgb));
        cmyk[at + 2] = ink(qBlue(*rgb));
        cmyk[at + 3] = static_cast<JSAMPLE>(black);
    }
}

void setColor(jpeg_compress_struct &jpeg, JpegColor color)
{
    switch (color) {
    case JpegColor::YCbCr:
        // QImage's 0xAARRGGBB lies in memory as blue, green, red, unused.
        jpeg.in_color_space = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? JCS_EXT_BGRX : JCS_EXT_XRGB;
        jpeg.input_components = 4;
        break;
    case JpegColor::Grey:
        jpeg.in_color_space = JCS_GRAYSCALE;
        jpeg.input_components = 1;
        break;
    case JpegColor::Cmyk:
        jpeg.in_color_space = JCS_CMYK;
        jpeg.input_components = 4;
        break;
    }
}

void writeRows(jpeg_compress_struct &jpeg, const QImage &pixels, JpegColor color)
{
    std::vector<JSAMPLE> cmyk(static_cast<std::size_t>(pixels.width()) * 4);
    while (jpeg.next_scanline < jpeg.image_height) {
        // libjpeg takes a pointer to writable rows but does not write to them.
        JSAMPROW row =
            const_cast<JSAMPROW>(pixels.constScanLine(static_cast<int>(jpeg.next_scanline)));
        if (color == JpegColor::Cmyk) {
            toInvertedCmyk(reinterpret_cast<const QRgb *>(row), cmyk);
            row = cmyk.data();
        }
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
}

} // namespace

QByteArray encodeJpeg(const QImage &image, const JpegOptions &options)
{
    const QByteArray exif = options.exif.isEmpty() ? QByteArray() : EXIF_SIGNATURE + options.exif;
    // Checked here because libjpeg's answer to an error is to end the program.
    if (image.isNull() || std::max(image.width(), image.height()) > JPEG_MAX_DIMENSION ||
        exif.size() > MAX_SEGMENT_BYTES)
        return {};
    const QImage pixels = image.convertToFormat(
        options.color == JpegColor::Grey ? QImage::Format_Grayscale8 : QImage::Format_RGB32);

    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char *bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &bytes, &size);
    jpeg.image_width = static_cast<JDIMENSION>(pixels.width());
    jpeg.image_height = static_cast<JDIMENSION>(pixels.height());
    setColor(jpeg, options.color);
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, options.quality, TRUE);
    if (options.color == JpegColor::YCbCr) {
        jpeg.comp_info[0].h_samp_factor = options.subsampling == Subsampling::Full444 ? 1 : 2;
        jpeg.comp_info[0].v_samp_factor = options.subsampling == Subsampling::Quarter420 ? 2 : 1;
    }
    jpeg.restart_interval = static_cast<unsigned>(options.restartInterval);
    if (options.progressive)
        jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (!exif.isEmpty())
        jpeg_write_marker(&jpeg, JPEG_APP0 + 1, reinterpret_cast<const JOCTET *>(exif.constData()),
                          static_cast<unsigned>(exif.size()));
    if (!options.iccProfile.isEmpty())
        jpeg_write_icc_profile(&jpeg,
                               reinterpret_cast<const JOCTET *>(options.iccProfile.constData()),
                               static_cast<unsigned>(options.iccProfile.size()));
    writeRows(jpeg, pixels, options.color);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);

    const QByteArray result(reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(size));
    std::free(bytes);
    return result;
}

} // namespace tavolin::pictures
