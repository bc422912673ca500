#pragma once
// Camera raw files: the embedded preview, or a rendering of the raw data through LibRaw.

#include "decoding/Properties.h"
#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"

#include <optional>

namespace tavolin {

/// Size and orientation of the raw picture in @p file as LibRaw knows its camera; empty when it
/// does not.
[[nodiscard]] std::optional<ImageProperties> readRawProperties(const SourceFile &file);

struct DecodedPreview
{
    ScaledPicture picture; ///< Null when there is none that can be read.
    int longSidePx = 0;    ///< As the file has it, not scaled.
};

/// The largest preview embedded in @p file that can be decoded, whose headers say @p properties,
/// upright, as large as @p rule says. It is turned by what the raw file says; a
/// preview's own EXIF orientation does not count.
[[nodiscard]] DecodedPreview decodeRawPreview(const SourceFile &file,
                                              const std::optional<ImageProperties> &properties,
                                              const SizeRule &rule);

/// A rendering of the raw data in sRGB, upright, as large as @p rule says: at half the
/// resolution where that is enough or memory is short. A file that is cut short may give garbage
/// below the cut. Null when LibRaw can't.
[[nodiscard]] ScaledPicture renderRaw(const SourceFile &file, const SizeRule &rule);

/// The same in place of a preview of the long side @p previewPx: null also where the raw picture is
/// no larger, or where the file ends before its raw data.
[[nodiscard]] ScaledPicture renderRawInsteadOf(int previewPx, const SourceFile &file,
                                               const SizeRule &rule);

} // namespace tavolin
