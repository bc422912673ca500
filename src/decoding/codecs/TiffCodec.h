#pragma once
// TIFF straight on libtiff, which unpacks; what the numbers mean is our own affair. Rows go to
// their final size as they come.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the first page of @p file as stored (not turned), as large as @p rule says.
/// CMYK, Lab and YCbCr become sRGB; other pictures keep the profile that the file carries. Rows,
/// strips and tiles that are missing or broken are grey. Null when nothing could be read, when the
/// page is of a kind that is refused (see TiffFile.h), over the limits, and after the file's stop
/// request.
[[nodiscard]] ScaledPicture decodeTiff(const SourceFile &file, const SizeRule &rule);

} // namespace tavolin
