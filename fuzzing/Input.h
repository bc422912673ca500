#pragma once
// What all fuzzing entries share: the bytes that the fuzzer makes as a file, and what is done with
// a result. Each entry is a program of its own that defines LLVMFuzzerTestOneInput() (see
// libFuzzer); it has found something where it ends by a signal or a sanitizer's report.

#include "decoding/Properties.h"
#include "decoding/SourceFile.h"
#include "pixels/Geometry.h"
#include "pixels/Image.h"
#include "pixels/Limits.h"
#include "pixels/ScaledPicture.h"

#include <QByteArray>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace tavolin::fuzz {

/// Larger pictures are left out where pixels are made: filling them takes the time of hundreds of
/// small ones, and sizes are judged before.
inline constexpr std::int64_t MOST_PIXELS = 1'000'000;

inline SourceFile fileOf(const std::uint8_t *data, std::size_t size)
{
    return SourceFile::fromBytes(
        QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
}

/// Whether the headers of @p file say that its picture is a small one.
inline bool isSmall(const SourceFile &file)
{
    const auto properties = readProperties(file);
    return properties && pixelCount(properties->stored) <= MOST_PIXELS;
}

/// Ends the program unless @p isTrue: a promise was not kept.
inline void require(bool isTrue)
{
    if (!isTrue)
        std::abort();
}

/// Reads every pixel of @p image, as painting would: none may be memory of something else.
inline void look(const Image &image)
{
    Pixel seen = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            seen ^= image.row(y)[x];
    [[maybe_unused]] const volatile Pixel kept = seen;
}

/// Decodes a small picture as stored, with @p decode(file, maxPixel), and reduced.
template <typename Decode>
void decodeTwice(const std::uint8_t *data, std::size_t size, const Decode &decode)
{
    constexpr int REDUCED_PX = 97;
    const auto file = fileOf(data, size);
    if (!isSmall(file))
        return;
    look(decode(file, MAX_SIDE_PX).image);
    const DisplayTarget target{.maxPixel = REDUCED_PX, .area = QRectF(0, 0, 60, 40)};
    const ScaledPicture reduced = decode(file, SizeRule(target));
    require(std::max(reduced.image.width(), reduced.image.height()) <= REDUCED_PX);
    require(reduced.rendition.width() <= 60 && reduced.rendition.height() <= 40);
    look(reduced.image);
    look(reduced.rendition);
}

} // namespace tavolin::fuzz
