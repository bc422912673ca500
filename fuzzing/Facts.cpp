// What pictures say of how they were taken.

#include "decoding/metadata/Metadata.h"
#include "Input.h"

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto file = fuzz::fileOf(data, size);
    for (const auto rule : {ThumbnailRule::FromImageAlways, ThumbnailRule::FromImageIfAbsent})
        (void)readFacts(file, rule);
    return 0;
}
