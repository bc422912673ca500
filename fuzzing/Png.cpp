// Pictures as Png.

#include "decoding/codecs/PngCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size, tavolin::decodePng);
    return 0;
}
