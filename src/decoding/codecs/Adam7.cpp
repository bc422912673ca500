#include "decoding/codecs/Adam7.h"

#include "pixels/RowSink.h"

#include <array>
#include <cstddef>
#include <optional>

namespace tavolin::Adam7 {

namespace {

constexpr int BLOCK = 8;

/// A pass takes every xStep-th pixel from xStart on of every yStep-th row from yStart on. When it
/// is done each of its blocks, of blockWidth x blockHeight pixels, has one pixel: its upper left.
struct Pass
{
    int xStart, yStart, xStep, yStep, blockWidth, blockHeight;
};
constexpr std::array<Pass, PASSES> ALL{{
    {0, 0, 8, 8, 8, 8},
    {4, 0, 8, 8, 4, 8},
    {0, 4, 4, 8, 4, 4},
    {2, 0, 4, 4, 2, 4},
    {0, 2, 2, 4, 2, 2},
    {1, 0, 2, 2, 1, 2},
    {0, 1, 1, 2, 1, 1},
}};

const Pass &get(int pass)
{
    return ALL[static_cast<std::size_t>(pass)];
}

/// The pass in which the pixel at @p x, @p y comes: the first whose grid has it.
int passOf(int x, int y)
{
    int pass = 0;
    while (x % get(pass).blockWidth != 0 || y % get(pass).blockHeight != 0)
        ++pass;
    return pass;
}

/// Where the pixel lies that stands in for another, seen from there.
struct Offset
{
    int left, up;
};

/// What stands in for the pixel at @p x, @p y when @p pass broke off after @p rows rows.
std::optional<Offset> standIn(int x, int y, int pass, int rows)
{
    for (int level = pass; level >= 0; --level) {
        const Offset offset{x % get(level).blockWidth, y % get(level).blockHeight};
        const int top = y - offset.up;
        const int source = passOf(x - offset.left, top);
        if (source < pass || (source == pass && (top - get(pass).yStart) / get(pass).yStep < rows))
            return offset;
    }
    return std::nullopt;
}

} // namespace

QSize passSize(int pass, QSize size)
{
    const auto &[xStart, yStart, xStep, yStep, blockWidth, blockHeight] = get(pass);
    return {(size.width() - xStart + xStep - 1) / xStep,
            (size.height() - yStart + yStep - 1) / yStep};
}

void spread(const Pixel *pixels, int pass, int row, PixelBuffer &whole)
{
    Pixel *out = whole.row(get(pass).yStart + row * get(pass).yStep);
    for (int x = get(pass).xStart; x < whole.size().width(); x += get(pass).xStep)
        out[x] = *pixels++;
}

void fillGaps(PixelBuffer &whole, int pass, int rows)
{
    for (int y = 0; y < whole.size().height(); ++y) {
        // The columns of a row repeat with the blocks.
        std::array<std::optional<Offset>, BLOCK> offsets;
        for (int x = 0; x < BLOCK; ++x)
            offsets[static_cast<std::size_t>(x)] = standIn(x, y, pass, rows);
        for (int x = 0; x < whole.size().width(); ++x) {
            const auto &offset = offsets[static_cast<std::size_t>(x % BLOCK)];
            whole.row(y)[x] = offset ? whole.row(y - offset->up)[x - offset->left] : MISSING;
        }
    }
}

} // namespace tavolin::Adam7
