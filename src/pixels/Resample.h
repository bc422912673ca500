#pragma once
// Changing a picture's size: one separable cubic filter, used row by row so that a decoder can feed
// it while it decodes. Pixels are treated as four 8-bit channels, so any layout will do.

#include "pixels/Image.h"

#include <QSize>

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <vector>

namespace tavolin {

/// @p size with its longest side brought down to @p maxPixel, both sides rounded to the nearest
/// whole pixel and at least 1; @p size itself when it is within the limit already.
[[nodiscard]] QSize sizeWithin(QSize size, int maxPixel);

/// How each row and column of a picture of one size is made of those of another. The filter is
/// Catmull-Rom's cubic (Keys 1981, a = −1/2), widened by the ratio when the picture shrinks: sharp,
/// without moiré, and exact where nothing is to be scaled.
class ResamplePlan
{
public:
    ResamplePlan(QSize source, QSize target);

    /// First and last source row that target row @p y needs. Both grow with y.
    [[nodiscard]] int firstSourceRow(int y) const;
    [[nodiscard]] int lastSourceRow(int y) const;

    /// The most source rows that one target row needs: the window a streaming caller must keep.
    [[nodiscard]] int windowRows() const { return m_rows.taps; }

    /// How many values makeRow() works with.
    [[nodiscard]] std::size_t scratchSize() const;

    /// Makes target row @p y in @p out from @p window, where window[i] is the source row
    /// firstSourceRow(y) + i. @p scratch is working memory that the caller keeps between rows, one
    /// for each thread.
    void makeRow(int y, const Pixel *const *window, Pixel *out,
                 std::vector<std::int16_t> &scratch) const;

private:
    /// For every target position the first source position and a fixed number of weights.
    struct Axis
    {
        int taps = 0;                      // even; unused ones weigh nothing
        std::vector<int> first;            // may leave weights beyond the last source position
        std::vector<std::int16_t> weights; // taps for each target position, 1.0 = 1 << 14
    };
    static Axis makeAxis(int source, int target);

    QSize m_source;
    Axis m_columns;
    Axis m_rows;
};

/// Brings the colours of @p pixels premultiplied pixels that overshot their alpha back under it.
void limitToAlpha(Pixel *row, int pixels);

/// @p image at exactly @p size, enlarged or reduced, on all cores. Keeps the profile. Null
/// on lack of memory, for an empty size, or once @p stop is requested.
[[nodiscard]] Image resampled(const Image &image, QSize size, std::stop_token stop = {});

/// @p image reduced so that its longest side is @p maxPixel, sides truncated to whole pixels and at
/// least 1; the same picture when it is within the limit or when memory is lacking.
[[nodiscard]] Image downscale(const Image &image, int maxPixel);

} // namespace tavolin
