#include "decoding/headers/Headers.h"
#include "decoding/headers/HeifItems.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavolin {

namespace {

enum class Rounding { Down, Nearest };

/// How many of @p length pixels a clean aperture of @p aperture pixels leaves, its middle @p offset
/// off the picture's (ISO/IEC 14496-12, 12.1.4). The rounding is the decoder's, which is not the
/// same in both directions.
std::int64_t cleanLength(std::int64_t length, double aperture, double offset, Rounding rounding)
{
    const double start = offset + (static_cast<double>(length) - 1) / 2 - (aperture - 1) / 2;
    const double first = std::trunc(rounding == Rounding::Down ? start : start + 0.5);
    const double last = std::trunc(first + aperture - 1 + 0.5);
    const double kept = std::min(last, static_cast<double>(length) - 1) - std::max(first, 0.0) + 1;
    return static_cast<std::int64_t>(std::max(kept, 0.0));
}

/// @p width and @p height as a property changes them.
struct ItemSize
{
    std::int64_t width = 0;
    std::int64_t height = 0;
};

ItemSize changedBy(FieldReader &fields, const Box &property, ItemSize size)
{
    BoxNumbers numbers(fields, property.begin, property.end);
    switch (property.type) {
    case boxType("ispe"):
        (void)numbers.next<quint32>(); // version and flags
        size.width = numbers.next<quint32>();
        size.height = numbers.next<quint32>();
        return size;
    case boxType("irot"):
        if (numbers.next<quint8>() % 2 == 1)
            std::swap(size.width, size.height);
        return size;
    case boxType("clap"): {
        const auto fraction = [&numbers](bool isSigned) {
            const auto numerator = numbers.next<quint32>();
            const auto denominator = numbers.next<quint32>();
            const double top =
                isSigned ? static_cast<double>(static_cast<qint32>(numerator)) : numerator;
            return denominator == 0 ? 0.0 : top / denominator;
        };
        const double width = fraction(false);
        const double height = fraction(false);
        const double across = fraction(true);
        const double down = fraction(true);
        return {cleanLength(size.width, width, across, Rounding::Down),
                cleanLength(size.height, height, down, Rounding::Nearest)};
    }
    default:
        return size; // "imir" among them: mirroring keeps the size
    }
}

} // namespace

std::optional<ImageProperties> readHeifHeader(FieldReader &fields)
{
    const HeifProperties properties(fields);
    ItemSize size;
    for (const Box &property : properties.ofPrimary())
        size = changedBy(fields, property, size);
    const auto upright = checkedSize(static_cast<std::uint64_t>(size.width),
                                     static_cast<std::uint64_t>(size.height));
    return upright ? std::optional(ImageProperties{*upright}) : std::nullopt;
}

} // namespace tavolin
