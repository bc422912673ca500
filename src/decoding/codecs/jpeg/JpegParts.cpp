#include "decoding/codecs/jpeg/JpegParts.h"

#include <algorithm>

namespace tavolin {

namespace {

/// How far a guess may be from falling into step, and how often what it takes for blocks may turn
/// out to be none. Cameras' pictures take 60 to 2000 bytes.
constexpr std::size_t WINDOW_BITS = std::size_t{4096} * 8;
constexpr int MOST_FAILURES = 200;

} // namespace

JpegParts::JpegParts(const JpegScan &scan, const JpegBlockReader &reader, const JpegFrame &frame,
                     std::int64_t blocks, std::size_t partBytes)
    : m_scan(scan), m_reader(reader), m_blocks(blocks),
      m_blocksPerSegment(frame.restartInterval > 0
                             ? std::int64_t{frame.restartInterval} * reader.blocksPerMcu()
                             : blocks)
{
    const auto wanted =
        static_cast<std::size_t>((m_blocks + m_blocksPerSegment - 1) / m_blocksPerSegment);
    const std::size_t count = std::min(scan.segments().size(), wanted);
    for (std::size_t first = 0; first < count;) {
        std::size_t end = first;
        std::size_t bytes = 0;
        const auto sizeOf = [&](std::size_t segment) {
            return scan.segments()[segment].end - scan.segments()[segment].begin;
        };
        if (sizeOf(first) > partBytes + partBytes / 2) {
            addPieces(first++, partBytes);
            continue;
        }
        while (end < count && bytes < partBytes && sizeOf(end) <= partBytes + partBytes / 2)
            bytes += sizeOf(end++);
        m_parts.push_back({.firstSegment = first,
                           .segments = end - first,
                           .begin = scan.segments()[first].begin * 8,
                           .end = endOf(end - 1)});
        first = end;
    }
}

void JpegParts::addPieces(std::size_t segment, std::size_t partBytes)
{
    const std::size_t begin = m_scan.segments()[segment].begin;
    const std::size_t bytes = m_scan.segments()[segment].end - begin;
    const std::size_t pieces = bytes / partBytes;
    const auto edge = [&](std::size_t piece) {
        return (begin +
                static_cast<std::size_t>(static_cast<std::uint64_t>(bytes) * piece / pieces)) *
               8;
    };
    for (std::size_t piece = 0; piece < pieces; ++piece)
        m_parts.push_back({.firstSegment = segment,
                           .isGuess = piece > 0,
                           .endsSegment = piece == pieces - 1,
                           .begin = edge(piece),
                           .end = edge(piece + 1)});
}

std::int64_t JpegParts::blocksOf(std::size_t segment) const
{
    return std::min(m_blocksPerSegment,
                    m_blocks - m_blocksPerSegment * static_cast<std::int64_t>(segment));
}

std::size_t JpegParts::endOf(std::size_t segment) const
{
    return m_scan.segments()[segment].end * 8;
}

void JpegParts::decode(const JpegPart &part, JpegPartResult &result) const
{
    result.blocks.clear();
    result.begins.clear();
    result.isSound = true;
    if (part.isGuess) {
        decodeGuess(part, result);
    } else if (part.segments > 0) {
        decodeSegments(part, result);
    } else {
        result.end = {.bit = part.begin};
        result.isSound = m_reader.read(result.end, m_scan.bytes(),
                                       {.until = part.end,
                                        .end = endOf(part.firstSegment),
                                        .blocks = blocksOf(part.firstSegment)},
                                       result.blocks);
    }
}

void JpegParts::decodeSegments(const JpegPart &part, JpegPartResult &result) const
{
    for (std::size_t i = part.firstSegment; i < part.firstSegment + part.segments; ++i) {
        const std::size_t before = result.blocks.count();
        const std::size_t end = endOf(i);
        result.end = {.bit = m_scan.segments()[i].begin * 8};
        m_reader.read(result.end, m_scan.bytes(), {.until = end, .end = end, .blocks = blocksOf(i)},
                      result.blocks);
        if (static_cast<std::int64_t>(result.blocks.count() - before) != blocksOf(i)) {
            result.isSound = false;
            return;
        }
    }
}

void JpegParts::decodeGuess(const JpegPart &part, JpegPartResult &result) const
{
    const std::size_t end = endOf(part.firstSegment);
    const std::size_t window = std::min(part.begin + WINDOW_BITS, part.end);
    result.end = {.bit = part.begin};
    for (int failures = 0; result.end.bit < window; ++failures) {
        if (m_reader.read(result.end, m_scan.bytes(), {.until = window, .end = end}, result.blocks,
                          &result.begins))
            break;
        if (failures == MOST_FAILURES)
            return;
        if (end - result.end.bit < 8)
            return; // filling
        // It was out of step; what it took for blocks were none.
        result.end = {.bit = (result.end.bit / 8 + 1) * 8};
        result.blocks.clear();
        result.begins.clear();
    }
    // Where this ends early the blocks will be too few, which whoever joins them sees.
    m_reader.read(result.end, m_scan.bytes(), {.until = part.end, .end = end}, result.blocks);
}

std::optional<std::size_t> JpegParts::decodeUntilMet(const JpegPart &part,
                                                     const JpegPartResult *guess, std::int64_t most,
                                                     JpegCursor &cursor, JpegBlocks &blocks,
                                                     bool &isSound) const
{
    JpegBlockReader::Limits limits{.until = part.end, .end = endOf(part.firstSegment)};
    isSound = true;
    const std::int64_t wanted = static_cast<std::int64_t>(blocks.count()) + most;
    const auto left = [&] { return wanted - static_cast<std::int64_t>(blocks.count()); };
    if (guess != nullptr && !guess->begins.empty()) {
        const auto &begins = guess->begins;
        for (; left() > 0 && cursor.bit <= begins.back();) {
            const auto found = std::ranges::lower_bound(begins, cursor.bit);
            const auto index = static_cast<std::size_t>(found - begins.begin());
            if (*found == cursor.bit &&
                static_cast<int>(index % static_cast<std::size_t>(m_reader.blocksPerMcu())) ==
                    cursor.block)
                return index;
            limits.blocks = 1;
            if (!m_reader.read(cursor, m_scan.bytes(), limits, blocks)) {
                isSound = false;
                return std::nullopt;
            }
        }
    }
    limits.blocks = left();
    isSound = m_reader.read(cursor, m_scan.bytes(), limits, blocks);
    return std::nullopt;
}

std::array<std::uint32_t, MOST_COMPONENTS> JpegParts::predictionsAt(const JpegBlocks &blocks,
                                                                    std::size_t index) const
{
    std::array<std::uint32_t, MOST_COMPONENTS> predictions{};
    const auto mcu = static_cast<std::size_t>(m_reader.blocksPerMcu());
    for (std::size_t i = index > mcu ? index - mcu : 0; i < index; ++i) {
        const auto component = m_reader.componentOf(static_cast<int>(i % mcu));
        predictions[static_cast<std::size_t>(component)] = blocks.block(i)[0] >> 16;
    }
    return predictions;
}

} // namespace tavolin
