#pragma once
// WebP straight on libwebp.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the picture of @p file (of an animation the first frame, on its otherwise clear canvas)
/// as stored (not turned), as large as @p rule says, with the profile that it carries.
/// A file that ends or breaks off early gives what came, on grey. Null when nothing could be read,
/// over the limits, and after the file's stop request.
[[nodiscard]] ScaledPicture decodeWebP(const SourceFile &file, const SizeRule &rule);

} // namespace tavolin
