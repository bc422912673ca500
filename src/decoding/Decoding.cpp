#include "decoding/Decoding.h"

#include "decoding/color/Color.h"
#include "decoding/Guarded.h"
#include "decoding/metadata/CarriedMetadata.h"
#include "decoding/metadata/Metadata.h"
#include "pixels/FileExtensions.h"

#include <algorithm>
#include <utility>

namespace tavolin {

namespace {

/// The longest side of a full picture, in pixels: no limit but to a stitched panorama that is still
/// longer, which comes out reduced.
constexpr int FULL_SIZE = 100000;

/// Whether a JPEG of three channels may carry @p icc (ICC.1:2022, 7.2.6).
bool isForRgb(const QByteArray &icc)
{
    return icc.size() <= JpegMetadata::MAX_PROFILE_BYTES && icc.mid(16, 4) == "RGB ";
}

/// Whether something of @p image is transparent; many a picture has alpha and makes no use of it.
bool isSeenThrough(const Image &image)
{
    const auto isClear = [](Pixel pixel) { return pixel >> 24 != 0xff; };
    for (int y = 0; image.alpha() != Alpha::Opaque && y < image.height(); ++y)
        if (std::any_of(image.row(y), image.row(y) + image.width(), isClear))
            return true;
    return false;
}

} // namespace

ScaledPicture decodeForDisplay(const SourceFile &file, const SizeRule &size, ThumbnailRule rule,
                               const QByteArray &monitor)
{
    ScaledPicture picture = createThumbnail(file, size, rule);
    // By their only owner, so that they are converted where they lie.
    ScaledPicture shown{converted(std::move(picture.image), monitor, file.stopToken())};
    const bool hasRendition = !picture.rendition.isNull();
    shown.rendition = converted(std::move(picture.rendition), monitor, file.stopToken());
    return hasRendition && shown.rendition.isNull() ? ScaledPicture() : shown;
}

Image decodeFull(const SourceFile &file, ThumbnailRule rule, const FullColors &colors)
{
    Image image = createThumbnail(file, FULL_SIZE, rule).image;
    // In a saved file the black shines through in sRGB; in another profile it would weigh more or
    // less.
    const bool isKept = !colors && isForRgb(image.iccProfile()) && !isSeenThrough(image);
    return isKept ? image
                  : converted(std::move(image), colors.value_or(QByteArray()), file.stopToken());
}

ThumbnailRule thumbnailRuleFor(const std::filesystem::path &url)
{
    return hasRawExtension(url) ? ThumbnailRule::FromImageIfAbsent : ThumbnailRule::FromImageAlways;
}

Image loadThumbnail(const std::filesystem::path &url, int maxPixel, std::stop_token stop)
{
    const auto file = SourceFile::open(url, std::move(stop));
    return file ? createThumbnail(*file, maxPixel, thumbnailRuleFor(url)).image : Image();
}

DisplayPicture loadDisplayPicture(const std::filesystem::path &url, const DisplayTarget &target,
                                  std::stop_token stop)
{
    const auto file = SourceFile::open(url, stop);
    if (!file)
        return {};
    const ThumbnailRule rule = thumbnailRuleFor(url);
    DisplayPicture picture = makeDisplayPicture(
        decodeForDisplay(*file, SizeRule(target), rule, target.profile), target, stop);
    if (!picture.isNull())
        picture.pixelSize = readUprightSize(*file, rule);
    return picture;
}

Image loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                    std::stop_token stop)
{
    const auto file = SourceFile::open(url, std::move(stop));
    return file ? decodeFull(*file, thumbnailRuleFor(url), colors) : Image();
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
                                                   const DisplayTarget &target, Urgency,
                                                   std::stop_token stop) const
{
    return guarded([&] { return tavolin::loadDisplayPicture(url, target, stop); });
}

Image InProcessReader::loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                                     std::stop_token stop) const
{
    return guarded([&] { return tavolin::loadFullImage(url, colors, stop); });
}

Image InProcessReader::converted(const Image &image, const QByteArray &monitor,
                                 std::stop_token stop) const
{
    return guarded([&] { return tavolin::converted(image, monitor, stop); });
}

std::optional<QSize> InProcessReader::readPixelSize(const std::filesystem::path &url) const
{
    return guarded([&] { return tavolin::readPixelSize(url); });
}

std::optional<PhotoFacts> InProcessReader::readPhotoFacts(const std::filesystem::path &url,
                                                          Urgency /*urgency*/,
                                                          std::stop_token stop) const
{
    return guarded([&] { return tavolin::readPhotoFacts(url, stop); });
}

std::optional<JpegMetadata> InProcessReader::sourceMetadata(const std::filesystem::path &url,
                                                            QSize newSize) const
{
    return guarded([&] { return tavolin::sourceMetadata(url, newSize); });
}

bool InProcessReader::isSavedByViewer(int file) const
{
    return guarded([file] {
        struct stat status
        {};
        if (fstat(file, &status) != 0)
            return false;
        const auto source =
            SourceFile::fromDescriptor(Descriptor(fcntl(file, F_DUPFD_CLOEXEC, 0)), status.st_size);
        return source && tavolin::isSavedByViewer(*source);
    });
}

} // namespace tavolin
