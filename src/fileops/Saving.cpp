#include "fileops/Saving.h"

#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/FileReplacement.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <span>
#include <system_error>

namespace tavolin {

namespace {

constexpr QStringView NO_FOLDER = u"สร้างโฟลเดอร์ Edit ไม่ได้";
constexpr QStringView FAILED = u"บันทึกไม่สำเร็จ";

QByteArray compressed(const Image &image, double quality,
                      const std::optional<JpegMetadata> &metadata)
{
    const auto percent = static_cast<int>(std::lround(100 * quality));
    return writeJpeg(image, clamped(percent, 1, 100), metadata.value_or(JpegMetadata()));
}

bool writeCompressed(const QByteArray &jpeg, const std::filesystem::path &url,
                     const Progress &progress = {})
{
    const auto bytes =
        std::as_bytes(std::span(jpeg.constData(), static_cast<std::size_t>(jpeg.size())));
    return !jpeg.isEmpty() && replaceFile(url, bytes, progress);
}

} // namespace

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
    return writeCompressed(compressed(image, quality, metadata), url);
}

Failure saveEdit(const PictureReader &reader, const Image &edited,
                 const std::filesystem::path &source, const Progress &progress)
{
    try {
        const auto metadata = reader.sourceMetadata(source, edited.size());
        tell(progress);
        const QByteArray jpeg = compressed(edited, SAVED_QUALITY, metadata);
        if (jpeg.isEmpty())
            return FAILED.toString();
        tell(progress);
        const auto file = editedFile(source);
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        if (error)
            return NO_FOLDER.toString();
        tell(progress);
        if (isSourceItself(file, source) || isInFolderOf(file, source) ||
            !writeCompressed(jpeg, file, progress))
            return FAILED.toString();
        return {};
    } catch (const std::exception &) { // lack of memory
        return FAILED.toString();
    }
}

} // namespace tavolin
