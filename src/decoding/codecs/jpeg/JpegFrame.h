#pragma once
// What a JPEG's headers say of a sequential picture whose components come in one scan, and how its
// blocks lie in the picture at each scale. Terms are those of ITU-T T.81.

#include <QSize>

#include <array>
#include <cstdint>
#include <vector>

namespace tavolin {

/// Coefficients of a block, and samples of one at full size.
inline constexpr int BLOCK_COEFFICIENTS = 64;
inline constexpr int BLOCK_SIDE = 8;

/// The most components that are decoded here: luminance and two of colour.
inline constexpr int MOST_COMPONENTS = 3;

/// A Huffman code as its segment tells it (section C.2).
struct JpegCode
{
    std::array<std::uint8_t, 17> counts{}; ///< Of codes with that many bits; the first is unused.
    std::array<std::uint8_t, 256> symbols{};
};

struct JpegComponent
{
    int h = 1; ///< Blocks of an MCU, across and down.
    int v = 1;
    std::array<std::uint16_t, BLOCK_COEFFICIENTS> steps{}; ///< Quantisation, in zigzag order.
    JpegCode dc;
    JpegCode ac;
};

struct JpegFrame
{
    QSize size;
    std::vector<JpegComponent> components; ///< Grey, or YCbCr.
    int restartInterval = 0;               ///< MCUs between restart markers; 0: there are none.
};

/// How a component's samples become as many as the picture has pixels.
enum class Upsampling : std::uint8_t {
    None,
    Repeat,         ///< Each sample stands for as many pixels as it covers.
    SmoothAcross,   ///< Twice as wide; weights 3/4 and 1/4 of the nearest two.
    SmoothDown,     ///< Twice as high.
    SmoothBothWays, ///< Both.
};

/// A component's samples at one scale.
struct JpegPlane
{
    int h = 1;
    int v = 1;
    int firstBlock = 0;    ///< Its first one of an MCU's blocks.
    int side = BLOCK_SIDE; ///< Samples across and down that the transform makes of a block.
    QSize size;            ///< Samples that belong to the picture.
    int expandX = 1;       ///< Pixels that a sample covers.
    int expandY = 1;
    Upsampling upsampling = Upsampling::None;

    /// Samples of an MCU.
    [[nodiscard]] int mcuWidth() const { return h * side; }
    [[nodiscard]] int mcuHeight() const { return v * side; }
};

/// How a frame's blocks make a picture at one scale.
struct JpegLayout
{
    QSize size;    ///< Pixels of the result.
    int scale = 8; ///< In eighths: 1, 2, 4 or 8.
    int mcusAcross = 0;
    int mcusDown = 0;
    int blocksPerMcu = 0;
    int mcuRowPixels = 0; ///< Rows of the result that a row of MCUs makes.
    std::vector<JpegPlane> planes;

    [[nodiscard]] std::int64_t blocksPerRow() const
    {
        return std::int64_t{mcusAcross} * blocksPerMcu;
    }
    [[nodiscard]] std::int64_t blocks() const { return blocksPerRow() * mcusDown; }
    /// Whether a row of pixels needs samples from above and below its own.
    [[nodiscard]] bool reachesOver() const;
};

/// Whether the frame is of a kind that is decoded here: grey, or colour of which the first
/// component has all samples and the others as many, a half or a quarter across and as many or a
/// half down.
[[nodiscard]] bool isDecodable(const JpegFrame &frame);

/// @p frame at @p scale eighths (1, 2, 4, 8), as libjpeg lays it out: colour that has fewer samples
/// is transformed at a larger scale where that makes up for it both ways, and upsampled otherwise,
/// smoothly where it has more than two columns and the scale is above one eighth.
[[nodiscard]] JpegLayout layoutOf(const JpegFrame &frame, int scale);

} // namespace tavolin
