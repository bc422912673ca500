// The viewer's side of the protocol: a worker that answers with whatever the input says.

#include "Input.h"
#include "platform/Failure.h"
#include "worker/client/WorkerReader.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

using namespace tavolin;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const WorkerReader reader{std::filesystem::path(FUZZ_PEER_PROGRAM)};
    static const std::filesystem::path url =
        std::filesystem::temp_directory_path() / ("answers-" + std::to_string(getpid()) + ".jpg");
    if (size == 0)
        return 0;
    std::ofstream(url, std::ios::binary)
        .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    constexpr int LIMIT_PX = 1000;
    switch (data[0] % 5) {
    case 0: {
        const auto picture = reader.loadDisplayPicture(url, {LIMIT_PX, QRectF(0, 0, 300, 200), 1.0},
                                                       Urgency::Now, {});
        fuzz::require(std::max(picture.image.width(), picture.image.height()) <= LIMIT_PX);
        fuzz::look(picture.rendition);
        break;
    }
    case 1:
        fuzz::look(reader.loadFullImage(url, KEPT, {}));
        break;
    case 2: {
        const auto pixels = reader.readPixelSize(url);
        fuzz::require(!pixels || !pixels->isEmpty());
        break;
    }
    case 3:
        (void)reader.readPhotoFacts(url, Urgency::Now, {});
        break;
    default: {
        const auto metadata = reader.sourceMetadata(url, {3, 2});
        fuzz::require(!metadata || metadata->exif.size() <= JpegMetadata::MAX_EXIF_BYTES);
    }
    }
    std::filesystem::remove(url);
    return 0;
}
