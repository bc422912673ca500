// Colour profiles: pixels of three channels and of four, converted with what the input is taken
// for, a picture's profile or a monitor's.

#include "decoding/color/Color.h"
#include "decoding/color/ProfileCheck.h"
#include "Input.h"

#include <array>

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray profile(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    if (!isSoundProfile(profile))
        return 0;
    std::array<Pixel, 67> row{};
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = 0xff000000 | static_cast<Pixel>(i * 0x03070b);
    for (const ColorConversion &conversion :
         {ColorConversion(profile), ColorConversion({}, profile)}) {
        if (conversion.changesNothing())
            continue;
        auto converted = row;
        conversion.convertRow(row.data(), converted.data(), static_cast<int>(row.size()),
                              Alpha::Opaque);
        conversion.convertRow(row.data(), row.data(), static_cast<int>(row.size()),
                              Alpha::Premultiplied);
    }
    PixelBuffer inks(QSize(static_cast<int>(row.size()), 1));
    std::copy(row.begin(), row.end(), inks.row(0));
    convertCmykToSrgb(inks, profile, false);
    fuzz::look(std::move(inks).toImage(Alpha::Opaque));
    return 0;
}
