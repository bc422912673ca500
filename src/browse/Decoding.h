#pragma once
// Files turned into something the viewer can show. Free functions without state, for any thread; a
// failure is a null picture or an empty size, never a message.

#include "imaging/Image.h"
#include "imaging/Thumbnail.h"

#include <QSize>

#include <filesystem>
#include <optional>
#include <stop_token>

namespace tavolin {

/// Above this long side no display picture is decoded, however large the screen.
inline constexpr int MAX_DISPLAY_PIXELS = 2560;

/// Where the picture of @p url is taken from: a raw extension (in any case) asks for the embedded
/// preview.
[[nodiscard]] ThumbnailRule thumbnailRuleFor(const std::filesystem::path &url);

/// The picture at @p url, upright, its longest side at most @p maxPixel. A file with a raw
/// extension gives its largest embedded preview, and a rendering of the raw data only without one;
/// any other is decoded from its full picture. Null on failure and, soon, after @p stop is
/// requested.
[[nodiscard]] Image loadThumbnail(const std::filesystem::path &url, int maxPixel,
                                  std::stop_token stop = {});

/// The same picture at its full size: for a raw file, that of the preview.
[[nodiscard]] Image loadFullImage(const std::filesystem::path &url, std::stop_token stop = {});

/// Pixel width and height of the picture at @p url as seen upright, from its headers.
[[nodiscard]] std::optional<QSize> readPixelSize(const std::filesystem::path &url);

/// The longest side, in pixels, that a picture needs in a window of @p frame view points (title bar
/// included) at @p scale device pixels a point; at most MAX_DISPLAY_PIXELS. Without a scale, as of
/// a window that is on no screen, it is enough for a screen with two.
[[nodiscard]] int displayLimit(QSize frame, std::optional<double> scale);

} // namespace tavolin
