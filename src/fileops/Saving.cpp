#include "fileops/Saving.h"

#include "pixels/Geometry.h"
#include "platform/FileReplacement.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <system_error>

namespace tavolin {

std::filesystem::path editedFile(const std::filesystem::path &source)
{
    std::filesystem::path name = source.stem();
    name += ".jpg";
    return source.parent_path() / "Edit" / name;
}

bool isSourceItself(const std::filesystem::path &destination, const std::filesystem::path &source)
{
    std::error_code missing;
    return std::filesystem::equivalent(destination, source, missing);
}

bool isInFolderOf(const std::filesystem::path &destination, const std::filesystem::path &source)
{
    std::error_code missing;
    return std::filesystem::equivalent(destination.parent_path(), source.parent_path(), missing);
}

bool saveJPEG(const Image &image, const std::filesystem::path &url, double quality,
              const std::optional<JpegMetadata> &metadata)
{
    const auto percent = static_cast<int>(std::lround(100 * quality));
    const QByteArray file =
        writeJpeg(image, clamped(percent, 1, 100), metadata.value_or(JpegMetadata()));
    return !file.isEmpty() &&
           replaceFile(url, std::as_bytes(std::span(file.constData(),
                                                    static_cast<std::size_t>(file.size()))));
}

} // namespace tavolin
