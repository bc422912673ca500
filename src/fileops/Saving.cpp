#include "fileops/Saving.h"

#include "fileops/SavedFiles.h"
#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/FileReplacement.h"
#include "platform/Folder.h"
#include "platform/NewFile.h"
#include "platform/Permissions.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <span>
#include <system_error>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

constexpr QStringView NO_FOLDER = u"สร้างโฟลเดอร์ Edit ไม่ได้";

QByteArray compressed(const Image &image, double quality,
                      const std::optional<JpegMetadata> &metadata)
{
    const auto percent = static_cast<int>(std::lround(100 * quality));
    return writeJpeg(image, clamped(percent, 1, 100), metadata.value_or(JpegMetadata()));
}

std::span<const std::byte> bytesOf(const QByteArray &jpeg)
{
    return std::as_bytes(std::span(jpeg.constData(), static_cast<std::size_t>(jpeg.size())));
}

/// @p text with the reason where we have a word for @p error.
Failure because(QStringView text, const std::error_code &error)
{
    const Failure reason = knownReason(error);
    return text.toString() + (reason ? u" ("_s + *reason + u')' : QString());
}

/// Where a saved file goes.
struct Place
{
    int folder; ///< Open.
    std::string name;
    Earlier earlier;
    /// The one that may be replaced, where others may not.
    std::optional<FileIdentity> known = {};
};

/// Where the file @p name goes in the open @p folder; nothing where an earlier one must not be
/// touched.
std::optional<Place> placeFor(const PictureReader &reader, const SavedFiles &saves, int folder,
                              const std::string &name, const std::filesystem::path &source)
{
    if (isWithin(folder, source.parent_path()))
        return Place{folder, name, Earlier::Replaced};
    if (!hasName(folder, name))
        return Place{folder, name, Earlier::Kept};
    const Descriptor earlier = openRegularFileIn(folder, name);
    const auto known = identityOf(earlier.get());
    const bool isOurs = known && (saves.contains(*known) || reader.isSavedByViewer(earlier.get()));
    return isOurs ? std::optional(Place{folder, name, Earlier::Replaced, known}) : std::nullopt;
}

/// The rule for what has the name by now: seconds have gone since it was looked at. Nothing where
/// that must not be touched.
std::optional<Earlier> ruleFor(const Place &place)
{
    if (!place.known)
        return place.earlier;
    const auto now = identityIn(place.folder, place.name);
    if (!now)
        return Earlier::Kept;
    return now == place.known ? std::optional(place.earlier) : std::nullopt;
}

/// Whether what is called @p name in the open @p folder is @p source, or leads to it.
bool isSource(int folder, const std::string &name, const std::filesystem::path &source)
{
    struct stat there
    {};
    struct stat here
    {};
    return fstatat(folder, name.c_str(), &there, 0) == 0 && stat(source.c_str(), &here) == 0 &&
           isSameFile(there, here);
}

/// Writes @p content to @p place, for those who may read and write @p source, and adds it to
/// @p saves.
std::error_code writeTo(const Place &place, std::span<const std::byte> content,
                        const std::filesystem::path &source, SavedFiles &saves,
                        const Progress &progress)
{
    NewFile file(place.folder);
    if (file.get() < 0)
        return lastError();
    if (const auto error = file.write(content, progress))
        return error;
    copyPermissions(source, file.get());
    // Of the file itself: what has the name afterwards could be another.
    const auto written = identityOf(file.get());
    if (const auto error = file.complete(progress))
        return error;
    const auto earlier = ruleFor(place);
    if (!earlier)
        return std::make_error_code(std::errc::file_exists);
    const auto error = file.place(place.name, *earlier);
    if (!error && written)
        saves.add(*written);
    return error;
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

bool saveJPEG(const Image &image, const std::filesystem::path &url, double quality,
              const std::optional<JpegMetadata> &metadata)
{
    const QByteArray jpeg = compressed(image, quality, metadata);
    return !jpeg.isEmpty() && replaceFile(url, bytesOf(jpeg));
}

Failure saveEdit(const PictureReader &reader, SavedFiles &saves, const Image &edited,
                 const std::filesystem::path &source, const Progress &progress)
{
    try {
        const auto metadata = reader.sourceMetadata(source, edited.size());
        tell(progress);
        const QByteArray jpeg = compressed(edited, SAVED_QUALITY, metadata);
        if (jpeg.isEmpty())
            return NOT_SAVED.toString();
        tell(progress);
        const auto file = editedFile(source);
        const std::string name = file.filename();
        std::error_code error;
        const Descriptor folder = openFolder(file.parent_path(), error);
        if (error)
            return because(NO_FOLDER, error);
        tell(progress);
        // Where "Edit" is a link to the folder that it stands in, an edit could replace a neighbour
        // too, as the JPEG that a camera wrote beside its raw file.
        if (isSource(folder.get(), name, source) || isFolderAt(folder.get(), source.parent_path()))
            return NOT_SAVED.toString();
        const auto place = placeFor(reader, saves, folder.get(), name, source);
        if (!place)
            return because(NOT_SAVED, std::make_error_code(std::errc::file_exists));
        error = writeTo(*place, bytesOf(jpeg), source, saves, progress);
        return error ? because(NOT_SAVED, error) : Failure();
    } catch (const std::exception &) { // lack of memory
        return NOT_SAVED.toString();
    }
}

} // namespace tavolin
