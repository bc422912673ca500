// Pictures as Tiff.

#include "decoding/codecs/TiffCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size, tavolin::decodeTiff);
    return 0;
}
