#include "pictures/Dng.h"

#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"

#include <QtEndian>

#include <array>
#include <cmath>
#include <iterator>
#include <utility>

namespace tavolin::pictures {

namespace {

/// The sample of a white pixel: what a 14-bit sensor gives.
constexpr int WHITE_LEVEL = 16383;

/// XYZ to linear sRGB, in ten-thousandths (IEC 61966-2-1, D65).
const std::vector<Fraction> COLOR_MATRIX = {
    {32406, 10000}, {-15372, 10000}, {-4986, 10000}, {-9689, 10000}, {18758, 10000},
    {415, 10000},   {557, 10000},    {-2040, 10000}, {10570, 10000},
};

/// The sample of every sRGB value.
std::array<quint16, 256> linearSamples()
{
    std::array<quint16, 256> samples{};
    for (std::size_t value = 0; value < samples.size(); ++value) {
        const double encoded = static_cast<double>(value) / 255.0;
        const double linear =
            encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
        samples[value] = static_cast<quint16>(std::lround(linear * WHITE_LEVEL));
    }
    return samples;
}

/// One little-endian sample for each pixel of @p stored: red and green alternate in even rows,
/// green and blue in odd ones.
QByteArray mosaic(const QImage &stored)
{
    const auto samples = linearSamples();
    QByteArray out(qsizetype{2} * stored.width() * stored.height(), Qt::Uninitialized);
    char *to = out.data();
    for (int y = 0; y < stored.height(); ++y) {
        const auto *from = reinterpret_cast<const QRgb *>(stored.constScanLine(y));
        for (int x = 0; x < stored.width(); ++x, to += 2) {
            const int shift = 16 - 8 * (x % 2 + y % 2);
            qToLittleEndian(samples[(from[x] >> shift) & 0xff], to);
        }
    }
    return out;
}

// Tag numbers are those of TIFF 6.0 (254 to 330), TIFF/EP (33421, 33422) and DNG 1.4.

TiffDirectory rawFields(const QImage &stored)
{
    const QByteArray samples = mosaic(stored);
    return {
        longField(254, 0), // the main picture
        longField(256, stored.width()),
        longField(257, stored.height()),
        shortField(258, {16}),
        shortField(259, {1}),     // uncompressed
        shortField(262, {32803}), // colour filter array
        dataField(273, samples),
        shortField(277, {1}),
        longField(278, stored.height()), // all rows in one strip
        longField(279, samples.size()),
        shortField(33421, {2, 2}),
        bytesField(33422, TiffType::Byte, QByteArray("\0\1\1\2", 4)), // red green, green blue
        shortField(50714, {0}),                                       // black level
        shortField(50717, {WHITE_LEVEL}),
    };
}

TiffDirectory previewFields(const QImage &stored)
{
    const QByteArray jpeg = encodeJpeg(stored);
    return {
        longField(254, 1), // a smaller version
        longField(256, stored.width()),
        longField(257, stored.height()),
        shortField(258, {8, 8, 8}),
        shortField(259, {7}), // JPEG
        shortField(262, {6}), // YCbCr
        dataField(273, jpeg),
        shortField(277, {3}),
        longField(278, stored.height()),
        longField(279, jpeg.size()),
    };
}

TiffDirectory pixelPreviewFields(const QImage &stored)
{
    QByteArray samples;
    for (int y = 0; y < stored.height(); ++y)
        for (int x = 0; x < stored.width(); ++x)
            for (const int shift : {16, 8, 0})
                samples.append(static_cast<char>(stored.pixel(x, y) >> shift & 0xff));
    return {
        longField(254, 1), // a smaller version
        longField(256, stored.width()),
        longField(257, stored.height()),
        shortField(258, {8, 8, 8}),
        shortField(259, {1}), // uncompressed
        shortField(262, {2}), // RGB
        dataField(273, samples),
        shortField(277, {3}),
        longField(278, stored.height()),
        longField(279, samples.size()),
    };
}

TiffDirectory cameraFields(const DngSpec &spec)
{
    return {
        asciiField(271, "TestMake"),
        asciiField(272, "TestRaw"),
        shortField(274, {spec.orientation}),
        directoriesField(34665, {exposureDirectory(spec.index)}),
        bytesField(50706, TiffType::Byte, QByteArray("\1\4\0\0", 4)), // version
        bytesField(50707, TiffType::Byte, QByteArray("\1\1\0\0", 4)), // readable since
        asciiField(50708, "TestMake TestRaw"),
        rationalField(50721, COLOR_MATRIX),
        rationalField(50728, {{1, 1}, {1, 1}, {1, 1}}), // as shot neutral
        shortField(50778, {21}),                        // calibrated for D65
    };
}

void appendTo(TiffDirectory &directory, TiffDirectory fields)
{
    directory.insert(directory.end(), std::make_move_iterator(fields.begin()),
                     std::make_move_iterator(fields.end()));
}

} // namespace

QByteArray makeDng(const DngSpec &spec)
{
    Q_ASSERT(spec.previews.size() <= 2);
    if (spec.upright.isNull())
        return {};
    const auto stored = [&](const QImage &upright) {
        return storedFor(upright.convertToFormat(QImage::Format_RGB32), spec.orientation);
    };
    TiffDirectory main = cameraFields(spec);
    TiffDirectory raw = rawFields(stored(spec.upright));
    if (spec.previews.empty()) {
        appendTo(main, std::move(raw));
        return tiffBlock(main);
    }
    appendTo(main, previewFields(stored(spec.previews.front())));
    std::vector<TiffDirectory> below = {std::move(raw)};
    if (spec.previews.size() > 1)
        below.push_back(previewFields(stored(spec.previews[1])));
    if (!spec.pixelPreview.isNull())
        below.push_back(pixelPreviewFields(stored(spec.pixelPreview)));
    main.push_back(directoriesField(330, std::move(below)));
    return tiffBlock(main);
}

} // namespace tavolin::pictures
