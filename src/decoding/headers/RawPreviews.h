#pragma once
// The JPEGs that raw files embed for being looked at, found from the structure of the container:
// TIFF directories and maker notes, the header of a RAF, the boxes of a CR3. No camera's name
// counts and no offset is believed: a preview is where a JPEG begins.

#include "decoding/FieldReader.h"

#include <QSize>

#include <cstdint>
#include <vector>

namespace tavolin {

/// The long side below which a preview is a stamp: not enough to judge a picture by on any screen.
inline constexpr int MIN_PREVIEW_LONG_SIDE_PX = 1000;

/// A JPEG inside of a raw file.
struct RawPreview
{
    std::int64_t offset = 0; ///< Of its first byte in the file.
    std::int64_t length = 0; ///< Bytes, as many as the container says and the file has.
    QSize size;              ///< As stored, by its own frame header.
    bool isCut = false;      ///< The file ends before it does.
};

/// The previews in the raw file of @p fields that can be decoded (8 bits a sample and coded with
/// losses, which raw data aren't), the largest first; but of a file that was cut short, behind
/// those that are there and of use. Empty when there are none and for what is no raw file.
[[nodiscard]] std::vector<RawPreview> findRawPreviews(FieldReader &fields);

} // namespace tavolin
