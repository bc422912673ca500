#pragma once
// Converts our Image to QImage.

#include "pixels/Image.h"

#include <QImage>

namespace tavolin {

/// @p image as Qt's type, for painting and for Qt's writers. Shares the pixels.
[[nodiscard]] QImage toQImage(const Image &image);

} // namespace tavolin
