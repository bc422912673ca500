#pragma once
// Writes the kinds of JPEG that cameras and programs make. Usable from any thread.

#include <QByteArray>
#include <QImage>

#include <cstdint>

namespace tavolin::pictures {

enum class Subsampling : std::uint8_t { Full444, Half422, Quarter420 };

enum class JpegColor : std::uint8_t {
    YCbCr,
    Grey,
    Cmyk, ///< Four inks, stored inverted and marked as Adobe does.
};

struct JpegOptions
{
    int quality = 90; ///< 1 to 100.
    Subsampling subsampling = Subsampling::Quarter420;
    JpegColor color = JpegColor::YCbCr;
    bool progressive = false;
    int restartInterval = 0; ///< MCUs between restart markers; 0: none.
    QByteArray iccProfile;   ///< Split over as many APP2 segments as it takes.
    QByteArray exif;         ///< A TIFF block for APP1; at most 65527 bytes.
};

/// @p image as a JPEG file. Empty when the image is, when a side is over 65500 pixels or when the
/// EXIF block does not fit into its segment.
[[nodiscard]] QByteArray encodeJpeg(const QImage &image, const JpegOptions &options = {});

} // namespace tavolin::pictures
