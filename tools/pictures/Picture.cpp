#include "pictures/Picture.h"

#include "pictures/Background.h"

#include <QColor>
#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QTransform>

#include <algorithm>
#include <array>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

namespace {

constexpr int INDEX_BITS = 16;

/// Grey levels (0 to 255) from pure black or white at which a cell is still taken for it: JPEG
/// and scaling blur, a wrong place shows the background.
constexpr int INDEX_TOLERANCE = 60;

/// Degrees between the hues of neighbouring pictures, when there are too many to spread them over
/// the circle: the golden angle keeps any few of them apart.
constexpr int HUE_STEP_DEGREES = 137;

struct CornerColors
{
    QColor topLeft{255, 0, 0};
    QColor topRight{0, 255, 0};
    QColor bottomLeft{0, 0, 255};
    QColor bottomRight{255, 255, 0};
};

/// Fills the corners of a picture of @p size with patches of @p patch.
void drawCorners(QPainter &painter, QSize size, QSize patch)
{
    const CornerColors colors;
    const int right = size.width() - patch.width();
    const int bottom = size.height() - patch.height();
    painter.fillRect(QRect({0, 0}, patch), colors.topLeft);
    painter.fillRect(QRect({right, 0}, patch), colors.topRight);
    painter.fillRect(QRect({0, bottom}, patch), colors.bottomLeft);
    painter.fillRect(QRect({right, bottom}, patch), colors.bottomRight);
}

/// Cell @p place of the index bar (0 at the left) in a picture of @p size.
QRectF indexCell(QSize size, int place)
{
    const double side = size.width() / 40.0;
    const double left = size.width() / 2.0 - INDEX_BITS / 2.0 * side;
    return {left + place * side, size.height() * 7 / 8.0 - side / 2, side, side};
}

void drawIndexBar(QPainter &painter, QSize size, int index)
{
    const QRectF first = indexCell(size, 0);
    const double margin = first.width() / 2;
    painter.fillRect(
        first.united(indexCell(size, INDEX_BITS - 1)).adjusted(-margin, -margin, margin, margin),
        QColor(128, 128, 128));
    for (int place = 0; place < INDEX_BITS; ++place) {
        const bool isSet = (index >> (INDEX_BITS - 1 - place) & 1) != 0;
        painter.fillRect(indexCell(size, place), isSet ? Qt::white : Qt::black);
    }
}

/// The mean grey level (0 to 255) of the middle quarter of @p cell, at least one pixel.
int middleGrey(const QImage &image, const QRectF &cell)
{
    const QSize size = (cell.size() / 2).toSize().expandedTo({1, 1});
    const QPoint start = (cell.center() - QPointF(size.width(), size.height()) / 2.0).toPoint();
    int sum = 0;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            sum += qGray(image.pixel(start + QPoint(x, y)));
    return sum / (size.width() * size.height());
}

void drawArrowUp(QPainter &painter, const QRectF &box)
{
    const auto at = [&](double x, double y) {
        return QPointF(box.x() + x * box.width(), box.y() + y * box.height());
    };
    painter.drawPolygon(QPolygonF({at(0.5, 0), at(1, 0.55), at(0.68, 0.55), at(0.68, 1),
                                   at(0.32, 1), at(0.32, 0.55), at(0, 0.55)}));
}

/// @p text in the middle of @p box, as large as fits.
void drawFitted(QPainter &painter, const QRectF &box, const QString &text, QFont::Weight weight)
{
    // Noto's lines with Thai marks are up to this much higher than the font's pixel size.
    constexpr double LINE_HEIGHT = 1.5;
    QFont font(QStringList{u"Noto Sans"_s, u"Noto Sans Thai"_s});
    font.setWeight(weight);
    font.setPixelSize(std::max(1, static_cast<int>(box.height() / LINE_HEIGHT)));
    const double width = QFontMetricsF(font).horizontalAdvance(text);
    if (width > box.width())
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * box.width() / width)));
    painter.setFont(font);
    // At a point, not in a box: breaking lines would load the system's Thai dictionary.
    const QFontMetricsF metrics(font);
    painter.drawText(QPointF(box.center().x() - metrics.horizontalAdvance(text) / 2,
                             box.center().y() + (metrics.ascent() - metrics.descent()) / 2),
                     text);
}

/// The marks for people, on a darkened panel between the corners.
void drawLabels(QPainter &painter, const PictureSpec &spec)
{
    const double width = spec.size.width();
    const double height = spec.size.height();
    const double side = std::min(width, height);
    const QRectF panel(width * 0.5 - side * 0.33, height * 0.06, side * 0.66, height * 0.71);
    const auto line = [&](double top, double share) {
        return QRectF(panel.x() + panel.width() * 0.05, panel.y() + panel.height() * top,
                      panel.width() * 0.9, panel.height() * share);
    };
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 110));
    painter.drawRoundedRect(panel, side * 0.03, side * 0.03);
    painter.setBrush(Qt::white);
    QRectF arrow = line(0.05, 0.23);
    arrow.setWidth(arrow.height() * 0.8);
    arrow.moveCenter({width / 2, arrow.center().y()});
    drawArrowUp(painter, arrow);
    painter.setPen(Qt::white);
    drawFitted(painter, line(0.30, 0.20), u"ขึ้น"_s, QFont::Normal);
    drawFitted(painter, line(0.40, 0.50), QString::number(spec.index), QFont::Bold);
    drawFitted(
        painter, line(0.85, 0.11),
        u"%1×%2  EXIF %3"_s.arg(spec.size.width()).arg(spec.size.height()).arg(spec.orientation),
        QFont::Normal);
}

QImage turned(const QImage &image, int degrees)
{
    return image.transformed(QTransform().rotate(degrees));
}

} // namespace

QImage drawPicture(const PictureSpec &spec)
{
    const int hueDegrees = spec.count > 1 && spec.count <= 360
                               ? (spec.index - 1) * 360 / spec.count
                               : (spec.index - 1) * HUE_STEP_DEGREES;
    QImage picture = paintBackground(spec.size, (200 + hueDegrees) % 360,
                                     spec.seed + static_cast<quint32>(spec.index),
                                     spec.detailed ? Texture::Photo : Texture::Plain);
    QPainter painter(&picture);
    drawCorners(painter, spec.size, spec.size / 8);
    drawIndexBar(painter, spec.size, spec.index);
    drawLabels(painter, spec);
    return picture;
}

QImage fourQuarters(QSize size)
{
    QImage picture(size, QImage::Format_RGB32);
    QPainter painter(&picture);
    drawCorners(painter, size, {(size.width() + 1) / 2, (size.height() + 1) / 2});
    return picture;
}

std::optional<int> readIndex(const QImage &shown)
{
    if (shown.width() < 160 || shown.width() > 5 * shown.height())
        return {};
    int index = 0;
    for (int place = 0; place < INDEX_BITS; ++place) {
        const int grey = middleGrey(shown, indexCell(shown.size(), place));
        if (std::min(grey, 255 - grey) > INDEX_TOLERANCE)
            return {};
        index = index * 2 + (grey > 127 ? 1 : 0);
    }
    return index;
}

QImage storedFor(const QImage &upright, int orientation)
{
    switch (orientation) {
    case 2:
        return upright.mirrored(true, false);
    case 3:
        return upright.mirrored(true, true);
    case 4:
        return upright.mirrored(false, true);
    case 5:
        return turned(upright, 90).mirrored(true, false);
    case 6:
        return turned(upright, 270);
    case 7:
        return turned(upright, 90).mirrored(false, true);
    case 8:
        return turned(upright, 90);
    default:
        return upright;
    }
}

} // namespace tavolin::pictures
