#pragma once
// Pictures as JPEG files. Usable from any thread.

#include "pixels/Image.h"

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace tavolin {

/// How many pixels there are to a length, or where that is not known what shape they have (JFIF
/// 1.02, units and densities).
struct PixelDensity
{
    // The units.
    static constexpr std::uint8_t NONE = 0; ///< The shape alone.
    static constexpr std::uint8_t PER_INCH = 1;
    static constexpr std::uint8_t PER_CENTIMETRE = 2;

    std::uint8_t unit = NONE;
    std::uint16_t x = 1;
    std::uint16_t y = 1;

    friend bool operator==(const PixelDensity &, const PixelDensity &) = default;
};

/// What a JPEG file carries beside its pixels and their profile, each as one segment holds it;
/// empty where there is none.
struct JpegMetadata
{
    /// The most bytes that a segment of each kind has room for.
    static constexpr int MAX_EXIF_BYTES = 65533 - 6;
    static constexpr int MAX_XMP_BYTES = 65533 - 29;
    static constexpr int MAX_PHOTOSHOP_BYTES = 65533 - 14;
    static constexpr int MAX_COMMENT_BYTES = 65533;
    /// More than any camera or program writes.
    static constexpr int MAX_COMMENTS = 4;
    /// The most bytes of a profile, which is split over segments that are counted in one byte.
    static constexpr int MAX_PROFILE_BYTES = 255 * 65519;

    QByteArray exif;      ///< A TIFF block.
    QByteArray xmp;       ///< An XMP packet.
    QByteArray photoshop; ///< Photoshop's resources, among them IPTC.
    /// For a picture without a profile of its own; empty unless it must say that it is sRGB, as
    /// where the EXIF data say that such colours are Adobe RGB.
    QByteArray defaultProfile;
    std::vector<QByteArray> comments; ///< Each in a segment of its own; MAX_COMMENTS at most.
    PixelDensity density;             ///< Without EXIF, which has a place of its own for it.
};

/// @p image as a JPEG file with full chroma resolution, and restart markers, between which all
/// cores compress at once; @p quality is libjpeg's, 1 to 100. The file carries the picture's
/// profile, which is one for RGB. Transparency is shown over black; as on screen where the picture
/// is in sRGB. What is too large for its segments, of the @p metadata or a profile, is left out.
/// Empty when the image is null or has a side over 65500 pixels, and when memory is lacking.
[[nodiscard]] QByteArray writeJpeg(const Image &image, int quality,
                                   const JpegMetadata &metadata = {});

} // namespace tavolin
