#pragma once
// The bytes of a scan as decoding wants them: without stuffing, cut at the restart markers.

#include "decoding/SourceFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tavolin {

/// Entropy-coded data. What follows the last byte can be read, SPARE bytes of it.
class JpegScan
{
public:
    static constexpr std::size_t SPARE = 512;

    /// What lies between two restart markers: bytes from begin to before end.
    struct Segment
    {
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    /// Reads from @p offset to the first marker, or the first restart marker out of turn, or
    /// without @p hasRestarts any. Empty when there is nothing or more than @p most bytes, and
    /// after the file's stop request.
    [[nodiscard]] static std::optional<JpegScan> read(const SourceFile &file, std::int64_t offset,
                                                      std::int64_t most, bool hasRestarts);

    [[nodiscard]] const std::uint8_t *bytes() const { return m_bytes.get(); }
    [[nodiscard]] std::size_t size() const { return m_size; }
    [[nodiscard]] const std::vector<Segment> &segments() const { return m_segments; }

private:
    JpegScan() = default;

    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::size_t m_size = 0;
    std::vector<Segment> m_segments;
};

} // namespace tavolin
