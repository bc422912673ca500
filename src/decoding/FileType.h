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

/// A file, which must outlive this, with its type: made of a file wherever one is asked for, and
/// passed on from there, so that nobody needs to look again.
struct SniffedFile
{
    SniffedFile(const SourceFile &file) : source(file), type(sniffFileType(file)) {}

    const SourceFile &source;
    FileType type;
};

} // namespace tavolin
