#pragma once
// JPEG scaled in the inverse DCT, into the pixels that paint fastest, then brought to the exact
// size row by row. Sequential pictures by a decoder of our own that spreads over the cores, all
// others and what that leaves by libjpeg-turbo.

#include "decoding/Properties.h"
#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the first picture of @p file as stored (not turned), as large as @p
/// rule says. Grey becomes RGB, CMYK becomes sRGB; other pictures keep the profile that the file
/// carries or that @p hint stands for. A file that ends or breaks off early gives what came, on
/// grey. Null when nothing could be read, over the limits, and after the file's stop request.
[[nodiscard]] ScaledPicture decodeJpeg(const SourceFile &file, const SizeRule &rule,
                                       ColorHint hint = ColorHint::None);

} // namespace tavolin
