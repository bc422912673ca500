#pragma once
// Which files count as pictures, and what a file's content says it is.

#include "imaging/SourceFile.h"

#include <array>
#include <cstdint>
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

enum class FileType : std::uint8_t {
    Unknown,
    Jpeg,
    Png,
    Bmp,
    WebP,
    Tiff, ///< Plain TIFF, and the raw formats built on it (NEF, DNG, ARW, PEF, SRW).
    Heif,
    Raw, ///< A raw container of its own: CR2, CR3, RAF, ORF, RW2.
};

/// What the first bytes of @p file say.
[[nodiscard]] FileType sniffFileType(const SourceFile &file);

} // namespace tavolin
