// Pictures as WebP.

#include "decoding/codecs/WebPCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size, tavolin::decodeWebP);
    return 0;
}
