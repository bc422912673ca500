#pragma once
// What the header of each container says of its picture; a source file for each. All are given the
// whole file by its FieldReader and return nothing when there is no size to be found.

#include "decoding/FieldReader.h"
#include "decoding/Properties.h"
#include "decoding/TiffReader.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tavolin {

/// The size from @p width and @p height when both are above 0 and fit.
[[nodiscard]] std::optional<QSize> checkedSize(std::uint64_t width, std::uint64_t height);

/// Whether colours without a profile are Adobe RGB, by EXIF's ColorSpace and the index of the
/// interoperability directory (DCF 2.0), which is empty where there is none.
[[nodiscard]] bool saysAdobeRgb(std::optional<std::uint64_t> colorSpace,
                                std::string_view interopIndex);

/// What an EXIF block says of the picture around it.
struct ExifFacts
{
    Orientation orientation = Orientation::Upright;
    ColorHint colorHint = ColorHint::None;
    std::optional<QSize> pixels; ///< PixelXDimension and PixelYDimension.
};

/// The facts from @p first, the first directory of @p tiff, and the directories it points to.
[[nodiscard]] ExifFacts readExif(TiffReader &tiff, const TiffDirectory &first);

/// All but the orientation, from @p exif, the EXIF directory itself.
[[nodiscard]] ExifFacts readExifDirectory(TiffReader &tiff, const TiffDirectory &exif);

/// The facts from the EXIF block from byte @p begin to @p end, with or without the "Exif" that JPEG
/// puts before it. Defaults when there is none.
[[nodiscard]] ExifFacts readExif(FieldReader &fields, std::int64_t begin, std::int64_t end);

/// The TIFF stream in the EXIF block from byte @p begin to @p end, which is cut where the file
/// ends.
[[nodiscard]] SourceFile exifStream(FieldReader &fields, std::int64_t begin, std::int64_t end);

/// What a file says of its picture, as parts of that file; without a byte where it does not.
struct MetadataParts
{
    SourceFile exif; ///< A TIFF stream.
    SourceFile xmp;  ///< A packet.
};

/// A frame header of a JPEG (ITU-T T.81, B.2.2).
struct JpegFrame
{
    unsigned marker = 0;    ///< The second byte of its marker: the kind of coding.
    unsigned precision = 0; ///< Bits of a sample.
    QSize size;             ///< Both sides above 0.
};

/// The first frame header of the JPEG that begins at @p begin. Nothing when the height is left to a
/// DNL marker.
[[nodiscard]] std::optional<JpegFrame> readJpegFrame(FieldReader &fields, std::int64_t begin);

/// The JPEG that begins at @p begin: its first frame header (ITU-T T.81, B.2.2) and its first EXIF
/// segment. Nothing when the height is left to a DNL marker.
[[nodiscard]] std::optional<ImageProperties> readJpegHeader(FieldReader &fields,
                                                            std::int64_t begin = 0);

/// PNG: IHDR, and the orientation from an eXIf chunk or from the text chunk that ImageMagick writes
/// in its place, wherever they stand.
[[nodiscard]] std::optional<ImageProperties> readPngHeader(FieldReader &fields);

/// BMP of Windows (also with rows from the top) and OS/2.
[[nodiscard]] std::optional<ImageProperties> readBmpHeader(FieldReader &fields);

/// WebP: lossy, lossless and extended, there with the orientation of its EXIF chunk.
[[nodiscard]] std::optional<ImageProperties> readWebPHeader(FieldReader &fields);

[[nodiscard]] MetadataParts findWebPMetadata(FieldReader &fields);

/// The TIFF stream from byte @p begin to @p end: its first page, or the raw picture when it is the
/// stream of a raw format, which the caller knows (@p isRaw) or which the tags tell (DNG, NEF, ARW
/// and their like).
[[nodiscard]] std::optional<ImageProperties> readTiffHeader(FieldReader &fields, std::int64_t begin,
                                                            std::int64_t end, bool isRaw);

/// The primary picture of a HEIF file after clean aperture, rotation and mirroring. The orientation
/// is always upright: the decoder applies these itself, and the EXIF orientation only repeats them.
[[nodiscard]] std::optional<ImageProperties> readHeifHeader(FieldReader &fields);

/// The metadata of a HEIF's primary picture: those that are said to be its own, rather than those
/// of nothing in particular, rather than another picture's.
[[nodiscard]] MetadataParts findHeifMetadata(FieldReader &fields);

/// The raw containers of FileType::Raw: CR2, CR3, RAF, ORF and RW2.
[[nodiscard]] std::optional<ImageProperties> readRawHeader(FieldReader &fields);

} // namespace tavolin
