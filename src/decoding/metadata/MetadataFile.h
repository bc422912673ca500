#pragma once
// A picture's metadata without its pixels, as small a file as a library can take as a whole,
// whatever the size of the file that they are from. Usable from any thread.

#include "decoding/FileType.h"

namespace tavolin {

/// A file that says of its picture what @p file says, and has neither its pixels nor pictures to
/// preview it. Read by position, from where the container says that metadata are:
/// - of a TIFF, and of a raw file made like one, a stream of its first directory and of those for
///   EXIF, GPS and interoperability, with values of a megabyte at most. Notes of the camera stay
///   where they are in the stream, as some have offsets that count from its beginning; notes that
///   end behind 192 MB don't.
/// - of a HEIF and a WebP, a TIFF stream of the same kind, with XMP in it.
/// - of a CR3, the boxes with metadata.
/// - of a RAF, the JPEG in it, as a part of @p file.
///
/// Other formats are what they are, a part of @p file as well: libraries skip pixels there. Without
/// a byte where a container is not what it should be. @p file must outlive the result.
[[nodiscard]] SourceFile metadataFile(const SniffedFile &file);

} // namespace tavolin
