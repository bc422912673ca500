#pragma once
// The eight ways a stored picture can be turned, numbered as in EXIF.

#include "pixels/Image.h"

#include <QSize>

#include <cstdint>

namespace tavolin {

/// What must be done to the stored picture to see it upright (EXIF 2.32, tag 0x0112). Turns are
/// clockwise.
enum class Orientation : std::uint8_t {
    Upright = 1,
    MirrorHorizontal = 2, ///< Left and right exchanged.
    Turn180 = 3,
    MirrorVertical = 4, ///< Top and bottom exchanged.
    Transpose = 5,      ///< Mirrored at the main diagonal.
    Turn90 = 6,
    Transverse = 7, ///< Mirrored at the other diagonal.
    Turn270 = 8,
};

/// The orientation of an EXIF value; anything but 1 to 8 is upright.
[[nodiscard]] Orientation orientationFromExif(std::uint32_t value);

/// Whether width and height change places (5 to 8).
[[nodiscard]] bool swapsSides(Orientation orientation);

/// @p stored as seen upright.
[[nodiscard]] QSize uprightSize(QSize stored, Orientation orientation);

/// @p image turned upright; the same picture when it is already. Null on lack of memory.
[[nodiscard]] Image turnedUpright(const Image &image, Orientation orientation);

} // namespace tavolin
