#pragma once
// Writes generated pictures as files. Usable from any thread.

#include "pictures/Picture.h"

#include <QByteArray>
#include <QImage>

#include <filesystem>
#include <string>

namespace tavolin::pictures {

struct WriteOptions
{
    int quality = 90;         ///< 1 to 100, for JPEG and WebP.
    bool progressive = false; ///< JPEG only.
    bool grey = false;        ///< One channel, in the formats that have it; not for raw files.
    QByteArray iccProfile;    ///< Said to be the pixels' own, nothing is converted; not BMP or DNG.
};

/// The file content for @p extension (with dot, lower case): .jpg .jpeg .png .webp .bmp .tif .tiff
/// or .dng. @p upright is stored turned for spec.orientation and the file says so, with the EXIF
/// data of exifBlock(); a BMP, which can't say it, is stored upright. A DNG embeds a thumbnail and
/// a preview of full size. The same arguments give the same bytes. Empty when the extension is
/// another or the picture can't be encoded.
[[nodiscard]] QByteArray encodePicture(const QImage &upright, const PictureSpec &spec,
                                       const std::string &extension,
                                       const WriteOptions &options = {});

/// Writes encodePicture() for the extension of @p file (capitals will do), replacing the file as a
/// whole: it is never there half written. False when encoding or writing fails.
bool writePicture(const QImage &upright, const PictureSpec &spec, const std::filesystem::path &file,
                  const WriteOptions &options = {});

} // namespace tavolin::pictures
