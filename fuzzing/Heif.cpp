// Pictures as Heif.

#include "decoding/codecs/HeifCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size, tavolin::decodeHeif);
    return 0;
}
