#include "app/ImageLayer.h"

#include "browse/DisplayGeometry.h"
#include "browse/DisplayPicture.h"

#include <QPainter>
#include <QRegion>

namespace tavolin {

bool isRenditionCurrent(const ImageLayer &layer, double scale)
{
    return layer.rendition.size() == renditionSize(layer.contents.size(), layer.frame, scale);
}

void paintLayer(QPainter &painter, const ImageLayer &layer, QSize viewSize, double scale)
{
    // In device pixels, so that the copy is one to one whatever the scale.
    painter.save();
    painter.scale(1.0 / scale, 1.0 / scale);
    const QRect view = toDevicePixels(QRectF(QPointF(0, 0), viewSize), scale);
    QRect picture;
    if (!layer.rendition.isNull()) {
        picture = toDevicePixels(fitRect(layer.frame, layer.contents.size()), scale);
        painter.drawImage(picture.topLeft(), layer.rendition.toQImage());
    }
    for (const QRect &black : QRegion(view) - picture)
        painter.fillRect(black, Qt::black);
    painter.restore();
}

} // namespace tavolin
