#pragma once
// BMP of Windows and OS/2, by a reader of our own: rows are read from the file as the picture needs
// them, from the top, in whichever order they are stored.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

namespace tavolin {

/// Decodes the picture in @p file, as large as @p rule says. Keeps the RGB profile that
/// a header of version 5 carries, or the one that the numbers of a calibrated one stand for. Rows
/// that are missing are grey. Null when nothing could be read, when the picture is of a kind that
/// is refused (see BmpLayout.h), over the limits, and after the file's stop request.
[[nodiscard]] ScaledPicture decodeBmp(const SourceFile &file, const SizeRule &rule);

} // namespace tavolin
