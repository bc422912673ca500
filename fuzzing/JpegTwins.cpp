// Our JPEG decoder against libjpeg-turbo: on whatever that reads without a warning, both give the
// same pixels, at every scale and however the scan is cut; what ours leaves at some row it has
// given the rows before.

#include "decoding/codecs/JpegCodec.h"
#include "decoding/JpegReference.h"
#include "Input.h"

#include <array>

using namespace tavolin;
using namespace tavolin::fuzz;

namespace {

bool isSameAsFarAsItGoes(const test::DecodedRows &ours, const test::DecodedRows &reference)
{
    const auto count = static_cast<std::ptrdiff_t>(pixelCount({ours.size.width(), ours.rows}));
    return ours.size == reference.size && ours.rows <= reference.rows &&
           std::equal(ours.pixels.begin(), ours.pixels.begin() + count, reference.pixels.begin()) &&
           (!ours.isWhole || ours.rows == reference.rows);
}

bool isSame(const Image &image, const test::DecodedRows &reference)
{
    bool isSame = image.size() == reference.size;
    for (int y = 0; isSame && y < image.height(); ++y)
        isSame = std::equal(image.row(y), image.row(y) + image.width(),
                            reference.pixels.data() + std::ptrdiff_t{y} * image.width());
    return isSame;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr int WHOLE = 8;
    constexpr std::array<int, 4> SCALES{WHOLE, 4, 2, 1};
    const QByteArray file(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto headers = test::headersOf(file);
    if (!headers.frame || pixelCount(headers.frame->size) > MOST_PIXELS)
        return 0;
    for (const int scale : SCALES) {
        const auto reference = test::referenceRows(file, scale);
        for (const std::size_t partBytes : {std::size_t{1} << 20, 1 + size / 3, std::size_t{40}}) {
            const auto ours = test::ourRows(file, scale, {.threads = 2, .partBytes = partBytes});
            require(!reference.isClean || isSameAsFarAsItGoes(ours, reference));
        }
        if (scale == WHOLE && reference.isClean)
            require(isSame(decodeJpeg(fileOf(data, size), MAX_SIDE_PX).image, reference));
    }
    return 0;
}
