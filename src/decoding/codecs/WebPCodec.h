#pragma once
// WebP straight on libwebp.

#include "decoding/SourceFile.h"
#include "pixels/Image.h"

namespace tavolin {

/// Decodes the picture of @p file (of an animation the first frame, on its otherwise clear canvas)
/// as stored (not turned), its longest side at most @p maxPixel, with the profile that it carries.
/// A file that ends or breaks off early gives what came, on grey. Null when nothing could be read,
/// over the limits, and after the file's stop request.
[[nodiscard]] Image decodeWebP(const SourceFile &file, int maxPixel);

} // namespace tavolin
