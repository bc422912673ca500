#pragma once
// From libjpeg's view of a file's headers to ours. For those who include <jpeglib.h>.

#include "decoding/codecs/jpeg/JpegFrame.h"

#include <optional>

struct jpeg_decompress_struct;

namespace tavolin {

/// The frame that @p info, whose headers have been read up to its first scan, tells of. Empty where
/// it is of another kind than is decoded here: progressive, in several scans, with arithmetic
/// codes, of more bits than 8, without tables, in other colours than grey or YCbCr, oddly sampled.
[[nodiscard]] std::optional<JpegFrame> sequentialFrame(const jpeg_decompress_struct &info);

} // namespace tavolin
