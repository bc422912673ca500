// What the headers of all formats say of size, orientation and colours.

#include "decoding/Thumbnail.h"
#include "Input.h"

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto file = fuzz::fileOf(data, size);
    const SniffedFile sniffed(file);
    const auto properties = readProperties(sniffed);
    fuzz::require(!properties || !properties->stored.isEmpty());
    for (const auto rule : {ThumbnailRule::FromImageAlways, ThumbnailRule::FromImageIfAbsent})
        (void)uprightSizeOf(sniffed, rule, properties);
    return 0;
}
