#pragma once
// Saving an edited picture beside its source: where it goes, what it carries and how it is written.
// The source is never written to. Usable from any thread.

#include "pixels/Image.h"
#include "pixels/JpegWriter.h"
#include "platform/Failure.h"
#include "platform/Progress.h"

#include <QStringView>

#include <filesystem>
#include <optional>

namespace tavolin {

class PictureReader;
class SavedFiles;

/// libjpeg's 95 of 100.
inline constexpr double SAVED_QUALITY = 0.95;

/// That a picture could not be saved, whatever the reason.
inline constexpr QStringView NOT_SAVED = u"บันทึกไม่สำเร็จ";

/// Where the edited picture of @p source is saved: in the folder "Edit" beside it, under its name
/// with ".jpg" in place of the last extension.
[[nodiscard]] std::filesystem::path editedFile(const std::filesystem::path &source);

/// Whether saving to @p destination would replace @p source itself. False when there is no such
/// destination yet.
[[nodiscard]] bool isSourceItself(const std::filesystem::path &destination,
                                  const std::filesystem::path &source);

/// Writes @p image as a JPEG to @p url, whose folder exists, replacing an earlier file as a whole;
/// on failure (false) that one is as it was. @p quality is from 0 to 1.
[[nodiscard]] bool saveJPEG(const Image &image, const std::filesystem::path &url,
                            double quality = SAVED_QUALITY,
                            const std::optional<JpegMetadata> &metadata = {});

/// Saves @p edited as editedFile() of @p source, with the metadata that @p reader finds there;
/// without, where it finds none. The file may be read and written by those who may the source (see
/// copyPermissions), where that has gone by the user. All but writing is done before anything is
/// asked of the disk that takes the file. Where "Edit" is a link that leads out of the source's
/// folder, an earlier file there is only replaced when it is one of @p saves, to which this one is
/// added, or says that this program has written it; in the source's folder itself none is. A
/// failure is one of two texts in the user's language, with the reason where we have a word for it.
/// Says to @p progress how it gets on.
[[nodiscard]] Failure saveEdit(const PictureReader &reader, SavedFiles &saves, const Image &edited,
                               const std::filesystem::path &source, const Progress &progress = {});

} // namespace tavolin
