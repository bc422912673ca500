#pragma once
// What a file's content says it is.

#include "decoding/SourceFile.h"

#include <cstdint>

namespace tavolin {

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
