#pragma once
// The one door from the viewer to what picture files say. Behind it files are opened and parsed;
// what comes through are values. The viewer is built without the other side (see decoding/):
// whoever makes a viewer brings a reader.

#include "pixels/DisplayPicture.h"
#include "pixels/Image.h"
#include "pixels/JpegWriter.h"
#include "pixels/Orientation.h"

#include <QByteArray>
#include <QSize>
#include <QString>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>

namespace tavolin {

/// What a photo's EXIF data say of how it was taken. Empty fields are missing in the file, of the
/// wrong type (a text where a number belongs, a number where a text does) or no finite number.
/// Texts are as stored, up to their first NUL or 4096th byte, with U+FFFD for what is not UTF-8:
/// nothing in them can be relied on.
struct PhotoMetadata
{
    std::optional<QSize> pixelSize; ///< Of the file's full picture, upright.
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

/// What is known of a picture file without decoding it.
struct PhotoFacts
{
    PhotoMetadata metadata;
    std::uintmax_t fileBytes = 0;
    Orientation orientation = Orientation::Upright; ///< As stored.
};

/// Whether somebody waits for a picture.
enum class Urgency : std::uint8_t {
    Now,
    Ahead, ///< It may be wanted soon; it gives way to everything else.
};

/// In which colours a full picture is wanted: in those of this profile of a monitor (empty: sRGB),
/// or KEPT, as they are in the file.
using FullColors = std::optional<QByteArray>;
inline constexpr std::nullopt_t KEPT = std::nullopt;

/// Reads picture files. Every call may come from any thread but the main one, which never waits: it
/// takes as long as the disk and the picture need, and never throws; failure is a null picture or
/// an empty value, never a message, and so is the result soon after a stop is requested.
class PictureReader
{
public:
    PictureReader() = default;
    virtual ~PictureReader() = default;
    PictureReader(const PictureReader &) = delete;
    PictureReader &operator=(const PictureReader &) = delete;

    /// The picture at @p url, upright, ready for @p target. A file with a raw extension gives its
    /// largest embedded preview, and a rendering of the raw data without one or where that is a
    /// stamp; any other is decoded from its full picture.
    [[nodiscard]] virtual DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                            const DisplayTarget &target,
                                                            Urgency urgency,
                                                            std::stop_token stop) const = 0;

    /// The same picture at its full size. Where colours are KEPT its profile is empty (sRGB) or one
    /// for RGB that a saved file may carry; of a raw file, that of the preview. Grey, CMYK and Lab
    /// have become sRGB then, and so have colours of which some are seen through: what they are
    /// over is sRGB too.
    [[nodiscard]] virtual Image loadFullImage(const std::filesystem::path &url,
                                              const FullColors &colors,
                                              std::stop_token stop) const = 0;

    /// @p image in the colours of @p monitor (empty: sRGB), which becomes its profile; the same
    /// where it is in them already. Null for a null image too.
    [[nodiscard]] virtual Image converted(const Image &image, const QByteArray &monitor,
                                          std::stop_token stop) const = 0;

    /// Has the system read up to @p most bytes of the file at @p url into its memory, so that the
    /// other calls need not wait for the disk. How many there are; 0 where the file can't be read,
    /// or the reader doesn't care.
    virtual std::int64_t readAhead(const std::filesystem::path & /*url*/, std::int64_t /*most*/,
                                   const std::stop_token & /*stop*/) const
    {
        return 0;
    }

    /// Pixel width and height of the picture at @p url as seen upright, from its headers: what its
    /// display picture tells, too.
    [[nodiscard]] virtual std::optional<QSize>
    readPixelSize(const std::filesystem::path &url) const = 0;

    /// What the picture at @p url says of itself. Empty when it can't be opened or is no picture.
    [[nodiscard]] virtual std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                                   Urgency urgency,
                                                                   std::stop_token stop) const = 0;

    /// The metadata of the picture at @p url for an edited, upright copy of @p newSize pixels.
    /// Empty when the file or its metadata can't be read.
    [[nodiscard]] virtual std::optional<JpegMetadata>
    sourceMetadata(const std::filesystem::path &url, QSize newSize) const = 0;

    /// Whether the picture that @p file is open at, for reading, says that this program has saved
    /// it. False when it can't be read.
    [[nodiscard]] virtual bool isSavedByViewer(int file) const = 0;
};

} // namespace tavolin
