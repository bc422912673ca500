#pragma once
// From a file's bytes to an upright picture of a given size. Usable from any thread.

#include "decoding/Properties.h"
#include "pixels/ScaledPicture.h"

#include <QSize>

#include <cstdint>
#include <optional>

namespace tavolin {

/// Where a picture is taken from.
enum class ThumbnailRule : std::uint8_t {
    FromImageAlways,   ///< From the file's full picture.
    FromImageIfAbsent, ///< From the largest embedded preview; from raw data where there is none, or
                       ///< only one below 1000 pixels and all of the raw data.
};

/// The picture in @p file, upright, as large as @p size says and never enlarged; what kind of file
/// it is is decided by its content. Colours are in the profile that the picture carries. Null when
/// it can't be decoded.
[[nodiscard]] ScaledPicture createThumbnail(const SniffedFile &file, const SizeRule &size,
                                            ThumbnailRule rule);

/// The full size of the picture in @p file, upright, from its headers. For a raw file that of the
/// raw picture. Empty when there is none to be found.
[[nodiscard]] std::optional<QSize> readUprightSize(const SniffedFile &file, ThumbnailRule rule);

/// The same for a file whose headers say @p properties.
[[nodiscard]] std::optional<QSize> uprightSizeOf(const SniffedFile &file, ThumbnailRule rule,
                                                 const std::optional<ImageProperties> &properties);

} // namespace tavolin
