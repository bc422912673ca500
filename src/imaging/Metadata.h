#pragma once
// What a photo's EXIF data says of how it was taken. Usable from any thread.

#include "imaging/SourceFile.h"
#include "imaging/Thumbnail.h"

#include <QSize>
#include <QString>

#include <optional>

namespace tavolin {

/// Empty fields are missing in the file, of the wrong type (a text where a number belongs, a number
/// where a text does) or no finite number. Texts are as stored, up to their first NUL or 4096th
/// byte, with U+FFFD for what is not UTF-8: nothing in them can be relied on.
struct PhotoMetadata
{
    std::optional<QSize> pixelSize; ///< Upright, as readUprightSize() says.
    std::optional<QString> make;
    std::optional<QString> model;
    std::optional<QString> lensModel;
    std::optional<double> focalLength;  ///< Millimetres.
    std::optional<double> fNumber;      ///< Focal length by aperture.
    std::optional<double> exposureTime; ///< Seconds.
    std::optional<qint64> iso;          ///< The first, where there are several.
    std::optional<QString> dateTimeOriginal;

    friend bool operator==(const PhotoMetadata &, const PhotoMetadata &) = default;
};

/// The beginning of the JPEG that a RAF or RW2 @p file carries, with all that comes before its
/// pixels; without a byte when it is missing. Empty when the file is another.
[[nodiscard]] std::optional<SourceFile> embeddedJpeg(const SourceFile &file);

/// The metadata of the picture in @p file, whose size is asked for under @p rule. Only the EXIF
/// tags count, not XMP or what a maker notes. Reads at most some tens of megabytes, whatever a file
/// claims, and of a HEIF at most what a decode does. Empty when the file is no picture: it has
/// neither a size nor any of these tags.
[[nodiscard]] std::optional<PhotoMetadata> readMetadata(const SourceFile &file, ThumbnailRule rule);

} // namespace tavolin
