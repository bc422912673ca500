#pragma once
// What of a picture's metadata goes into an edited copy of it. Usable from any thread.

#include "decoding/FileType.h"
#include "pixels/JpegWriter.h"

#include <QSize>

#include <optional>
#include <string_view>

namespace tavolin {

/// The metadata of @p file for an edited, upright copy of @p newSize: EXIF with the camera's notes
/// and GPS, XMP and IPTC. Orientation becomes upright, the pixel size the new one and the software
/// this program, each only where the file has the group that it belongs to (the orientation and
/// size in XMP only where they stand there). What describes the pixels as they were stored, or
/// shows them (see isCarried), is left out.
/// Where EXIF says that colours without a profile are Adobe RGB, sRGB's is the default profile.
/// Photoshop's resources with IPTC, and comments, go over byte for byte, as far as a JPEG or TIFF
/// stores them (see Photoshop.h); of other files IPTC is written anew. What a JPEG adds to its XMP
/// in further segments goes into the one packet. The density of pixels goes into EXIF, where there
/// is some without it. A block that would not fit into a JPEG's segment loses its largest values,
/// the largest first, until it does. Empty when the file can't be read; a file without metadata has
/// empty blocks.
[[nodiscard]] std::optional<JpegMetadata> carriedMetadata(const SniffedFile &file, QSize newSize);

/// Whether @p file says that this program has saved it: a JPEG with its name as the software.
[[nodiscard]] bool isSavedByViewer(const SniffedFile &file);

/// Whether the value with Exiv2's @p key is carried over. Not: how the pixels of a TIFF or raw file
/// lie in it, small pictures for previewing (they would show what was cropped away), and where in
/// the file such pictures are.
[[nodiscard]] bool isCarried(std::string_view key);

} // namespace tavolin
