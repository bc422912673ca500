#include "screen/QtImage.h"

#include <cstddef>

namespace tavolin {

QImage toQImage(const Image &image)
{
    if (image.isNull())
        return {};
    const auto format =
        image.alpha() == Alpha::Opaque ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied;
    return {reinterpret_cast<const uchar *>(image.row(0)),
            image.width(),
            image.height(),
            static_cast<qsizetype>(image.stride() * std::ptrdiff_t{sizeof(Pixel)}),
            format,
            [](void *held) { delete static_cast<Image *>(held); },
            new Image(image)};
}

} // namespace tavolin
