#include "pictures/Background.h"

#include "pixels/Bands.h"

#include <QColor>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace tavolin::pictures {

namespace {

/// Cells of the colour grid along the longer side. The softest shapes are drawn at this size only
/// and stretched, which is what makes large pictures cheap.
constexpr int GRID_CELLS = 96;

/// Sides of the two square grain tiles, in pixels: multiples of the coarsest grain, repeating
/// together only after 3584 pixels.
constexpr int GRAIN_TILE_SIDES[] = {512, 448};

/// Size of the coarsest grain, in pixels.
constexpr int COARSEST_GRAIN = 64;

/// Strength of the finest grain, in grey levels; each coarser octave has GRAIN_GROWTH times
/// that of the one before. Chosen by eye, and so that 24 megapixels at quality 90 take 6 to 9 MB.
constexpr float FINEST_GRAIN_LEVELS = 19.0F;
constexpr float GRAIN_GROWTH = 0.85F;

/// A number from 0 to 1 that looks random for every point.
float randomAt(int x, int y, quint32 seed)
{
    quint32 hash = static_cast<quint32>(x) * 0x8da6b343U ^ static_cast<quint32>(y) * 0xd8163841U ^
                   seed * 0xcb1ab31fU;
    hash = (hash ^ (hash >> 16)) * 0x7feb352dU;
    hash = (hash ^ (hash >> 15)) * 0x846ca68bU;
    return static_cast<float>((hash ^ (hash >> 16)) >> 8) / 16777215.0F;
}

float mixed(float a, float b, float share)
{
    return a + (b - a) * share;
}

/// Smooth noise from 0 to 1 with one random value per unit, repeating every @p period units.
float noiseAt(float x, float y, int period, quint32 seed)
{
    const int column = static_cast<int>(x);
    const int row = static_cast<int>(y);
    const auto eased = [](float share) { return share * share * (3 - 2 * share); };
    const float right = eased(x - static_cast<float>(column));
    const float down = eased(y - static_cast<float>(row));
    const auto corner = [&](int dx, int dy) {
        return randomAt((column + dx) % period, (row + dy) % period, seed);
    };
    return mixed(mixed(corner(0, 0), corner(1, 0), right), mixed(corner(0, 1), corner(1, 1), right),
                 down);
}

/// Clouds: octaves of noise from @p shapeSize units down, each half as strong as the one before.
/// About 0 to 1.
float cloudsAt(int x, int y, float shapeSize, quint32 seed)
{
    constexpr int NEVER = 1 << 20; // period: the grid is far smaller
    float sum = 0;
    float strength = 0.5F;
    for (; shapeSize >= 2; shapeSize /= 2, strength /= 2)
        sum += strength * noiseAt(static_cast<float>(x) / shapeSize,
                                  static_cast<float>(y) / shapeSize, NEVER, seed++);
    return sum;
}

/// Colour (0 to 255) and strength of the grain (0 to 1) at one place.
struct GridPoint
{
    float red = 0;
    float green = 0;
    float blue = 0;
    float grain = 0;
};

GridPoint mixed(const GridPoint &a, const GridPoint &b, float share)
{
    return {mixed(a.red, b.red, share), mixed(a.green, b.green, share),
            mixed(a.blue, b.blue, share), mixed(a.grain, b.grain, share)};
}

GridPoint colorPoint(int hueDegrees, int saturation, int value)
{
    const QColor color = QColor::fromHsv((hueDegrees + 360) % 360, saturation, value);
    return {static_cast<float>(color.red()), static_cast<float>(color.green()),
            static_cast<float>(color.blue()), 0};
}

/// The colours of the whole picture, a few points for each of its parts.
struct ColorGrid
{
    int columns = 0;
    float pixelsPerCell = 1;
    std::vector<GridPoint> points;

    [[nodiscard]] const GridPoint *row(int y) const
    {
        return points.data() + std::ptrdiff_t{columns} * y;
    }
};

/// From a pale sky at the top to a dark ground, with clouds of a neighbouring hue; the grain grows
/// from sky to ground.
ColorGrid colorGrid(QSize size, int hueDegrees, quint32 seed)
{
    const GridPoint sky = colorPoint(hueDegrees, 60, 235);
    const GridPoint ground = colorPoint(hueDegrees + 30, 140, 110);
    const GridPoint cloud = colorPoint(hueDegrees - 40, 110, 190);
    ColorGrid grid;
    grid.pixelsPerCell =
        static_cast<float>(std::max(size.width(), size.height())) / float{GRID_CELLS};
    // One point beyond each edge, so that every pixel lies between two.
    grid.columns = static_cast<int>(static_cast<float>(size.width()) / grid.pixelsPerCell) + 2;
    const int rows = static_cast<int>(static_cast<float>(size.height()) / grid.pixelsPerCell) + 2;
    for (int y = 0; y < rows; ++y) {
        const float depth = static_cast<float>(y) / static_cast<float>(rows - 1);
        for (int x = 0; x < grid.columns; ++x) {
            const float hills = cloudsAt(x, y, 48, seed);
            const float ground01 = std::clamp(depth * 1.4F + hills - 0.7F, 0.0F, 1.0F);
            const float cloud01 = std::clamp(cloudsAt(x, y, 24, seed + 100) * 2 - 0.7F, 0.0F, 0.8F);
            GridPoint point = mixed(mixed(sky, ground, ground01), cloud, cloud01);
            point.grain = mixed(0.35F, 1.0F, ground01) * mixed(1.0F, 0.6F, cloud01);
            grid.points.push_back(point);
        }
    }
    return grid;
}

/// Signed grain in grey levels, repeating at the edges.
struct GrainTile
{
    int side = 0;
    std::vector<float> levels;
};

GrainTile grainTile(int side, quint32 seed)
{
    GrainTile tile{side, {}};
    tile.levels.reserve(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            float sum = 0;
            float strength = FINEST_GRAIN_LEVELS;
            for (int grain = 1; grain <= COARSEST_GRAIN; grain *= 2, strength *= GRAIN_GROWTH) {
                const auto step = static_cast<float>(grain);
                const float noise =
                    noiseAt(static_cast<float>(x) / step, static_cast<float>(y) / step,
                            side / grain, seed + static_cast<quint32>(grain));
                sum += strength * (2 * noise - 1);
            }
            tile.levels.push_back(sum);
        }
    }
    return tile;
}

/// Adds row @p y of the endlessly repeated @p tile to @p line.
void addGrain(const GrainTile &tile, int y, std::vector<float> &line)
{
    const float *row = tile.levels.data() + std::ptrdiff_t{y % tile.side} * tile.side;
    const auto side = static_cast<std::size_t>(tile.side);
    for (std::size_t start = 0; start < line.size(); start += side) {
        const std::size_t count = std::min(side, line.size() - start);
        for (std::size_t i = 0; i < count; ++i)
            line[start + i] += row[i];
    }
}

QRgb toRgb(float red, float green, float blue, float grain)
{
    const auto level = [grain](float value) {
        return static_cast<int>(std::min(255.0F, std::max(0.0F, value + grain + 0.5F)));
    };
    return qRgb(level(red), level(green), level(blue));
}

/// Fills @p out from the grid points @p points of its row; @p grain is empty or one per pixel.
void paintRow(const std::vector<GridPoint> &points, float pixelsPerCell,
              const std::vector<float> &grain, int width, QRgb *out)
{
    for (int x = 0; x < width; ++x) {
        const float column = static_cast<float>(x) / pixelsPerCell;
        const auto cell = static_cast<std::size_t>(column);
        const GridPoint point =
            mixed(points[cell], points[cell + 1], column - static_cast<float>(cell));
        const float level = grain.empty() ? 0 : grain[static_cast<std::size_t>(x)] * point.grain;
        out[x] = toRgb(point.red, point.green, point.blue, level);
    }
}

} // namespace

QImage paintBackground(QSize size, int hueDegrees, quint32 seed, Texture texture)
{
    const ColorGrid grid = colorGrid(size, hueDegrees, seed);
    std::vector<GrainTile> tiles;
    if (texture == Texture::Photo) {
        for (const int side : GRAIN_TILE_SIDES)
            tiles.push_back(grainTile(side, seed + static_cast<quint32>(side)));
    }
    QImage picture(size, QImage::Format_RGB32);
    uchar *bits = picture.bits();
    const qsizetype stride = picture.bytesPerLine();
    forBands(size.height(), 64, [&](int begin, int end) {
        std::vector<GridPoint> points(static_cast<std::size_t>(grid.columns));
        std::vector<float> grain;
        for (int y = begin; y < end; ++y) {
            const float gridY = static_cast<float>(y) / grid.pixelsPerCell;
            const int above = static_cast<int>(gridY);
            for (int column = 0; column < grid.columns; ++column)
                points[static_cast<std::size_t>(column)] =
                    mixed(grid.row(above)[column], grid.row(above + 1)[column],
                          gridY - static_cast<float>(above));
            grain.assign(tiles.empty() ? 0 : static_cast<std::size_t>(size.width()), 0.0F);
            for (const GrainTile &tile : tiles)
                addGrain(tile, y, grain);
            paintRow(points, grid.pixelsPerCell, grain, size.width(),
                     reinterpret_cast<QRgb *>(bits + stride * y));
        }
    });
    return picture;
}

} // namespace tavolin::pictures
