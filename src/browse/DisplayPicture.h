#pragma once
// A display image made ready for the screen. Free functions for any thread.

#include "imaging/Image.h"

#include <QRectF>
#include <QSize>

#include <filesystem>
#include <stop_token>

namespace tavolin {

/// What one decode for the screen gives and the cache holds.
struct DisplayPicture
{
    Image image;     ///< The display image, upright, in sRGB.
    Image rendition; ///< The same at the device pixels it is shown in, opaque: painting is a copy.

    [[nodiscard]] bool isNull() const { return image.isNull(); }
};

/// The screen that a picture is decoded for, as it is when the decode starts.
struct DisplayTarget
{
    int maxPixel = 0;   ///< Limit of the display image's longest side, in pixels.
    QRectF area;        ///< Where the picture may lie, in view points.
    double scale = 1.0; ///< Device pixels a point.
};

/// @p image, in sRGB, at the device pixels that it takes when fitted into @p area; transparency
/// becomes black. Null on lack of memory or once @p stop is requested.
[[nodiscard]] Image makeRendition(const Image &image, const QRectF &area, double scale,
                                  std::stop_token stop = {});

/// The device pixels that a rendition of a picture of @p imageSize must have to be painted.
[[nodiscard]] QSize renditionSize(QSize imageSize, const QRectF &area, double scale);

/// Decodes the picture at @p url for @p target. Null when it can't be decoded or once @p stop is
/// requested.
[[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                const DisplayTarget &target,
                                                std::stop_token stop = {});

} // namespace tavolin
