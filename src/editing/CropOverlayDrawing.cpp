#include "editing/CropOverlayDrawing.h"

#include "pixels/Geometry.h"
#include "screen/TextLabel.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

constexpr QColor SHADE{0, 0, 0, 128};       // 50 %
constexpr QColor GUIDE{255, 255, 255, 204}; // 80 %
// All in points.
constexpr double BORDER_WIDTH = 2;
constexpr double GUIDE_WIDTH = 1;
constexpr double DASH = 3;
constexpr double DASH_GAP = 4;
constexpr double HANDLE_SIDE = 10;
constexpr int READ_OUT_FONT_SIZE = 13;
/// Between the box and its read-out, and at least between the read-out and the view's lower edge.
constexpr double READ_OUT_DISTANCE = 8;
constexpr double READ_OUT_MARGIN = 4;
/// How far antialiasing may reach.
constexpr double SOFT_EDGE = 1;

QFont readOutFont()
{
    QFont font = interfaceFont(READ_OUT_FONT_SIZE);
    font.setWeight(QFont::DemiBold);
    return font;
}

QRectF readOutRect(const CropScene &scene, const QString &text)
{
    const QFontMetricsF metrics(readOutFont());
    const QSizeF size(metrics.horizontalAdvance(text), metrics.height());
    const QRectF &box = scene.box;
    const QRectF below(QPointF(box.center().x() - size.width() * 0.5,
                               std::min(maxY(box) + READ_OUT_DISTANCE,
                                        scene.view.height() - size.height() - READ_OUT_MARGIN)),
                       size);
    if (!below.intersects(scene.bar))
        return below;
    return {QPointF(below.x(), maxY(box) - READ_OUT_DISTANCE - size.height()), size};
}

void paintShade(QPainter &painter, const CropScene &scene)
{
    // The picture takes whole device pixels: its last ones are shaded as the others are.
    const double scale = painter.device()->devicePixelRatioF();
    const QRectF pixels = toDevicePixels(scene.image, scale);
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    path.addRect(QRectF(pixels.topLeft() / scale, pixels.size() / scale));
    path.addRect(scene.box);
    painter.fillPath(path, SHADE);
}

void paintBorder(QPainter &painter, const QRectF &box)
{
    painter.setPen(QPen(NEON, BORDER_WIDTH, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(box);
}

void paintGuides(QPainter &painter, const QRectF &box)
{
    QPen pen(GUIDE, GUIDE_WIDTH, Qt::CustomDashLine, Qt::FlatCap);
    pen.setDashPattern({DASH / GUIDE_WIDTH, DASH_GAP / GUIDE_WIDTH});
    painter.setPen(pen);
    for (const double part : {1.0 / 3, 2.0 / 3}) {
        const double x = box.x() + part * box.width();
        const double y = box.y() + part * box.height();
        painter.drawLine(QPointF(x, box.y()), QPointF(x, maxY(box)));
        painter.drawLine(QPointF(box.x(), y), QPointF(maxX(box), y));
    }
}

void paintHandles(QPainter &painter, const QRectF &box)
{
    const double middle = box.center().x();
    const double right = maxX(box);
    const double bottom = maxY(box);
    for (const QPointF point :
         {QPointF(box.x(), box.y()), QPointF(middle, box.y()), QPointF(right, box.y()),
          QPointF(box.x(), box.center().y()), QPointF(right, box.center().y()),
          QPointF(box.x(), bottom), QPointF(middle, bottom), QPointF(right, bottom)})
        painter.fillRect(QRectF(point.x() - HANDLE_SIDE / 2, point.y() - HANDLE_SIDE / 2,
                                HANDLE_SIDE, HANDLE_SIDE),
                         NEON);
}

} // namespace

void paintCropOverlay(QPainter &painter, const CropScene &scene)
{
    if (!(scene.box.width() > 0))
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    paintShade(painter, scene);
    paintBorder(painter, scene.box);
    paintGuides(painter, scene.box);
    paintHandles(painter, scene.box);
    if (!scene.pixelScale)
        return;
    const QString text = cropSizeText(scene.box.size(), *scene.pixelScale);
    painter.setFont(readOutFont());
    painter.setPen(NEON);
    painter.drawText(readOutRect(scene, text), Qt::AlignCenter | Qt::TextDontClip, text);
}

QRectF cropBoxExtent(const CropScene &scene)
{
    if (!(scene.box.width() > 0))
        return {};
    const double margin = HANDLE_SIDE / 2 + SOFT_EDGE;
    QRectF extent = scene.box.adjusted(-margin, -margin, margin, margin);
    if (scene.pixelScale) {
        const QString text = cropSizeText(scene.box.size(), *scene.pixelScale);
        extent = extent.united(
            readOutRect(scene, text).adjusted(-SOFT_EDGE, -SOFT_EDGE, SOFT_EDGE, SOFT_EDGE));
    }
    return extent;
}

QString cropSizeText(QSizeF size, double pixelScale)
{
    const auto whole = [pixelScale](double points) {
        return QString::number(static_cast<qint64>(points * pixelScale));
    };
    return whole(size.width()) + u" × "_s + whole(size.height()) + u" px"_s;
}

} // namespace tavolin
