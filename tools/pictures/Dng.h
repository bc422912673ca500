#pragma once
// Writes raw files: uncompressed Bayer mosaics in a DNG. Usable from any thread.

#include <QByteArray>
#include <QImage>

#include <vector>

namespace tavolin::pictures {

struct DngSpec
{
    QImage upright; ///< What the raw picture shows when it is developed and turned.
    /// Upright pictures of any size to embed as JPEG previews, two at most: the first in the main
    /// directory, the second in one below it.
    std::vector<QImage> previews;
    int orientation = 1; ///< EXIF 1 to 8; raw picture and previews are stored turned for it.
    int index = 0;       ///< Seconds added to the time it was taken.
    /// An upright picture to embed as uncompressed pixels beside JPEG previews; none if null.
    QImage pixelPreview;
};

/// A DNG of 16-bit samples in an RGGB mosaic, make "TestMake", model "TestRaw". Its camera sees the
/// linear sRGB primaries under daylight, so developing it without brightening gives about the
/// colours of the picture. Empty when @p spec has no picture.
[[nodiscard]] QByteArray makeDng(const DngSpec &spec);

} // namespace tavolin::pictures
