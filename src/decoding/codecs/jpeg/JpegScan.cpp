#include "decoding/codecs/jpeg/JpegScan.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

namespace tavolin {

namespace {

constexpr std::uint8_t MARKER = 0xff;
/// Section B.1.1.2: the eight restart markers, which take turns.
constexpr unsigned RST0 = 0xd0;
constexpr unsigned RESTARTS = 8;
/// Read at a time: in the cache until it has been gone through.
constexpr std::size_t PIECE = std::size_t{1} << 18;

} // namespace

std::optional<JpegScan> JpegScan::read(const SourceFile &file, std::int64_t offset,
                                       std::int64_t most, bool hasRestarts)
{
    const std::int64_t there = file.size() - offset;
    if (there <= 0)
        return std::nullopt;
    const auto limit = static_cast<std::size_t>(std::min(there, most));
    JpegScan scan;
    // Not more of it becomes memory than is filled.
    scan.m_bytes.reset(new (std::nothrow) std::uint8_t[limit + SPARE]);
    const std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[PIECE]);
    if (!scan.m_bytes || !buffer)
        return std::nullopt;
    std::uint8_t *out = scan.m_bytes.get();
    const auto written = [&] { return static_cast<std::size_t>(out - scan.m_bytes.get()); };
    std::size_t segmentBegin = 0;
    unsigned turn = 0;
    bool isAtMarker = false; // behind 0xff
    bool isOver = false;
    const auto endSegment = [&] {
        scan.m_segments.push_back({segmentBegin, written()});
        segmentBegin = written();
    };
    std::size_t done = 0;
    while (!isOver && done < limit) {
        const std::size_t count = file.readAt(
            offset + static_cast<std::int64_t>(done),
            std::as_writable_bytes(std::span(buffer.get(), std::min(PIECE, limit - done))));
        if (count == 0)
            break;
        done += count;
        const std::uint8_t *from = buffer.get();
        const std::uint8_t *const end = from + count;
        while (from != end && !isOver) {
            if (isAtMarker) {
                const unsigned code = *from++;
                isAtMarker = code == MARKER; // filling, of which there may be any amount
                if (isAtMarker) {
                    continue;
                } else if (code == 0) {
                    *out++ = MARKER;
                } else if (hasRestarts && code == RST0 + turn) {
                    endSegment();
                    turn = (turn + 1) % RESTARTS;
                } else {
                    isOver = true;
                }
                continue;
            }
            const void *const found =
                std::memchr(from, MARKER, static_cast<std::size_t>(end - from));
            const std::uint8_t *const stop =
                found != nullptr ? static_cast<const std::uint8_t *>(found) : end;
            std::memcpy(out, from, static_cast<std::size_t>(stop - from));
            out += stop - from;
            from = stop;
            if (from != end) {
                isAtMarker = true;
                ++from;
            }
        }
    }
    if (file.stopToken().stop_requested() || (!isOver && done >= limit && there > most))
        return std::nullopt;
    endSegment();
    scan.m_size = written();
    std::fill_n(out, SPARE, std::uint8_t{0});
    return scan;
}

} // namespace tavolin
