// Pictures as JPEG.

#include "decoding/codecs/JpegCodec.h"
#include "Input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    tavolin::fuzz::decodeTwice(data, size,
                               [](const tavolin::SourceFile &file, const tavolin::SizeRule &rule) {
                                   return tavolin::decodeJpeg(file, rule);
                               });
    return 0;
}
