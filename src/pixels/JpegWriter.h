#pragma once
// Pictures as JPEG files. Usable from any thread.

#include "pixels/Image.h"

#include <QByteArray>

namespace tavolin {

/// What a JPEG file carries beside its pixels and their profile, each as one segment holds it;
/// empty where there is none.
struct JpegMetadata
{
    /// The most bytes that a segment of each kind has room for.
    static constexpr int MAX_EXIF_BYTES = 65533 - 6;
    static constexpr int MAX_XMP_BYTES = 65533 - 29;
    static constexpr int MAX_PHOTOSHOP_BYTES = 65533 - 14;
    /// The most bytes of a profile, which is split over segments that are counted in one byte.
    static constexpr int MAX_PROFILE_BYTES = 255 * 65519;

    QByteArray exif;      ///< A TIFF block.
    QByteArray xmp;       ///< An XMP packet.
    QByteArray photoshop; ///< Photoshop's resources, among them IPTC.
    /// For a picture without a profile of its own; empty unless it must say that it is sRGB, as
    /// where the EXIF data say that such colours are Adobe RGB.
    QByteArray defaultProfile;
};

/// @p image as a JPEG file with full chroma resolution, and restart markers, between which all
/// cores compress at once; @p quality is libjpeg's, 1 to 100. The file carries the picture's
/// profile, which is one for RGB. Transparency is shown over black; as on screen where the picture
/// is in sRGB. What is too large for its segments, of the @p metadata or a profile, is left out.
/// Empty when the image is null or has a side over 65500 pixels, and when memory is lacking.
[[nodiscard]] QByteArray writeJpeg(const Image &image, int quality,
                                   const JpegMetadata &metadata = {});

} // namespace tavolin
