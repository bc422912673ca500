// Pictures as Bmp.

#include "decoding/codecs/BmpCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size, tavolin::decodeBmp);
    return 0;
}
