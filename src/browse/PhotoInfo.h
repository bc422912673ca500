#pragma once
// The facts about a photo that stand below the info line, and their wording. Pure functions.

#include "pixels/PictureReader.h"

#include <QSize>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace tavolin {

/// The facts that are there, each worded, in the order in which they are shown: pixel size, file
/// size (in units of 2^20 bytes), camera, lens, exposure settings, time taken. Texts of the file
/// are made fit for one line: control characters and those that change the direction of writing
/// become blanks, and what is over 200 characters is cut off.
[[nodiscard]] QStringList infoSegments(const PhotoMetadata &metadata,
                                       std::optional<std::uintmax_t> fileBytes);

/// @p segments on one line; an empty text when there are none.
[[nodiscard]] QString infoLine(const QStringList &segments);

/// What the information line needs of one file.
struct PhotoInfo
{
    std::optional<QSize> pixelSize; ///< Of the file's full picture, upright.
    QStringList segments;           ///< As infoSegments() words them.
};

/// @p facts as they are shown; nothing where there are none.
[[nodiscard]] PhotoInfo photoInfo(const std::optional<PhotoFacts> &facts);

} // namespace tavolin
