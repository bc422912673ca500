#pragma once
// Files, by their paths, turned into something the viewer can show. Free functions without state,
// for any thread; a failure is a null picture or an empty value, never a message.

#include "decoding/Thumbnail.h"
#include "pixels/PictureReader.h"

#include <filesystem>
#include <optional>
#include <stop_token>

namespace tavolin {

/// Where the picture of @p url is taken from: a raw extension (in any case) asks for the embedded
/// preview.
[[nodiscard]] ThumbnailRule thumbnailRuleFor(const std::filesystem::path &url);

/// The picture at @p url, upright, its longest side at most @p maxPixel. A file with a raw
/// extension gives its largest embedded preview, and a rendering of the raw data only without one;
/// any other is decoded from its full picture. Null on failure, and soon after @p stop is
/// requested.
[[nodiscard]] Image loadThumbnail(const std::filesystem::path &url, int maxPixel,
                                  std::stop_token stop = {});

// What PictureReader declares, under the same names. Lack of memory leaves these as an exception.
[[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                const DisplayTarget &target,
                                                std::stop_token stop = {});
[[nodiscard]] Image loadFullImage(const std::filesystem::path &url, std::stop_token stop = {});
[[nodiscard]] std::optional<QSize> readPixelSize(const std::filesystem::path &url);
[[nodiscard]] std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                       std::stop_token stop = {});
[[nodiscard]] std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url,
                                                         QSize newSize);

/// Decodes in this process, on the thread that asks. Never throws.
class InProcessReader : public PictureReader
{
public:
    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target,
                                                    std::stop_token stop) const override;
    [[nodiscard]] Image loadFullImage(const std::filesystem::path &url,
                                      std::stop_token stop) const override;
    [[nodiscard]] std::optional<QSize>
    readPixelSize(const std::filesystem::path &url) const override;
    [[nodiscard]] std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                           std::stop_token stop) const override;
    [[nodiscard]] std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url,
                                                             QSize newSize) const override;
};

} // namespace tavolin
