#include "screen/ImageLayer.h"

#include "pixels/DisplayPicture.h"
#include "pixels/Geometry.h"
#include "screen/QtImage.h"

#include <QPainter>
#include <QRegion>

namespace tavolin {

namespace {

/// Whether @p size is @p image enlarged by a whole number, so that no smoothing is wanted.
bool isWholeMultiple(QSize size, QSize image)
{
    return size.width() % image.width() == 0 && size.height() % image.height() == 0 &&
           size.width() / image.width() == size.height() / image.height();
}

/// Paints the part of the stretched contents that lies in @p view and returns it, in device pixels.
QRect paintStretched(QPainter &painter, const ImageLayer &layer, const QRect &view, double scale)
{
    if (layer.contents.isNull())
        return {};
    const QSize image = layer.contents.size();
    const QRect frame = toDevicePixels(layer.frame, scale);
    const QRect seen = frame & view;
    if (layer.contents.alpha() != Alpha::Opaque)
        painter.fillRect(seen, Qt::black);
    if (frame.size() == image) {
        painter.drawImage(seen.topLeft(), toQImage(layer.contents),
                          seen.translated(-frame.topLeft()));
        return seen;
    }
    const double across = static_cast<double>(image.width()) / frame.width();
    const double down = static_cast<double>(image.height()) / frame.height();
    const QPointF offset = seen.topLeft() - frame.topLeft();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !isWholeMultiple(frame.size(), image));
    painter.drawImage(QRectF(seen), toQImage(layer.contents),
                      QRectF(offset.x() * across, offset.y() * down, seen.width() * across,
                             seen.height() * down));
    return seen;
}

} // namespace

QRectF fittedRect(const ImageLayer &layer)
{
    return fitRect(layer.frame, layer.shape.isEmpty() ? layer.contents.size() : layer.shape);
}

QRect fittedPixels(const ImageLayer &layer, double scale)
{
    return toDevicePixels(fittedRect(layer), scale);
}

bool isRenditionCurrent(const ImageLayer &layer, double scale)
{
    return layer.rendition.size() == fittedPixels(layer, scale).size();
}

void paintLayer(QPainter &painter, const ImageLayer &layer, QSize viewSize, double scale)
{
    // In device pixels, so that copies are one to one whatever the scale.
    painter.save();
    painter.scale(1.0 / scale, 1.0 / scale);
    const QRect view = toDevicePixels(QRectF(QPointF(0, 0), viewSize), scale);
    QRect picture;
    if (layer.gravity == Gravity::Resize)
        picture = paintStretched(painter, layer, view, scale);
    else if (!layer.rendition.isNull()) {
        picture = fittedPixels(layer, scale);
        picture.setSize(layer.rendition.size());
        painter.drawImage(picture.topLeft(), toQImage(layer.rendition));
    }
    for (const QRect &black : QRegion(view) - picture)
        painter.fillRect(black, Qt::black);
    painter.restore();
}

} // namespace tavolin
