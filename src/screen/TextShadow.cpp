#include "screen/TextShadow.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace tavolin {

namespace {

// In points; both ways.
constexpr double OFFSET = 1;
/// Where the blur ends: at two standard deviations of a normal distribution.
constexpr double BLUR_RADIUS = 2;
constexpr double DEVIATION = BLUR_RADIUS / 2;

constexpr float OPACITY = 0.9F;

/// What a pixel of the shadow takes from the pixels before it, on its line or in its column.
struct Kernel
{
    int first;                  ///< How many pixels before it is the one that has the first weight.
    std::vector<float> weights; ///< Of that one and those before it; their sum is 1.
};

/// Offset and blur in one: pixels lie where they lie, also where a point is no whole number of
/// them.
Kernel shadowKernel(double scale)
{
    const int first = static_cast<int>(std::ceil((OFFSET - BLUR_RADIUS) * scale));
    const int last = static_cast<int>(std::floor((OFFSET + BLUR_RADIUS) * scale));
    Kernel kernel{first, {}};
    double sum = 0;
    for (int pixel = first; pixel <= last; ++pixel) {
        const double distance = (pixel / scale - OFFSET) / DEVIATION;
        kernel.weights.push_back(static_cast<float>(std::exp(-distance * distance / 2)));
        sum += kernel.weights.back();
    }
    for (float &weight : kernel.weights)
        weight /= static_cast<float>(sum);
    return kernel;
}

/// Adds @p weight times @p from to @p to, @p shift further; what falls beyond the ends is lost.
void addShifted(std::span<float> to, std::span<const float> from, int shift, float weight)
{
    const int count = static_cast<int>(to.size());
    const int begin = std::max(0, shift);
    const int end = std::min(count, count + shift);
    for (int i = begin; i < end; ++i)
        to[static_cast<std::size_t>(i)] += weight * from[static_cast<std::size_t>(i - shift)];
}

} // namespace

QImage withShadow(QImage text)
{
    const Kernel kernel = shadowKernel(text.devicePixelRatio());
    const auto width = static_cast<std::size_t>(text.width());
    const auto height = static_cast<std::size_t>(text.height());
    std::vector<float> across(width * height);
    std::vector<float> shadow(width * height);
    std::vector<float> letters(width);
    for (std::size_t y = 0; y < height; ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(text.constScanLine(static_cast<int>(y)));
        std::transform(row, row + width, letters.begin(),
                       [](QRgb pixel) { return static_cast<float>(qAlpha(pixel)); });
        int shift = kernel.first;
        for (const float weight : kernel.weights)
            addShifted({&across[y * width], width}, letters, shift++, weight);
    }
    int shift = kernel.first * static_cast<int>(width); // a whole row at a time
    for (const float weight : kernel.weights) {
        addShifted(shadow, across, shift, weight);
        shift += static_cast<int>(width);
    }
    for (std::size_t y = 0; y < height; ++y) {
        auto *row = reinterpret_cast<QRgb *>(text.scanLine(static_cast<int>(y)));
        for (std::size_t x = 0; x < width; ++x) {
            // Black adds to nothing but the opacity.
            const float seen = OPACITY * shadow[y * width + x];
            const auto behind =
                static_cast<QRgb>(seen * static_cast<float>(255 - qAlpha(row[x])) / 255 + 0.5F);
            row[x] += behind << 24;
        }
    }
    return text;
}

} // namespace tavolin
