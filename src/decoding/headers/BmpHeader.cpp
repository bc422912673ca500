#include "decoding/headers/Headers.h"

#include <algorithm>
#include <cstdlib>

namespace tavolin {

std::optional<ImageProperties> readBmpHeader(FieldReader &fields)
{
    // BITMAPFILEHEADER has 14 bytes; the size of what follows tells BITMAPCOREHEADER from the rest.
    const ByteSpan header = fields.bytes(0, 26);
    if (header.empty())
        return std::nullopt;
    if (littleEndian<quint32>(header, 14) == 12) {
        const auto size =
            checkedSize(littleEndian<quint16>(header, 18), littleEndian<quint16>(header, 20));
        return size ? std::optional(ImageProperties{*size}) : std::nullopt;
    }
    // A negative height says that the rows begin at the top.
    const std::int64_t width = littleEndian<qint32>(header, 18);
    const std::int64_t height = std::abs(std::int64_t{littleEndian<qint32>(header, 22)});
    const auto size = checkedSize(static_cast<std::uint64_t>(std::max<std::int64_t>(0, width)),
                                  static_cast<std::uint64_t>(height));
    return size ? std::optional(ImageProperties{*size}) : std::nullopt;
}

} // namespace tavolin
