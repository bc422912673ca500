#pragma once
// The picture on screen, as a value that the view paints.

#include "pixels/Image.h"

#include <QRectF>

#include <cstdint>

class QPainter;

namespace tavolin {

/// How the contents lie in the frame.
enum class Gravity : std::uint8_t {
    ResizeAspect, ///< Fitted and centred, aspect kept.
    Resize,       ///< Stretched to fill it, which may reach far beyond the view.
};

/// The contents, and how and where they are painted.
struct ImageLayer
{
    Image contents; ///< In the monitor's colours; null shows black.
    /// Whose shape they are fitted in, in pixels: that of a larger picture that they stand for, or
    /// where this is empty their own.
    QSize shape = {};
    Gravity gravity = Gravity::ResizeAspect;
    QRectF frame; ///< In view points.
    /// The contents fitted, at exactly the device pixels they take in the frame. Not for Resize.
    Image rendition;
};

/// Where the contents of @p layer lie when fitted, in view points.
[[nodiscard]] QRectF fittedRect(const ImageLayer &layer);

/// The device pixels of it on a screen with @p scale of them a point, which is what is painted.
[[nodiscard]] QRect fittedPixels(const ImageLayer &layer, double scale);

/// Whether the rendition of @p layer is what its frame needs at @p scale device pixels a point.
[[nodiscard]] bool isRenditionCurrent(const ImageLayer &layer, double scale);

/// Paints @p layer into a view of @p viewSize points, black around it. Fitted contents are a copy
/// of the rendition; stretched ones are drawn only where they are seen, pixel for pixel where one
/// image pixel is one device pixel. The painter's clip says what part is wanted.
void paintLayer(QPainter &painter, const ImageLayer &layer, QSize viewSize, double scale);

} // namespace tavolin
