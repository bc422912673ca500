#pragma once
// A row of MCUs as rows of pixels: transform, upsampling and colour.

#include "decoding/codecs/jpeg/JpegBlocks.h"
#include "decoding/codecs/jpeg/JpegFrame.h"
#include "decoding/codecs/jpeg/JpegKernels.h"
#include "pixels/Image.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tavolin {

/// Blocks whose place in the picture is known.
struct JpegRun
{
    const JpegBlocks *blocks = nullptr;
    std::size_t skip = 0;   ///< Blocks at its beginning that are none of the picture's.
    std::int64_t first = 0; ///< The first of the others, counted from the picture's first block.
    std::int64_t count = 0;
    /// What the zero-frequency values of each component lack.
    std::array<std::uint32_t, MOST_COMPONENTS> shift{};
};

/// The samples of a row of MCUs at whose edge the next one goes on: its first and last rows.
struct JpegSeam
{
    std::array<std::vector<std::uint8_t>, MOST_COMPONENTS> first;
    std::array<std::vector<std::uint8_t>, MOST_COMPONENTS> last;
};

/// What all bands of a picture share. Nothing changes it.
class JpegBandPlan
{
public:
    JpegBandPlan(const JpegFrame &frame, int scale, const JpegKernels &kernels);

    [[nodiscard]] const JpegLayout &layout() const { return m_layout; }
    [[nodiscard]] bool hasSeams() const { return m_layout.reachesOver(); }

    /// The rows of pixels of MCU row @p band: the first one, and the one behind the last.
    [[nodiscard]] int firstRow(int band) const { return band * m_layout.mcuRowPixels; }
    [[nodiscard]] int endRow(int band) const;

private:
    friend class JpegPainter;

    JpegLayout m_layout;
    const JpegKernels &m_kernels;
    // Of each component, in zigzag order.
    std::vector<std::array<std::uint16_t, BLOCK_COEFFICIENTS>> m_steps;
    std::vector<int> m_componentOfMcu; // of each block
};

/// One thread's memory for painting.
class JpegPainter
{
public:
    explicit JpegPainter(const JpegBandPlan &plan);

    /// Makes the pixels of MCU row @p band, @p stride apart from @p out on, of the blocks in
    /// @p runs, which follow each other and have all of them. Where there are seams, the first row
    /// is left to joinSeam() unless it is the picture's, and so is the last; @p seam gets what is
    /// needed. False, without pixels, when coefficients are larger than any picture's: transforms
    /// overflow there, each in its own way.
    [[nodiscard]] bool paint(int band, std::span<const JpegRun> runs, Pixel *out,
                             std::ptrdiff_t stride, JpegSeam &seam);

    /// Makes the last row of @p band, and the first one of the next.
    void joinSeam(int band, const JpegSeam &above, const JpegSeam &below, Pixel *last,
                  Pixel *first);

private:
    struct Coefficients
    {
        const JpegCoefficient *begin = nullptr;
        std::uint32_t count = 0;
        std::uint32_t shift = 0; // for the first one
    };

    void findBlocks(int band, std::span<const JpegRun> runs);
    void transform(std::size_t component);
    void transformPair(std::size_t component, const Coefficients &left, const Coefficients *right,
                       std::uint8_t *out);
    /// A block's samples where they are all the same.
    [[nodiscard]] std::uint8_t flatSample(std::size_t component, const Coefficients &block);
    /// Puts a block's coefficients, dequantised, into a pair's rows.
    void place(std::size_t component, const Coefficients &block, std::int16_t *rows);

    /// Paints row @p y of the picture; rowAt(component, row) gives rows of the planes.
    template <typename RowAt>
    void paintRow(int y, RowAt rowAt, Pixel *out);
    template <typename RowAt>
    const std::uint8_t *widened(std::size_t component, int y, RowAt rowAt);

    const JpegBandPlan &m_plan;
    std::vector<Coefficients> m_blocks; // of the band, in the order of the scan
    std::array<std::vector<std::uint8_t>, MOST_COMPONENTS> m_planes;
    std::array<std::ptrdiff_t, MOST_COMPONENTS> m_strides{};
    std::array<std::vector<std::uint8_t>, MOST_COMPONENTS> m_widened;
    alignas(32) std::array<std::int16_t, PAIR_WIDTH * BLOCK_SIDE> m_pair{};
    std::uint32_t m_excess = 0; // has a high bit when a coefficient was too large
};

} // namespace tavolin
