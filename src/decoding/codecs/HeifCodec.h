#pragma once
// HEIC and HEIF through libheif.

#include "decoding/SourceFile.h"
#include "pixels/Image.h"

namespace tavolin {

/// Decodes the primary picture of @p file upright (the container's own turning applied, EXIF's
/// ignored), its longest side at most @p maxPixel. Keeps the profile; primaries that the container
/// names by number become one. Null when it can't be read and over the limits.
[[nodiscard]] Image decodeHeif(const SourceFile &file, int maxPixel);

} // namespace tavolin
