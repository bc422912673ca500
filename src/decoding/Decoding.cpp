#include "decoding/Decoding.h"

#include "decoding/metadata/CarriedMetadata.h"
#include "decoding/metadata/Metadata.h"
#include "pixels/FileExtensions.h"

#include <utility>

namespace tavolin {

namespace {

/// The longest side of a full picture, in pixels: no limit but to a stitched panorama that is still
/// longer, which comes out reduced.
constexpr int FULL_SIZE = 100000;

/// What @p read returns; the result's default where memory or threads are lacking.
template <typename Read>
auto guarded(const Read &read) -> decltype(read())
{
    try {
        return read();
    } catch (...) {
        return {};
    }
}

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

DisplayPicture loadDisplayPicture(const std::filesystem::path &url, const DisplayTarget &target,
                                  std::stop_token stop)
{
    return makeDisplayPicture(loadThumbnail(url, target.maxPixel, stop), target, stop);
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

std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url, std::stop_token stop)
{
    const auto file = SourceFile::open(url, std::move(stop));
    return file ? readFacts(*file, thumbnailRuleFor(url)) : std::nullopt;
}

std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url, QSize newSize)
{
    const auto file = SourceFile::open(url);
    return file ? carriedMetadata(*file, newSize) : std::nullopt;
}

DisplayPicture InProcessReader::loadDisplayPicture(const std::filesystem::path &url,
                                                   const DisplayTarget &target,
                                                   std::stop_token stop) const
{
    return guarded([&] { return tavolin::loadDisplayPicture(url, target, stop); });
}

Image InProcessReader::loadFullImage(const std::filesystem::path &url, std::stop_token stop) const
{
    return guarded([&] { return tavolin::loadFullImage(url, stop); });
}

std::optional<QSize> InProcessReader::readPixelSize(const std::filesystem::path &url) const
{
    return guarded([&] { return tavolin::readPixelSize(url); });
}

std::optional<PhotoFacts> InProcessReader::readPhotoFacts(const std::filesystem::path &url,
                                                          std::stop_token stop) const
{
    return guarded([&] { return tavolin::readPhotoFacts(url, stop); });
}

std::optional<JpegMetadata> InProcessReader::sourceMetadata(const std::filesystem::path &url,
                                                            QSize newSize) const
{
    return guarded([&] { return tavolin::sourceMetadata(url, newSize); });
}

} // namespace tavolin
