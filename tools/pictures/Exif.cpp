#include "pictures/Exif.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>

namespace tavolin::pictures {

using namespace Qt::StringLiterals;

// Tag numbers are those of EXIF 2.32, section 4.6.

TiffDirectory exposureDirectory(int index)
{
    const QDateTime taken =
        QDateTime(QDate(2024, 5, 1), QTime(14, 3, 22), QTimeZone::utc()).addSecs(index);
    return {
        rationalField(0x829a, {{1, 250}}), // exposure time, s
        rationalField(0x829d, {{28, 10}}), // F number
        shortField(0x8827, {100}),         // ISO
        bytesField(0x9000, TiffType::Undefined, "0232"),
        asciiField(0x9003, taken.toString(u"yyyy:MM:dd HH:mm:ss"_s).toLatin1()),
        rationalField(0x920a, {{50, 1}}), // focal length, mm
        asciiField(0xa434, "TestLens 50mm"),
    };
}

QByteArray exifBlock(int orientation, int index)
{
    return tiffBlock({
        asciiField(0x010f, "TestMake"),
        asciiField(0x0110, "TestCamera"),
        shortField(0x0112, {orientation}),
        directoriesField(0x8769, {exposureDirectory(index)}),
    });
}

} // namespace tavolin::pictures
