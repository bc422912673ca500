#include "pixels/ScaledPicture.h"

#include "pixels/Resample.h"

#include <algorithm>
#include <utility>

namespace tavolin {

int PictureSizes::longestSide() const
{
    return std::max({image.width(), image.height(), rendition.width(), rendition.height()});
}

PictureSizes SizeRule::sizesOf(QSize stored) const
{
    if (!m_target.exactly.isEmpty())
        return {m_target.exactly};
    if (m_target.maxPixel < 1)
        return {};
    PictureSizes sizes{sizeWithin(stored, m_target.maxPixel)};
    if (sizes.image == stored || m_target.area.isEmpty())
        return sizes;
    const QSize rendition = renditionSize(sizes.image, m_target.area, m_target.scale);
    if (isSmaller(rendition, sizes.image))
        sizes.rendition = rendition;
    return sizes;
}

SizeRule SizeRule::beforeTurning(Orientation orientation) const
{
    DisplayTarget target = m_target;
    if (swapsSides(orientation)) {
        target.area = target.area.transposed();
        target.exactly.transpose();
    }
    return SizeRule(target);
}

ScaledPicture turnedUpright(const ScaledPicture &picture, Orientation orientation)
{
    const ScaledPicture turned{turnedUpright(picture.image, orientation),
                               turnedUpright(picture.rendition, orientation)};
    const bool isWhole =
        !turned.isNull() && turned.rendition.isNull() == picture.rendition.isNull();
    return isWhole ? turned : ScaledPicture();
}

DisplayPicture makeDisplayPicture(const ScaledPicture &picture, const DisplayTarget &target,
                                  std::stop_token stop)
{
    if (!target.exactly.isEmpty())
        return {.image = picture.image,
                .rendition = makeRendition(picture.image, target.exactly, stop),
                .isSharp = !picture.isNull()};
    if (picture.rendition.isNull())
        return makeDisplayPicture(picture.image, target, std::move(stop));
    if (picture.isNull() || stop.stop_requested())
        return {};
    return {.image = picture.image,
            .rendition = makeRendition(picture.rendition, picture.rendition.size(), stop)};
}

} // namespace tavolin
