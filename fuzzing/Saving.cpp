// What of a file's metadata goes into an edited copy, the writing of that copy, and the copy read
// again.

#include "decoding/metadata/CarriedMetadata.h"
#include "decoding/metadata/Metadata.h"
#include "Input.h"
#include "pixels/JpegWriter.h"

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr QSize SIZE(5, 3);
    constexpr int QUALITY = 90;
    const auto file = fuzz::fileOf(data, size);
    (void)isSavedByViewer(file);
    const auto metadata = carriedMetadata(file, SIZE);
    if (!metadata)
        return 0;
    fuzz::require(metadata->exif.size() <= JpegMetadata::MAX_EXIF_BYTES &&
                  metadata->xmp.size() <= JpegMetadata::MAX_XMP_BYTES &&
                  metadata->photoshop.size() <= JpegMetadata::MAX_PHOTOSHOP_BYTES);
    PixelBuffer grey(SIZE);
    for (int y = 0; y < SIZE.height(); ++y)
        std::fill_n(grey.row(y), SIZE.width(), 0xff808080);
    const auto copy = SourceFile::fromBytes(
        writeJpeg(std::move(grey).toImage(Alpha::Opaque), QUALITY, *metadata));
    const auto facts = readFacts(copy, ThumbnailRule::FromImageAlways);
    fuzz::require(facts && facts->metadata.pixelSize == SIZE &&
                  facts->orientation == Orientation::Upright);
    return 0;
}
