#pragma once
// A picture made ready for the screen: the display image with its rendition. Free functions for any
// thread.

#include "pixels/Image.h"

#include <QByteArray>
#include <QRectF>
#include <QSize>

#include <optional>
#include <stop_token>

namespace tavolin {

/// Above this long side no display picture is made, however large the screen.
inline constexpr int MAX_DISPLAY_PIXELS = 2560;
/// Above this one no rendition is made of more than that.
inline constexpr int MAX_SHARP_PIXELS = 8192;

/// What one decode for the screen gives and the cache holds.
struct DisplayPicture
{
    Image image;     ///< The display image, upright, in the colours of the screen.
    Image rendition; ///< The same at the device pixels it is shown in, opaque: painting is a copy.

    /// Pixels of the file's full picture, upright; empty where its headers don't tell.
    std::optional<QSize> pixelSize = {};

    /// Whether the rendition, larger than the image, has been made of more pixels than that has.
    bool isSharp = false;

    [[nodiscard]] bool isNull() const { return image.isNull(); }
};

/// The screen that a picture is decoded for, as it is when the decode starts.
struct DisplayTarget
{
    int maxPixel = 0;   ///< Limit of the display image's longest side, in pixels.
    QRectF area;        ///< Where the picture may lie, in view points.
    double scale = 1.0; ///< Device pixels a point.
    QByteArray profile; ///< Of the monitor, as it was given, unread; empty: sRGB.
    /// Where this is set, only a rendition is wanted, of exactly these pixels and made of as many
    /// decoded ones as they take, whatever the limit; it is the image, too.
    QSize exactly = {};
};

/// @p image at the device pixels that it takes when fitted into @p area; transparency
/// becomes black. Null on lack of memory or once @p stop is requested.
[[nodiscard]] Image makeRendition(const Image &image, const QRectF &area, double scale,
                                  std::stop_token stop = {});

/// The same at the device pixels @p size.
[[nodiscard]] Image makeRendition(const Image &image, QSize size, std::stop_token stop = {});

/// The device pixels that a rendition of a picture of @p imageSize must have to be painted.
[[nodiscard]] QSize renditionSize(QSize imageSize, const QRectF &area, double scale);

/// What to decode the file of @p picture for so that its rendition on @p target is as sharp as the
/// screen; empty where it is, or where the file has no more than the image has.
[[nodiscard]] std::optional<DisplayTarget> sharpTarget(const DisplayPicture &picture,
                                                       const DisplayTarget &target);

/// Whether both sides of @p size are shorter than those of @p other.
[[nodiscard]] constexpr bool isSmaller(QSize size, QSize other)
{
    return size.width() < other.width() && size.height() < other.height();
}

/// @p image, which is in the colours of @p target, as it is shown there: reduced to its limit where
/// that is not done yet, and to a smaller rendition in one step. Null for a null image and once
/// @p stop is requested.
[[nodiscard]] DisplayPicture makeDisplayPicture(const Image &image, const DisplayTarget &target,
                                                std::stop_token stop = {});

} // namespace tavolin
