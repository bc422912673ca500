#pragma once
// What the header of a BMP says of the pixels behind it.
//
// Refused: JPEG and PNG in a BMP's clothes, which are meant for printers and never in files, and
// the compressions that only OS/2 had (Huffman, and run lengths of 24 bits).

#include "decoding/FieldReader.h"
#include "pixels/Image.h"

#include <QByteArray>
#include <QSize>

#include <array>
#include <cstdint>
#include <optional>

namespace tavolin {

struct BmpLayout
{
    QSize size;
    bool isTopDown = false; ///< The first row stored is the top one.
    int bits = 0;           ///< Of a pixel: 1, 2, 4, 8 (of the palette), 16, 24 or 32.
    bool hasRuns = false;   ///< RLE4 or RLE8.
    /// Where red, green, blue and alpha are in a pixel of 16 or 32 bits; no alpha: 0.
    std::array<std::uint32_t, 4> masks{};
    /// Opaque; black where the file has no colour.
    std::array<Pixel, 256> palette{};
    std::int64_t pixels = 0; ///< Offset of the first row, or run, in the file.
    QByteArray iccProfile;
};

/// The layout of the BMP that @p fields reads. Empty when it is none, is refused, or is over the
/// limits.
[[nodiscard]] std::optional<BmpLayout> readBmpLayout(FieldReader &fields);

} // namespace tavolin
