#include "editing/TranslucentPanel.h"

#include "pixels/Geometry.h"

#include <QBrush>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <span>
#include <vector>

namespace tavolin {

namespace {

/// What is behind is painted and blurred at a fraction of its size: this many points a pixel.
constexpr int REDUCTION = 4;
/// Of the mean that each pixel is replaced by, in such pixels.
constexpr int BLUR_RADIUS = 3;
/// Two means in a row look soft; one shows its square.
constexpr int BLUR_PASSES = 2;
/// What is painted around the panel, so that its edges are blurred with what is beside them.
constexpr int MARGIN = BLUR_RADIUS * BLUR_PASSES;

constexpr QColor DIM{38, 38, 40, 189};    // 74 %
constexpr QColor EDGE{255, 255, 255, 31}; // 12 %
constexpr double EDGE_WIDTH = 1;

/// Replaces every pixel of @p line by the mean of those around it; @p line ends in itself.
void blur(std::span<QRgb> line)
{
    const std::vector<QRgb> source(line.begin(), line.end());
    const int last = static_cast<int>(source.size()) - 1;
    const auto at = [&](int index) {
        return source[static_cast<std::size_t>(clamped(index, 0, last))];
    };
    int red = 0;
    int green = 0;
    int blue = 0;
    const auto add = [&](QRgb pixel, int sign) {
        red += sign * qRed(pixel);
        green += sign * qGreen(pixel);
        blue += sign * qBlue(pixel);
    };
    for (int i = -BLUR_RADIUS; i <= BLUR_RADIUS; ++i)
        add(at(i), 1);
    constexpr int COUNT = 2 * BLUR_RADIUS + 1;
    for (int i = 0; i <= last; ++i) {
        line[static_cast<std::size_t>(i)] = qRgb(red / COUNT, green / COUNT, blue / COUNT);
        add(at(i + BLUR_RADIUS + 1), 1);
        add(at(i - BLUR_RADIUS), -1);
    }
}

void blurRows(QImage &image)
{
    for (int y = 0; y < image.height(); ++y) {
        auto *row = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int pass = 0; pass < BLUR_PASSES; ++pass)
            blur({row, static_cast<std::size_t>(image.width())});
    }
}

void blurColumns(QImage &image)
{
    std::vector<QRgb> column(static_cast<std::size_t>(image.height()));
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y)
            column[static_cast<std::size_t>(y)] = image.pixel(x, y);
        for (int pass = 0; pass < BLUR_PASSES; ++pass)
            blur(column);
        for (int y = 0; y < image.height(); ++y)
            image.setPixel(x, y, column[static_cast<std::size_t>(y)]);
    }
}

/// What is behind @p area and MARGIN around it, small, blurred and dimmed.
QImage backdrop(const QRect &area, const std::function<void(QPainter &)> &paintBehind)
{
    const QSize size =
        (area.size() + QSize(REDUCTION - 1, REDUCTION - 1)) / REDUCTION + 2 * QSize(MARGIN, MARGIN);
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::black);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.translate(MARGIN, MARGIN);
        painter.scale(1.0 / REDUCTION, 1.0 / REDUCTION);
        painter.translate(-area.topLeft());
        paintBehind(painter);
    }
    blurRows(image);
    blurColumns(image);
    QPainter(&image).fillRect(image.rect(), DIM);
    return image;
}

} // namespace

QImage translucentPanel(const QRect &area, double radius, double scale,
                        const std::function<void(QPainter &)> &paintBehind)
{
    QImage panel((QSizeF(area.size()) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    panel.setDevicePixelRatio(scale);
    panel.fill(Qt::transparent);

    // A brush and not a clip, whose edge would not be antialiased.
    QBrush glass(backdrop(area, paintBehind));
    glass.setTransform(QTransform::fromScale(REDUCTION, REDUCTION).translate(-MARGIN, -MARGIN));
    QPainter painter(&panel);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.setPen(Qt::NoPen);
    painter.setBrush(glass);
    const QRectF shape({0, 0}, QSizeF(area.size()));
    painter.drawRoundedRect(shape, radius, radius);

    constexpr double INSET = EDGE_WIDTH / 2;
    painter.setPen(QPen(EDGE, EDGE_WIDTH));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(shape.adjusted(INSET, INSET, -INSET, -INSET), radius - INSET,
                            radius - INSET);
    return panel;
}

} // namespace tavolin
