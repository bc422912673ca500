#pragma once
// What a photo's EXIF data says of how it was taken. Usable from any thread.

#include "decoding/FileType.h"
#include "decoding/Thumbnail.h"
#include "pixels/PictureReader.h"

#include <optional>

namespace tavolin {

/// The JPEG that a RAF or RW2 @p file carries, as a part of it, with what follows it; without a
/// byte when it is missing. Empty when the file is another.
[[nodiscard]] std::optional<SourceFile> embeddedJpeg(const SniffedFile &file);

/// What the picture in @p file, whose size is asked for under @p rule, says of itself. Only the
/// EXIF tags count, not XMP or what a maker notes. Reads at most some tens of megabytes, whatever a
/// file claims, and of a HEIF at most what a decode does. Empty when the file is no picture: it has
/// neither a size nor any of these tags.
[[nodiscard]] std::optional<PhotoFacts> readFacts(const SniffedFile &file, ThumbnailRule rule);

} // namespace tavolin
