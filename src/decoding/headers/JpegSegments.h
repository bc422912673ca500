#pragma once
// The segments of a JPEG before its scan. One thread at a time.

#include "decoding/FieldReader.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace tavolin {

/// A segment with a length of its own (ITU-T T.81, B.1.1.4).
struct JpegSegment
{
    unsigned marker = 0;    ///< Its second byte.
    std::int64_t begin = 0; ///< Of what follows the length.
    std::int64_t bytes = 0; ///< So many; the file may end before.
};

/// Hands each segment of the JPEG that begins at @p begin to @p use, until that returns false, the
/// scan begins or something else than segments comes. False when no JPEG begins there.
bool walkJpegSegments(FieldReader &fields, std::int64_t begin,
                      const std::function<bool(const JpegSegment &)> &use);

/// The first segment with EXIF data of the JPEG that begins at @p begin, without what comes before
/// the TIFF stream in it.
[[nodiscard]] std::optional<JpegSegment> findExifSegment(FieldReader &fields, std::int64_t begin);

} // namespace tavolin
