#pragma once
// The EXIF data that generated pictures carry. Usable from any thread.

#include "pictures/Tiff.h"

#include <QByteArray>

namespace tavolin::pictures {

/// What the directory that field 0x8769 points to says: "TestLens 50mm", 50 mm, f/2.8, 1/250 s,
/// ISO 100, taken on 2024:05:01 at 14:03:22 plus @p index seconds.
[[nodiscard]] TiffDirectory exposureDirectory(int index);

/// An EXIF block, beginning with its TIFF header: make "TestMake", model "TestCamera",
/// @p orientation (any number, so that wrong ones can be tested; EXIF knows 1 to 8) and
/// exposureDirectory(@p index).
[[nodiscard]] QByteArray exifBlock(int orientation, int index = 0);

} // namespace tavolin::pictures
