#pragma once
// PNG straight on libpng, which is given nothing but header, palette and pixels, and brought to the
// exact size row by row.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the picture of @p file (of an animation the default image) as stored (not turned), as
/// large as @p rule says, in the colours that the file speaks of (see PngColor.h). A
/// file that ends or breaks off early gives what came, on grey; of an interlaced one the coarse
/// picture where only that came. Null when nothing could be read, over the limits, and after the
/// file's stop request.
[[nodiscard]] ScaledPicture decodePng(const SourceFile &file, const SizeRule &rule);

} // namespace tavolin
