#pragma once
// Pixel size and orientation from the headers of each container, without decoding and without the
// metadata library (and its mutex).

#include "decoding/FileType.h"
#include "pixels/Orientation.h"

#include <QSize>

#include <cstdint>
#include <optional>

namespace tavolin {

/// What colours a file without an ICC profile says it is in.
enum class ColorHint : std::uint8_t {
    None,
    AdobeRgb, ///< DCF "R03" in the EXIF interoperability directory, or EXIF ColorSpace 2.
};

/// What the headers of a file say about its picture.
struct ImageProperties
{
    QSize stored; ///< Pixels as stored, before the orientation is applied; both sides above 0.
    Orientation orientation = Orientation::Upright;
    ColorHint colorHint = ColorHint::None;
    bool isRaw = false; ///< Of a TIFF: its tags say that it holds the data of a camera's sensor.

    [[nodiscard]] QSize upright() const { return uprightSize(stored, orientation); }
};

/// The properties of the first picture in @p file, by its content: for a raw file those of the raw
/// picture, not of a preview. Empty when there is no size to be found. Reads headers only.
[[nodiscard]] std::optional<ImageProperties> readProperties(const SniffedFile &file);

} // namespace tavolin
