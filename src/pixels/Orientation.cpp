#include "pixels/Orientation.h"

#include <algorithm>
#include <utility>

namespace tavolin {

namespace {

/// A quarter turn goes by tiles this wide and high in the upright picture, pixels: long pieces of
/// few stored rows, which the processor fetches ahead, into half cache lines that stay near until
/// the next tile fills the other half. Measured; squares take two to three times as long.
constexpr int TILE_WIDTH = 8;
constexpr int TILE_HEIGHT = 512;

/// Where the upright picture's pixels lie in the stored one: pixel (x, y) at first + x·across +
/// y·down.
struct Walk
{
    const Pixel *first;
    std::ptrdiff_t across;
    std::ptrdiff_t down;
};

Walk walkUpright(const Image &image, Orientation orientation)
{
    const std::ptrdiff_t row = image.stride();
    const Pixel *top = image.row(0);
    const Pixel *bottom = image.row(image.height() - 1);
    const int right = image.width() - 1;
    switch (orientation) {
    case Orientation::Upright:
        break;
    case Orientation::MirrorHorizontal:
        return {top + right, -1, row};
    case Orientation::Turn180:
        return {bottom + right, -1, -row};
    case Orientation::MirrorVertical:
        return {bottom, 1, -row};
    case Orientation::Transpose:
        return {top, row, 1};
    case Orientation::Turn90:
        return {bottom, -row, 1};
    case Orientation::Transverse:
        return {bottom + right, -row, -1};
    case Orientation::Turn270:
        return {top + right, row, -1};
    }
    return {top, 1, row};
}

} // namespace

Orientation orientationFromExif(std::uint32_t value)
{
    // No turn is defined for more than 8: decoders leave such a picture as it is stored, and its
    // sides must not change places then.
    return value >= 1 && value <= 8 ? static_cast<Orientation>(value) : Orientation::Upright;
}

bool swapsSides(Orientation orientation)
{
    return orientation >= Orientation::Transpose;
}

QSize uprightSize(QSize stored, Orientation orientation)
{
    return swapsSides(orientation) ? stored.transposed() : stored;
}

Image turnedUpright(const Image &image, Orientation orientation)
{
    if (image.isNull() || orientation == Orientation::Upright)
        return image;
    const QSize size = uprightSize(image.size(), orientation);
    PixelBuffer buffer(size);
    if (buffer.isNull())
        return {};
    const Walk walk = walkUpright(image, orientation);
    // Without a quarter turn rows stay rows, read from one end to the other.
    const int tileWidth = swapsSides(orientation) ? TILE_WIDTH : size.width();
    for (int top = 0; top < size.height(); top += TILE_HEIGHT) {
        const int bottom = std::min(top + TILE_HEIGHT, size.height());
        for (int left = 0; left < size.width(); left += tileWidth) {
            const int width = std::min(tileWidth, size.width() - left);
            for (int y = top; y < bottom; ++y) {
                const Pixel *from = walk.first + left * walk.across + y * walk.down;
                Pixel *to = buffer.row(y) + left;
                for (int x = 0; x < width; ++x)
                    to[x] = from[x * walk.across];
            }
        }
    }
    return std::move(buffer).toImage(image.alpha(), image.iccProfile());
}

} // namespace tavolin
