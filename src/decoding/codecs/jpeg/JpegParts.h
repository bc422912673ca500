#pragma once
// A scan cut into parts that are decoded at the same time: at restart markers where they are close
// enough, and at guessed places between them. Huffman codes fall into step by themselves: a decoder
// that begins anywhere soon begins its blocks where the blocks are.

#include "decoding/codecs/jpeg/JpegBlocks.h"
#include "decoding/codecs/jpeg/JpegFrame.h"
#include "decoding/codecs/jpeg/JpegScan.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tavolin {

/// A part of a scan. It has whole segments, or lies in one.
struct JpegPart
{
    std::size_t firstSegment = 0;
    std::size_t segments = 0; ///< Whole ones; 0: a piece of the first.
    bool isGuess = false;     ///< Nobody knows what block its first bit belongs to.
    bool endsSegment = true;
    std::size_t begin = 0; ///< In bits. Blocks that begin before end belong to it.
    std::size_t end = 0;
};

/// What one part has given.
struct JpegPartResult
{
    JpegBlocks blocks;
    JpegCursor end; ///< Behind the last block.
    /// Of a guess: where its first blocks begin, as far as it is likely to take to fall into step.
    std::vector<std::size_t> begins;
    bool isSound = true; ///< Of whole segments: all blocks are there.
};

/// A scan, its parts and how each is decoded.
class JpegParts
{
public:
    /// Cuts @p scan into parts of about @p partBytes, 1 or more. @p scan and @p reader outlive it.
    JpegParts(const JpegScan &scan, const JpegBlockReader &reader, const JpegFrame &frame,
              std::int64_t blocks, std::size_t partBytes);

    [[nodiscard]] std::size_t count() const { return m_parts.size(); }
    [[nodiscard]] const JpegPart &part(std::size_t index) const { return m_parts[index]; }

    /// Blocks of segment @p segment.
    [[nodiscard]] std::int64_t blocksOf(std::size_t segment) const;
    /// The bit behind the last one of @p segment.
    [[nodiscard]] std::size_t endOf(std::size_t segment) const;

    /// Decodes @p part, a guess from where it seems to begin.
    void decode(const JpegPart &part, JpegPartResult &result) const;

    /// Decodes in order from @p cursor, in the segment of @p part and at most to its end and
    /// @p most blocks more, until a block begins where one of @p guess begins. The index of that
    /// one; or none. False in @p isSound when a block can't be decoded.
    [[nodiscard]] std::optional<std::size_t>
    decodeUntilMet(const JpegPart &part, const JpegPartResult *guess, std::int64_t most,
                   JpegCursor &cursor, JpegBlocks &blocks, bool &isSound) const;

    /// The zero-frequency values that block @p index of @p blocks counts from, if the first one is
    /// an MCU's first.
    [[nodiscard]] std::array<std::uint32_t, MOST_COMPONENTS> predictionsAt(const JpegBlocks &blocks,
                                                                           std::size_t index) const;

private:
    void decodeSegments(const JpegPart &part, JpegPartResult &result) const;
    void decodeGuess(const JpegPart &part, JpegPartResult &result) const;
    void addPieces(std::size_t segment, std::size_t partBytes);

    const JpegScan &m_scan;
    const JpegBlockReader &m_reader;
    std::int64_t m_blocks = 0;
    std::int64_t m_blocksPerSegment = 0;
    std::vector<JpegPart> m_parts;
};

} // namespace tavolin
