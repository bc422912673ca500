#pragma once
// The order in which an interlaced PNG stores its pixels (PNG, third edition, 8.2): seven passes
// over blocks of 8 x 8, each a picture of its own. Passes are counted from 0.

#include "pixels/Image.h"

#include <QSize>

namespace tavolin::Adam7 {

inline constexpr int PASSES = 7;

/// The size of @p pass of a picture of @p size; small pictures have passes without rows or columns.
[[nodiscard]] QSize passSize(int pass, QSize size);

/// Puts the pixels of a pass's row to their places in @p whole.
void spread(const Pixel *pixels, int pass, int row, PixelBuffer &whole);

/// Fills the pixels of @p whole that come after the first @p rows rows of @p pass: with the pixel
/// that stood for their part of the block until then, or as missing where there was none.
void fillGaps(PixelBuffer &whole, int pass, int rows);

} // namespace tavolin::Adam7
