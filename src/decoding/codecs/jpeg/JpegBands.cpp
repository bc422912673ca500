#include "decoding/codecs/jpeg/JpegBands.h"

#include "pixels/Geometry.h"

#include <algorithm>
#include <cstring>

namespace tavolin {

namespace {

/// Where the coefficients go that come in zigzag order (figure A.6), in the left block of a pair.
constexpr auto PLACES = [] {
    std::array<std::uint8_t, BLOCK_COEFFICIENTS> places{};
    int x = 0;
    int y = 0;
    for (std::uint8_t &place : places) {
        place = static_cast<std::uint8_t>(y * PAIR_WIDTH + x);
        const bool isGoingUp = (x + y) % 2 == 0;
        if (isGoingUp && x == 7)
            ++y;
        else if (isGoingUp && y == 0)
            ++x;
        else if (!isGoingUp && y == 7)
            ++x;
        else if (!isGoingUp && x == 0)
            ++y;
        else {
            x += isGoingUp ? 1 : -1;
            y += isGoingUp ? -1 : 1;
        }
    }
    return places;
}();
static_assert(PLACES[1] == 1 && PLACES[2] == PAIR_WIDTH && PLACES[63] == 7 * PAIR_WIDTH + 7);

std::int16_t word(std::uint32_t value)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

/// Samples that kernels read and write behind a row's end.
constexpr std::size_t SPARE_SAMPLES = 64;

/// No coefficient of 8-bit samples is larger, however coarsely it is quantised: 1024 is the most
/// before that.
constexpr std::int32_t MOST_COEFFICIENT = 2047;

/// More than EXCESS when @p value is larger; so is what that is ORed with.
constexpr std::uint32_t EXCESS = 2 * MOST_COEFFICIENT + 1;
std::uint32_t excess(std::int32_t value)
{
    return static_cast<std::uint32_t>(value + MOST_COEFFICIENT + 1);
}

} // namespace

JpegBandPlan::JpegBandPlan(const JpegFrame &frame, int scale, const JpegKernels &kernels)
    : m_layout(layoutOf(frame, scale)), m_kernels(kernels)
{
    for (std::size_t i = 0; i < frame.components.size(); ++i) {
        m_steps.push_back(frame.components[i].steps);
        const JpegPlane &plane = m_layout.planes[i];
        m_componentOfMcu.insert(m_componentOfMcu.end(), static_cast<std::size_t>(plane.h * plane.v),
                                static_cast<int>(i));
    }
}

int JpegBandPlan::endRow(int band) const
{
    return std::min(firstRow(band + 1), m_layout.size.height());
}

JpegPainter::JpegPainter(const JpegBandPlan &plan) : m_plan(plan)
{
    const JpegLayout &layout = plan.layout();
    m_blocks.resize(static_cast<std::size_t>(layout.blocksPerRow()));
    for (std::size_t i = 0; i < layout.planes.size(); ++i) {
        const JpegPlane &plane = layout.planes[i];
        // Blocks are transformed in pairs.
        const int width = (layout.mcusAcross * plane.h + 1) / 2 * 2 * plane.side;
        m_strides[i] = (width + 63) / 64 * 64;
        m_planes[i].resize(static_cast<std::size_t>(m_strides[i] * plane.mcuHeight()) +
                           SPARE_SAMPLES);
        if (plane.upsampling != Upsampling::None)
            m_widened[i].resize(static_cast<std::size_t>(plane.size.width()) *
                                    static_cast<std::size_t>(plane.expandX) +
                                SPARE_SAMPLES);
    }
}

void JpegPainter::findBlocks(int band, std::span<const JpegRun> runs)
{
    std::int64_t next = m_plan.layout().blocksPerRow() * band;
    Coefficients *out = m_blocks.data();
    Coefficients *const end = out + m_blocks.size();
    const std::size_t mcu = m_plan.m_componentOfMcu.size();
    std::size_t inMcu = 0;
    for (const JpegRun &run : runs) {
        while (out != end && next < run.first + run.count) {
            const auto block =
                run.blocks->block(run.skip + static_cast<std::size_t>(next - run.first));
            const auto component = static_cast<std::size_t>(m_plan.m_componentOfMcu[inMcu]);
            *out++ = {block.data(), static_cast<std::uint32_t>(block.size()), run.shift[component]};
            ++next;
            if (++inMcu == mcu)
                inMcu = 0;
        }
    }
}

std::uint8_t JpegPainter::flatSample(std::size_t component, const Coefficients &block)
{
    // What all transforms make of a constant.
    const std::int32_t value =
        word((*block.begin >> 16) + block.shift) * std::int32_t{m_plan.m_steps[component][0]};
    m_excess |= excess(value);
    return static_cast<std::uint8_t>(clamped((value + 4) >> 3, -128, 127) + 128);
}

void JpegPainter::place(std::size_t component, const Coefficients &block, std::int16_t *rows)
{
    const std::uint16_t *steps = m_plan.m_steps[component].data();
    const std::int32_t dc = word((*block.begin >> 16) + block.shift) * std::int32_t{steps[0]};
    std::uint32_t over = excess(dc);
    rows[0] = word(static_cast<std::uint32_t>(dc));
    const JpegCoefficient *const end = block.begin + block.count;
    for (const JpegCoefficient *coefficient = block.begin + 1; coefficient != end; ++coefficient) {
        const unsigned at = placeOf(*coefficient);
        const std::int32_t value = valueOf(*coefficient) * std::int32_t{steps[at]};
        over |= excess(value);
        rows[PLACES[at]] = word(static_cast<std::uint32_t>(value));
    }
    m_excess |= over;
}

void JpegPainter::transformPair(std::size_t component, const Coefficients &left,
                                const Coefficients *right, std::uint8_t *out)
{
    const int side = m_plan.layout().planes[component].side;
    const std::ptrdiff_t stride = m_strides[component];
    if (side == 1 || (left.count == 1 && (right == nullptr || right->count == 1))) {
        const auto across = static_cast<std::size_t>(side);
        const std::uint8_t leftSample = flatSample(component, left);
        const std::uint8_t rightSample =
            right != nullptr ? flatSample(component, *right) : std::uint8_t{0};
        for (int y = 0; y < side; ++y) {
            std::memset(out + y * stride, leftSample, across);
            std::memset(out + y * stride + side, rightSample, across);
        }
        return;
    }
    m_pair.fill(0);
    place(component, left, m_pair.data());
    if (right != nullptr)
        place(component, *right, m_pair.data() + BLOCK_SIDE);
    const JpegKernels &kernels = m_plan.m_kernels;
    const JpegTransform kernel = side == 8   ? kernels.transform8
                                 : side == 4 ? kernels.transform4
                                             : kernels.transform2;
    kernel(m_pair.data(), out, stride);
}

void JpegPainter::transform(std::size_t component)
{
    const JpegLayout &layout = m_plan.layout();
    const JpegPlane &plane = layout.planes[component];
    const int across = layout.mcusAcross * plane.h;
    for (int v = 0; v < plane.v; ++v) {
        std::uint8_t *out = m_planes[component].data() + m_strides[component] * v * plane.side;
        const auto blockAt = [&](int x) {
            return &m_blocks[static_cast<std::size_t>(
                x / plane.h * layout.blocksPerMcu + plane.firstBlock + v * plane.h + x % plane.h)];
        };
        for (int x = 0; x < across; x += 2, out += 2 * plane.side)
            transformPair(component, *blockAt(x), x + 1 < across ? blockAt(x + 1) : nullptr, out);
    }
}

template <typename RowAt>
const std::uint8_t *JpegPainter::widened(std::size_t component, int y, RowAt rowAt)
{
    const JpegPlane &plane = m_plan.layout().planes[component];
    const JpegKernels &kernels = m_plan.m_kernels;
    const int width = plane.size.width();
    const int row = y / plane.expandY;
    // The row on the other side of this half.
    const bool isUpperHalf = y % 2 == 0;
    const int far = clamped(isUpperHalf ? row - 1 : row + 1, 0, plane.size.height() - 1);
    std::uint8_t *out = m_widened[component].data();
    switch (plane.upsampling) {
    case Upsampling::None:
        return rowAt(component, row);
    case Upsampling::Repeat:
        if (plane.expandX == 1)
            return rowAt(component, row);
        for (int x = 0; x < width; ++x)
            std::fill_n(out + x * plane.expandX, plane.expandX, rowAt(component, row)[x]);
        break;
    case Upsampling::SmoothAcross:
        kernels.smoothAcross(rowAt(component, row), width, out);
        break;
    case Upsampling::SmoothDown:
        kernels.smoothDown(rowAt(component, row), rowAt(component, far), width, isUpperHalf ? 1 : 2,
                           out);
        break;
    case Upsampling::SmoothBothWays:
        kernels.smoothBothWays(rowAt(component, row), rowAt(component, far), width, out);
        break;
    }
    return out;
}

template <typename RowAt>
void JpegPainter::paintRow(int y, RowAt rowAt, Pixel *out)
{
    const int width = m_plan.layout().size.width();
    const std::uint8_t *luma = widened(0, y, rowAt);
    if (m_plan.layout().planes.size() == 1)
        m_plan.m_kernels.toGrey(luma, width, out);
    else
        m_plan.m_kernels.toColor(luma, widened(1, y, rowAt), widened(2, y, rowAt), width, out);
}

bool JpegPainter::paint(int band, std::span<const JpegRun> runs, Pixel *out, std::ptrdiff_t stride,
                        JpegSeam &seam)
{
    const JpegLayout &layout = m_plan.layout();
    findBlocks(band, runs);
    m_excess = 0;
    for (std::size_t i = 0; i < layout.planes.size(); ++i)
        transform(i);
    if (m_excess > EXCESS)
        return false;

    const auto rowAt = [&](std::size_t component, int row) {
        const int inBand = row - band * layout.planes[component].mcuHeight();
        return m_planes[component].data() + m_strides[component] * inBand;
    };
    int begin = m_plan.firstRow(band);
    int end = m_plan.endRow(band);
    Pixel *first = out;
    if (m_plan.hasSeams()) {
        const bool isFirst = band == 0;
        const bool isLast = band == layout.mcusDown - 1;
        for (std::size_t i = 0; i < layout.planes.size(); ++i) {
            const JpegPlane &plane = layout.planes[i];
            const int firstRow = band * plane.mcuHeight();
            const int width = plane.size.width();
            const std::uint8_t *row = rowAt(i, firstRow);
            seam.first[i].assign(row, row + width);
            if (isLast)
                continue;
            row = rowAt(i, firstRow + plane.mcuHeight() - 1);
            seam.last[i].assign(row, row + width);
        }
        if (!isFirst) {
            ++begin;
            first += stride;
        }
        if (!isLast)
            --end;
    }
    for (int y = begin; y < end; ++y, first += stride)
        paintRow(y, rowAt, first);
    return true;
}

void JpegPainter::joinSeam(int band, const JpegSeam &above, const JpegSeam &below, Pixel *last,
                           Pixel *first)
{
    const auto rowAt = [&](std::size_t component, int row) {
        const int inNext = row - (band + 1) * m_plan.layout().planes[component].mcuHeight();
        return inNext < 0 ? above.last[component].data() : below.first[component].data();
    };
    const int y = m_plan.firstRow(band + 1);
    paintRow(y - 1, rowAt, last);
    paintRow(y, rowAt, first);
}

} // namespace tavolin
