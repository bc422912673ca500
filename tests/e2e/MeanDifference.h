#pragma once
// How much two looks at the screen differ.

#include <QImage>
#include <QRgb>

#include <cstdlib>

namespace tavolin {

/// The mean difference between the channels of two pictures of one size, in levels.
[[nodiscard]] inline double meanDifference(const QImage &a, const QImage &b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb first = a.pixel(x, y);
            const QRgb second = b.pixel(x, y);
            sum += std::abs(qRed(first) - qRed(second)) + std::abs(qGreen(first) - qGreen(second)) +
                   std::abs(qBlue(first) - qBlue(second));
        }
    }
    return sum / (3.0 * a.width() * a.height());
}

} // namespace tavolin
