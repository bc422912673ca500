#pragma once
// Decodes a sequential JPEG with all cores: parts of its scan at the same time, and rows of pixels
// while later parts still decode.

#include "decoding/codecs/jpeg/JpegFrame.h"
#include "decoding/codecs/jpeg/JpegKernels.h"
#include "decoding/codecs/jpeg/JpegScan.h"
#include "pixels/Bands.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <cstddef>
#include <stop_token>

namespace tavolin {

/// More threads than these would wait for the one that feeds the sink, and each has memory of its
/// own.
inline constexpr int MOST_JPEG_THREADS = 8;

/// How the work is spread. The result is the same for all.
struct JpegWork
{
    /// With one, which is the caller's, nothing is guessed. Fewer where the scan is short.
    int threads = std::min(coreCount(), MOST_JPEG_THREADS);
    std::size_t partBytes = 0; ///< Of the scan, decoded in one go; 0: as suits it.
    const JpegKernels &kernels = jpegKernels();
};

/// Gives @p sink the rows of @p frame at @p scale eighths (1, 2, 4, 8). False when not all could be
/// made: the scan is damaged or ends early, memory is lacking, or after a stop request; the sink
/// has the rows before that. The frame isDecodable().
bool decodeJpegScan(const JpegFrame &frame, int scale, const JpegScan &scan, RowSink &sink,
                    const std::stop_token &stop, const JpegWork &work = {});

} // namespace tavolin
