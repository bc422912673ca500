#pragma once
// A PNG file without the chunks that its pixels don't need: what stands in them costs nothing.

#include "decoding/SourceFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tavolin {

/// Where the content of a chunk lies in the file; at 0 there is none.
struct PngChunk
{
    std::int64_t begin = 0;
    std::int64_t length = 0;
};

/// The first chunk of each kind that speaks of colours (PNG, third edition, 11.3.2), not looked
/// into.
struct PngColorChunks
{
    PngChunk cicp;
    PngChunk iccp;
    PngChunk srgb;
    PngChunk gama;
    PngChunk chrm;
};

/// Reads a PNG from its start to its end and leaves out every chunk that a decoder may leave out
/// but tRNS. Keeps a reference to the file.
class PngChunks
{
public:
    explicit PngChunks(const SourceFile &file) : m_file(file) {}

    /// Fills @p out with the next bytes. False when the file, or the patience with it, ends before;
    /// also after the file's stop request.
    [[nodiscard]] bool read(std::span<std::byte> out);

    /// Those that stand before the first pixels read so far.
    [[nodiscard]] const PngColorChunks &colorChunks() const { return m_colorChunks; }

private:
    [[nodiscard]] bool enterNextChunk();
    /// Makes the chunk that has just been entered say that it ends with the file: libpng asks for
    /// thousands of bytes at once and would lose what there is of the last.
    void shorten();
    [[nodiscard]] PngChunk *colorChunk(std::uint32_t type);
    [[nodiscard]] std::span<const std::byte> buffered(std::size_t least);

    const SourceFile &m_file;
    PngColorChunks m_colorChunks;
    bool m_hasPixels = false;
    int m_chunks = 0;
    std::int64_t m_at = 0;
    std::int64_t m_left = 8; // of the chunk; first of the signature
    std::array<std::byte, 1 << 16> m_buffer;
    std::int64_t m_bufferBegin = 0;
    std::int64_t m_bufferEnd = 0;
};

} // namespace tavolin
