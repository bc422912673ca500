#pragma once
// Files turned into something the viewer can show. Free functions without state, for any thread; a
// failure is a null picture or an empty value, never a message. Lack of memory may leave them as an
// exception.

#include "decoding/Thumbnail.h"
#include "pixels/PictureReader.h"

#include <filesystem>
#include <optional>
#include <stop_token>

namespace tavolin {

/// The picture in @p file, upright and in the colours of @p monitor (empty: sRGB), as large as
/// @p size says. Null on failure, and soon after the file's stop is requested.
[[nodiscard]] ScaledPicture decodeForDisplay(const SourceFile &file, const SizeRule &size,
                                             ThumbnailRule rule, const QByteArray &monitor = {});

/// The picture in @p file, upright and at its full size, in @p colors: see
/// PictureReader::loadFullImage(). Null on failure, and soon after the file's stop is requested.
[[nodiscard]] Image decodeFull(const SourceFile &file, ThumbnailRule rule,
                               const FullColors &colors);

/// Where the picture of @p url is taken from: a raw extension (in any case) asks for the embedded
/// preview.
[[nodiscard]] ThumbnailRule thumbnailRuleFor(const std::filesystem::path &url);

/// The picture at @p url, upright, its longest side at most @p maxPixel. A file with a raw
/// extension gives its largest embedded preview, and a rendering of the raw data without one or
/// where that is a stamp; any other is decoded from its full picture. In the profile that it
/// carries. Null on failure, and soon after @p stop is requested.
[[nodiscard]] Image loadThumbnail(const std::filesystem::path &url, int maxPixel,
                                  std::stop_token stop = {});

// What PictureReader declares, under the same names.
[[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                const DisplayTarget &target,
                                                std::stop_token stop = {});
[[nodiscard]] Image loadFullImage(const std::filesystem::path &url, const FullColors &colors = KEPT,
                                  std::stop_token stop = {});
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
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override;
    [[nodiscard]] Image loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                                      std::stop_token stop) const override;
    [[nodiscard]] Image converted(const Image &image, const QByteArray &monitor,
                                  std::stop_token stop) const override;
    [[nodiscard]] std::optional<QSize>
    readPixelSize(const std::filesystem::path &url) const override;
    [[nodiscard]] std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                           Urgency urgency,
                                                           std::stop_token stop) const override;
    [[nodiscard]] std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url,
                                                             QSize newSize) const override;
    [[nodiscard]] bool isSavedByViewer(int file) const override;
};

} // namespace tavolin
