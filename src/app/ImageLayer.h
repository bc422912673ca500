#pragma once
// The picture on screen, as a value that the view paints.

#include "imaging/Image.h"

#include <QRectF>

class QPainter;

namespace tavolin {

struct ImageLayer
{
    Image contents; ///< The display image; null shows black.
    QRectF frame;   ///< Where it is fitted into, in view points.
    /// The contents at exactly the device pixels they take in the frame; null paints black.
    Image rendition;
};

/// Whether the rendition of @p layer is what its frame needs at @p scale device pixels a point.
[[nodiscard]] bool isRenditionCurrent(const ImageLayer &layer, double scale);

/// Paints @p layer into a view of @p viewSize points: a copy of the rendition, black around it. The
/// painter's clip says what part is wanted.
void paintLayer(QPainter &painter, const ImageLayer &layer, QSize viewSize, double scale);

} // namespace tavolin
