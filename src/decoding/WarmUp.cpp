#include "decoding/WarmUp.h"

#include "decoding/codecs/HevcDecoder.h"
#include "decoding/metadata/Exiv2Access.h"
#include "decoding/SourceFile.h"
#include "decoding/Thumbnail.h"
#include "pixels/Bands.h"
#include "pixels/JpegWriter.h"

#include <cstdlib>
#include <ctime>
#include <utility>

namespace tavolin {

void warmUp()
{
    // Without a zone of its own the C library would look for the machine's at each use.
    setenv("TZ", "UTC0", 1);
    tzset();
    (void)coreCount();
    useOwnHevcDecoder();
    // As much for libjpeg, which looks at its environment and, on some machines, at /proc.
    PixelBuffer dot(QSize(1, 1));
    const auto picture =
        SourceFile::fromBytes(writeJpeg(std::move(dot).toImage(Alpha::Opaque), 95));
    (void)createThumbnail(picture, 1, ThumbnailRule::FromImageAlways);
    withMetadata(picture, [](Exiv2::Image &) {});
}

} // namespace tavolin
