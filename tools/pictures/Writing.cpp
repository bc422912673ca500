#include "pictures/Writing.h"

#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageWriter>
#include <QtEndian>

#include <exiv2/exiv2.hpp>

#include <exception>
#include <fstream>
#include <mutex>
#include <system_error>

namespace tavolin::pictures {

namespace {

/// Pixels of the longer side of a raw file's thumbnail.
constexpr int THUMBNAIL_SIDE = 256;

QByteArray encodeByQt(const QImage &stored, const char *format, const WriteOptions &options)
{
    QImage image = stored;
    if (!options.iccProfile.isEmpty())
        image.setColorSpace(QColorSpace::fromIccProfile(options.iccProfile));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, format);
    const QByteArray name(format);
    if (name == "webp")
        writer.setQuality(options.quality);
    else if (name == "png")
        writer.setCompression(20); // zlib's level 1: grain hardly shrinks further
    else if (name == "tiff")
        writer.setCompression(1); // LZW
    return writer.write(image) ? bytes : QByteArray();
}

/// CRC of a chunk's type and data (PNG, annex D).
quint32 pngCrc(const QByteArray &bytes)
{
    quint32 crc = 0xffffffffU;
    for (const char byte : bytes) {
        crc ^= static_cast<uchar>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320U : 0);
    }
    return ~crc;
}

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

/// @p png with @p exif as its eXIf chunk, behind the header. By hand: Exiv2 before 0.28 writes a
/// text chunk instead, which few programs look into.
QByteArray pngWithExif(const QByteArray &png, const QByteArray &exif)
{
    constexpr qsizetype HEADER_BYTES = 8 + 25; // signature and IHDR chunk
    if (png.size() < HEADER_BYTES)
        return {};
    const QByteArray chunk = "eXIf" + exif;
    return png.first(HEADER_BYTES) + bigEndian(static_cast<quint32>(exif.size())) + chunk +
           bigEndian(pngCrc(chunk)) + png.sliced(HEADER_BYTES);
}

/// @p file (WebP or TIFF) with the fields of @p exif added. Empty on failure.
QByteArray withExif(const QByteArray &file, const QByteArray &exif)
{
    if (file.isEmpty())
        return {};
    // Exiv2's memory is shared between threads, in parts.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    try {
        Exiv2::ExifData fields;
        Exiv2::ExifParser::decode(fields, reinterpret_cast<const Exiv2::byte *>(exif.constData()),
                                  static_cast<std::uint32_t>(exif.size()));
        const auto image =
            Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte *>(file.constData()),
                                      static_cast<std::size_t>(file.size()));
        image->readMetadata();
        for (const Exiv2::Exifdatum &field : fields)
            image->exifData()[field.key()] = field.value();
        image->writeMetadata();
        Exiv2::BasicIo &out = image->io();
        return {reinterpret_cast<const char *>(out.mmap()), static_cast<qsizetype>(out.size())};
    } catch (const std::exception &) {
        return {};
    }
}

QByteArray encodeDng(const QImage &upright, const PictureSpec &spec)
{
    const QImage thumbnail = upright.scaled(THUMBNAIL_SIDE, THUMBNAIL_SIDE, Qt::KeepAspectRatio,
                                            Qt::SmoothTransformation);
    return makeDng({upright, {thumbnail, upright}, spec.orientation, spec.index});
}

} // namespace

QByteArray encodePicture(const QImage &upright, const PictureSpec &spec,
                         const std::string &extension, const WriteOptions &options)
{
    if (extension == ".dng")
        return encodeDng(upright, spec);
    const QImage colored =
        options.grey ? upright.convertToFormat(QImage::Format_Grayscale8) : upright;
    if (extension == ".bmp")
        return encodeByQt(colored, "bmp", options);
    const QImage stored = storedFor(colored, spec.orientation);
    const QByteArray exif = exifBlock(spec.orientation, spec.index);
    if (extension == ".jpg" || extension == ".jpeg") {
        JpegOptions jpeg;
        jpeg.quality = options.quality;
        jpeg.color = options.grey ? JpegColor::Grey : JpegColor::YCbCr;
        jpeg.progressive = options.progressive;
        jpeg.iccProfile = options.iccProfile;
        jpeg.exif = exif;
        return encodeJpeg(stored, jpeg);
    }
    if (extension == ".png")
        return pngWithExif(encodeByQt(stored, "png", options), exif);
    if (extension == ".webp")
        return withExif(encodeByQt(stored, "webp", options), exif);
    if (extension == ".tif" || extension == ".tiff")
        return withExif(encodeByQt(stored, "tiff", options), exif);
    return {};
}

bool writePicture(const QImage &upright, const PictureSpec &spec, const std::filesystem::path &file,
                  const WriteOptions &options)
{
    const QByteArray extension = QByteArray::fromStdString(file.extension().string()).toLower();
    const QByteArray bytes = encodePicture(upright, spec, extension.toStdString(), options);
    if (bytes.isEmpty())
        return false;
    std::filesystem::path unfinished = file;
    unfinished += ".part";
    std::ofstream out(unfinished, std::ios::binary);
    out.write(bytes.constData(), bytes.size());
    out.close();
    std::error_code error;
    if (out)
        std::filesystem::rename(unfinished, file, error);
    if (!out || error) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        return false;
    }
    return true;
}

} // namespace tavolin::pictures
