#pragma once
// BMP and TIFF through Qt's readers.

#include "decoding/FileType.h"
#include "decoding/SourceFile.h"
#include "pixels/Image.h"

namespace tavolin {

/// Decodes the first picture of @p file, which is a @p type of Qt's (Bmp or Tiff), as
/// stored (not turned), its longest side at most @p maxPixel. Keeps an RGB or grey profile. Null
/// when it can't be read, over the limits, and after the file's stop request.
[[nodiscard]] Image decodeWithQt(const SourceFile &file, FileType type, int maxPixel);

} // namespace tavolin
