#pragma once
// The way to Exiv2: one file at a time in the whole process (concurrent reads silently lose
// metadata), over a SourceFile, no exception or message leaving.

#include "decoding/SourceFile.h"

#include <QByteArray>

#include <functional>

namespace Exiv2 {
class Image;
}

namespace tavolin {

/// Reads the metadata of @p file, as far as they are there, and hands them to @p use, while no
/// other thread is in Exiv2. A TIFF, HEIF, WebP or raw file must have gone through metadataFile().
/// Returns whether that went well: false when the file isn't known, or when @p use threw.
bool withMetadata(const SourceFile &file, const std::function<void(Exiv2::Image &)> &use);

/// Whether @p packet is one of XMP that takes Exiv2 no longer than it should to read.
[[nodiscard]] bool isTameXmp(const QByteArray &packet);

} // namespace tavolin
