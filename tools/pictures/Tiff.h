#pragma once
// Writes TIFF structures: the directories of fields that EXIF and DNG are made of. Little-endian.
// Usable from any thread.

#include <QByteArray>

#include <initializer_list>
#include <vector>

namespace tavolin::pictures {

/// Field types (TIFF 6.0, section 2), as stored.
enum class TiffType : quint16 {
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    Undefined = 7,
    SignedRational = 10,
};

struct TiffField;
using TiffDirectory = std::vector<TiffField>;

/// One field of a directory; made by the functions below.
struct TiffField
{
    quint16 tag = 0;
    TiffType type = TiffType::Byte;
    QByteArray value;                       ///< Little-endian values; empty when the field points.
    std::vector<TiffDirectory> directories; ///< What the field points to, if directories.
    QByteArray data;                        ///< What the field points to, if bytes (a strip).
};

struct Fraction
{
    qint32 numerator = 0;
    qint32 denominator = 1;
};

[[nodiscard]] TiffField bytesField(quint16 tag, TiffType type, QByteArray value);
/// @p text with the closing zero that the type asks for.
[[nodiscard]] TiffField asciiField(quint16 tag, QByteArray text);
[[nodiscard]] TiffField shortField(quint16 tag, std::initializer_list<int> values);
[[nodiscard]] TiffField longField(quint16 tag, qsizetype value);
/// Of TiffType::Rational, or SignedRational when a value is below 0.
[[nodiscard]] TiffField rationalField(quint16 tag, const std::vector<Fraction> &values);
/// A field pointing to @p directories.
[[nodiscard]] TiffField directoriesField(quint16 tag, std::vector<TiffDirectory> directories);
/// A field pointing to @p data, which is not empty.
[[nodiscard]] TiffField dataField(quint16 tag, QByteArray data);

/// A TIFF file, or EXIF block, of the one directory @p first and what it points to. The fields may
/// come in any order; they are sorted by tag.
[[nodiscard]] QByteArray tiffBlock(const TiffDirectory &first);

} // namespace tavolin::pictures
