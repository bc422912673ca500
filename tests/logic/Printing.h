#pragma once
// How test failures show values of Qt.

#include <QRect>
#include <QRectF>
#include <QSize>

#include <ostream>

inline void PrintTo(const QSize &size, std::ostream *out)
{
    *out << size.width() << 'x' << size.height();
}

inline void PrintTo(const QRect &rect, std::ostream *out)
{
    *out << rect.width() << 'x' << rect.height() << " at " << rect.x() << ',' << rect.y();
}

inline void PrintTo(const QRectF &rect, std::ostream *out)
{
    *out << rect.width() << 'x' << rect.height() << " at " << rect.x() << ',' << rect.y();
}
