// Raw files: their previews, and renderings where there is none.

#include "decoding/Thumbnail.h"
#include "Input.h"

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto file = fuzz::fileOf(data, size);
    if (fuzz::isSmall(file))
        fuzz::look(createThumbnail(file, MAX_SIDE_PX, ThumbnailRule::FromImageIfAbsent).image);
    return 0;
}
