#pragma once
// How the crop box looks over the picture: the shade around it, its border, guides and handles, and
// its size in pixels. In view points.

#include <QRectF>
#include <QSizeF>
#include <QString>

#include <optional>

class QPainter;

namespace tavolin {

/// What is drawn.
struct CropScene
{
    QRectF box;                       ///< No width: nothing is drawn.
    QRectF image;                     ///< Where the picture lies.
    QSizeF view;                      ///< The read-out stays above its lower edge.
    QRectF bar = {};                  ///< What would hide the read-out; empty: nothing.
    std::optional<double> pixelScale; ///< Picture's pixels a point; empty: no read-out.
};

/// Draws @p scene, shapes at fractional positions antialiased. A copy that is clipped to some
/// pixels gives these the same colours.
void paintCropOverlay(QPainter &painter, const CropScene &scene);

/// What paintCropOverlay() draws on, but for the shade beyond it; empty when it draws nothing.
[[nodiscard]] QRectF cropBoxExtent(const CropScene &scene);

/// The size of a box of @p size points in pixels, @p pixelScale of them a point, cut to whole
/// numbers: "1200 × 800 px".
[[nodiscard]] QString cropSizeText(QSizeF size, double pixelScale);

} // namespace tavolin
