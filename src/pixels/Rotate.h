#pragma once
// Turning a picture by any angle.

#include "pixels/Image.h"

#include <QSize>

namespace tavolin {

/// The middle @p size pixels of @p image turned by @p degrees (clockwise) about its centre, on all
/// cores; nothing but these is computed. Each pixel is made of the 6×6 nearest by Lanczos'
/// filter, which keeps flat areas exactly flat; where they reach beyond the picture, its edge is
/// repeated.
/// Keeps the profile. Null for a null picture or an empty size, and on lack of memory.
[[nodiscard]] Image rotated(const Image &image, double degrees, QSize size);

} // namespace tavolin
