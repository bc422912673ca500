#include "pixels/DisplayPicture.h"

#include "pixels/Geometry.h"
#include "pixels/Resample.h"

#include <algorithm>
#include <utility>

namespace tavolin {

namespace {

/// @p image over black: with premultiplied colours, all that is left to do is to say so.
Image onBlack(const Image &image)
{
    if (image.isNull() || image.alpha() == Alpha::Opaque)
        return image;
    PixelBuffer result = PixelBuffer::recycled(image.size());
    for (int y = 0; !result.isNull() && y < image.height(); ++y)
        std::transform(image.row(y), image.row(y) + image.width(), result.row(y),
                       [](Pixel pixel) { return pixel | 0xff000000; });
    return std::move(result).toImage(Alpha::Opaque, image.iccProfile());
}

} // namespace

QSize renditionSize(QSize imageSize, const QRectF &area, double scale)
{
    return toDevicePixels(fitRect(area, imageSize), scale).size();
}

std::optional<DisplayTarget> sharpTarget(const DisplayPicture &picture, const DisplayTarget &target)
{
    const auto longest = [](QSize size) { return std::max(size.width(), size.height()); };
    if (picture.isNull() || !picture.pixelSize)
        return std::nullopt;
    const QSize image = picture.image.size();
    const QSize size = renditionSize(image, target.area, target.scale);
    const bool isSharp = picture.isSharp && picture.rendition.size() == size;
    if (isSharp || longest(size) <= longest(image) || longest(size) > MAX_SHARP_PIXELS ||
        longest(*picture.pixelSize) <= longest(image))
        return std::nullopt;
    DisplayTarget exact = target;
    exact.exactly = size;
    return exact;
}

Image makeRendition(const Image &image, const QRectF &area, double scale, std::stop_token stop)
{
    return makeRendition(image, renditionSize(image.size(), area, scale), std::move(stop));
}

Image makeRendition(const Image &image, QSize size, std::stop_token stop)
{
    return onBlack(resampled(image, size, std::move(stop)));
}

DisplayPicture makeDisplayPicture(const Image &image, const DisplayTarget &target,
                                  std::stop_token stop)
{
    if (image.isNull() || stop.stop_requested())
        return {};
    DisplayPicture picture;
    picture.image = downscale(image, target.maxPixel);
    const QSize size = renditionSize(picture.image.size(), target.area, target.scale);
    picture.rendition =
        makeRendition(isSmaller(size, picture.image.size()) ? image : picture.image, size, stop);
    return stop.stop_requested() ? DisplayPicture() : picture;
}

} // namespace tavolin
