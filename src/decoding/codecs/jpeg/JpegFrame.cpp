#include "decoding/codecs/jpeg/JpegFrame.h"

#include <algorithm>

namespace tavolin {

namespace {

int dividedUp(std::int64_t number, std::int64_t divisor)
{
    return static_cast<int>((number + divisor - 1) / divisor);
}

/// A component alone in its scan has one block an MCU, whatever its factors are (section A.2.2).
std::vector<JpegComponent> sampled(const JpegFrame &frame)
{
    std::vector<JpegComponent> components = frame.components;
    if (components.size() == 1)
        components[0].h = components[0].v = 1;
    return components;
}

Upsampling upsamplingOf(const JpegPlane &plane, int scale)
{
    if (plane.expandX == 1 && plane.expandY == 1)
        return Upsampling::None;
    const bool isSmooth = scale > 1;
    const bool isWideEnough = plane.size.width() > 2;
    if (isSmooth && plane.expandX == 1 && plane.expandY == 2)
        return Upsampling::SmoothDown;
    if (isSmooth && isWideEnough && plane.expandX == 2)
        return plane.expandY == 1 ? Upsampling::SmoothAcross : Upsampling::SmoothBothWays;
    return Upsampling::Repeat;
}

} // namespace

bool JpegLayout::reachesOver() const
{
    return std::ranges::any_of(planes, [](const JpegPlane &plane) {
        return plane.upsampling == Upsampling::SmoothDown ||
               plane.upsampling == Upsampling::SmoothBothWays;
    });
}

bool isDecodable(const JpegFrame &frame)
{
    if (frame.components.size() == 1)
        return true;
    if (frame.components.size() != 3)
        return false;
    const JpegComponent &luma = frame.components[0];
    const int across = luma.h;
    const int down = luma.v;
    const auto fits = [&](const JpegComponent &component) {
        const bool isWhole = across % component.h == 0 && down % component.v == 0;
        const int expandX = across / component.h;
        const int expandY = down / component.v;
        return isWhole && (expandX == 1 || expandX == 2 || expandX == 4) &&
               (expandY == 1 || expandY == 2) && !(expandX == 4 && expandY == 2);
    };
    return across <= 4 && down <= 2 && std::ranges::all_of(frame.components, fits);
}

JpegLayout layoutOf(const JpegFrame &frame, int scale)
{
    const std::vector<JpegComponent> components = sampled(frame);
    const int mostH = components[0].h;
    const int mostV = components[0].v;
    JpegLayout layout;
    layout.scale = scale;
    const std::int64_t width = frame.size.width();
    const std::int64_t height = frame.size.height();
    layout.size = {dividedUp(width * scale, BLOCK_SIDE), dividedUp(height * scale, BLOCK_SIDE)};
    layout.mcusAcross = dividedUp(width, std::int64_t{BLOCK_SIDE} * mostH);
    layout.mcusDown = dividedUp(height, std::int64_t{BLOCK_SIDE} * mostV);
    layout.mcuRowPixels = mostV * scale;
    for (const JpegComponent &component : components) {
        JpegPlane plane{.h = component.h, .v = component.v, .firstBlock = layout.blocksPerMcu};
        plane.side = scale;
        while (plane.side < BLOCK_SIDE && mostH * scale % (component.h * plane.side * 2) == 0 &&
               mostV * scale % (component.v * plane.side * 2) == 0)
            plane.side *= 2;
        plane.size = {dividedUp(width * component.h * plane.side, BLOCK_SIDE * mostH),
                      dividedUp(height * component.v * plane.side, BLOCK_SIDE * mostV)};
        plane.expandX = mostH * scale / (component.h * plane.side);
        plane.expandY = mostV * scale / (component.v * plane.side);
        plane.upsampling = upsamplingOf(plane, scale);
        layout.blocksPerMcu += component.h * component.v;
        layout.planes.push_back(plane);
    }
    return layout;
}

} // namespace tavolin
