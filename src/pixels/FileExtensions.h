#pragma once
// Which file names are those of pictures. Pure functions.

#include <array>
#include <filesystem>
#include <string_view>

namespace tavolin {

/// Lower-case extensions of the files that are shown.
inline constexpr std::array<std::string_view, 19> IMAGE_EXTS{
    "jpg", "jpeg", "png", "webp", "bmp", "tiff", "tif", "heic", "heif", "nef",
    "cr2", "cr3",  "arw", "dng",  "raf", "orf",  "rw2", "pef",  "srw"};

/// The camera-raw ones among them.
inline constexpr std::array<std::string_view, 10> RAW_EXTS{"nef", "cr2", "cr3", "arw", "dng",
                                                           "raf", "orf", "rw2", "pef", "srw"};

/// Whether the file name's extension, in any case (ASCII letters), is one of IMAGE_EXTS or
/// RAW_EXTS. The extension is all that follows the last dot, also in a name like ".jpg".
[[nodiscard]] bool hasImageExtension(const std::filesystem::path &path);
[[nodiscard]] bool hasRawExtension(const std::filesystem::path &path);

} // namespace tavolin
