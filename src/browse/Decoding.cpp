#include "browse/Decoding.h"

#include "imaging/FileType.h"

#include <algorithm>
#include <utility>

namespace tavolin {

namespace {

/// The longest side of a full picture, in pixels: no limit but to a stitched panorama that is still
/// longer, which comes out reduced.
constexpr int FULL_SIZE = 100000;

/// Device pixels a view point.
constexpr double SCALE_OF_A_SHARP_SCREEN = 2;

} // namespace

ThumbnailRule thumbnailRuleFor(const std::filesystem::path &url)
{
    return hasRawExtension(url) ? ThumbnailRule::FromImageIfAbsent : ThumbnailRule::FromImageAlways;
}

Image loadThumbnail(const std::filesystem::path &url, int maxPixel, std::stop_token stop)
{
    const auto file = SourceFile::open(url, std::move(stop));
    return file ? createThumbnail(*file, maxPixel, thumbnailRuleFor(url)) : Image();
}

Image loadFullImage(const std::filesystem::path &url, std::stop_token stop)
{
    return loadThumbnail(url, FULL_SIZE, std::move(stop));
}

std::optional<QSize> readPixelSize(const std::filesystem::path &url)
{
    const auto file = SourceFile::open(url);
    return file ? readUprightSize(*file, thumbnailRuleFor(url)) : std::nullopt;
}

int displayLimit(QSize frame, std::optional<double> scale)
{
    const double side =
        scale.value_or(SCALE_OF_A_SHARP_SCREEN) * std::max(frame.width(), frame.height());
    return static_cast<int>(std::min<double>(side, MAX_DISPLAY_PIXELS));
}

} // namespace tavolin
