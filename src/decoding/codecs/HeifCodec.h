#pragma once
// HEIC and HEIF through libheif.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the primary picture of @p file upright (the container's own turning applied, EXIF's
/// ignored), as large as @p rule says. Keeps the profile; primaries that the container
/// names by number become one. Null when it can't be read and over the limits.
[[nodiscard]] ScaledPicture decodeHeif(const SourceFile &file, const SizeRule &rule);

} // namespace tavolin
