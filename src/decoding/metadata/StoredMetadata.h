#pragma once
// What a file carries beside its pixels and goes over to a copy as it is stored. Usable from any
// thread.

#include "decoding/FileType.h"
#include "pixels/JpegWriter.h"

#include <QByteArray>

#include <map>
#include <optional>
#include <vector>

namespace tavolin {

/// All as in the file, and empty where there is none.
struct StoredMetadata
{
    /// The Photoshop resources of a JPEG, one behind the other (see Photoshop.h).
    QByteArray resources;
    /// The further packets of XMP that a JPEG has, where they are whole and a megabyte together at
    /// most, by their digests as the file writes them.
    std::map<QByteArray, QByteArray> extendedXmp;
    /// A JPEG's, those that are not empty.
    std::vector<QByteArray> comments;
    /// Of a JPEG's JFIF header or a PNG.
    std::optional<PixelDensity> density;
};

/// What @p file has of it. Nothing of other files than JPEG and PNG.
[[nodiscard]] StoredMetadata readStoredMetadata(const SniffedFile &file);

} // namespace tavolin
