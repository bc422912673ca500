#include "decoding/codecs/QtCodec.h"

#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <QColorSpace>
#include <QImageReader>
#include <QIODevice>
#include <QLoggingCategory>
#include <QPixelFormat>

#include <algorithm>
#include <cstring>
#include <mutex>

#include <tiffio.h>

namespace tavolin {

namespace {

/// A SourceFile as Qt's readers want it.
class SourceDevice : public QIODevice
{
public:
    explicit SourceDevice(const SourceFile &file) : m_file(file) { open(QIODevice::ReadOnly); }

    [[nodiscard]] qint64 size() const override { return m_file.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const auto count = m_file.readAt(
            pos(), std::as_writable_bytes(std::span(data, static_cast<std::size_t>(maxSize))));
        // Never −1: the TIFF reader takes what it gets for a number of bytes.
        return static_cast<qint64>(count);
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    const SourceFile &m_file;
};

QByteArray qtFormat(FileType type)
{
    switch (type) {
    case FileType::Bmp:
        return "bmp";
    case FileType::Tiff:
        return "tiff";
    default:
        return {};
    }
}

/// Process-wide: Qt's limit on one picture, and silence for what the readers have to say.
void setUp()
{
    QImageReader::setAllocationLimit(static_cast<int>(MAX_DECODER_BYTES >> 20));
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false"));
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
}

/// Bytes that Qt will need for each pixel, as far as the reader tells.
int bytesPerPixel(const QImageReader &reader)
{
    const QImage::Format format = reader.imageFormat();
    if (format == QImage::Format_Invalid)
        return 4;
    return std::max(1, QImage::toPixelFormat(format).bitsPerPixel() / 8);
}

/// The rows of @p decoded as pixels, converted a few at a time: large conversions go through a pool
/// of threads that the painter waits for.
void feed(const QImage &decoded, QImage::Format format, RowSink &sink)
{
    constexpr int POOLED_FROM = 1 << 16; // pixels
    const int bandRows = std::max(1, (POOLED_FROM - 1) / decoded.width());
    for (int y = 0; y < decoded.height(); y += bandRows) {
        const int rows = std::min(bandRows, decoded.height() - y);
        QImage band(decoded.constScanLine(y), decoded.width(), rows, decoded.bytesPerLine(),
                    decoded.format());
        band.setColorTable(decoded.colorTable());
        const QImage converted = band.convertToFormat(format);
        for (int row = 0; row < rows && !converted.isNull(); ++row) {
            std::memcpy(sink.nextRow(), converted.constScanLine(row),
                        static_cast<std::size_t>(decoded.width()) * sizeof(Pixel));
            sink.rowDone();
        }
    }
}

} // namespace

Image decodeWithQt(const SourceFile &file, FileType type, int maxPixel)
{
    static std::once_flag isSetUp;
    std::call_once(isSetUp, setUp);

    SourceDevice device(file);
    QImageReader reader(&device, qtFormat(type));
    reader.setAutoTransform(false);
    // Not every reader knows the size beforehand; Qt's own limit stands behind this one.
    const QSize announced = reader.size();
    if (announced.isValid() && !isWithinLimits(announced, bytesPerPixel(reader)))
        return {};
    QImage decoded;
    if (!reader.read(&decoded) && decoded.isNull())
        return {};
    if (decoded.isNull() || file.stopToken().stop_requested())
        return {};

    const QSize target = sizeWithin(decoded.size(), maxPixel);
    RowSink sink(decoded.size(), target);
    if (!sink.isReady())
        return {};
    const bool hasAlpha = decoded.hasAlphaChannel();
    feed(decoded, hasAlpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32, sink);
    sink.fillRest(0xff000000);
    const QByteArray profile = decoded.colorSpace().iccProfile();
    decoded = {};
    return std::move(sink).takeImage(hasAlpha ? Alpha::Premultiplied : Alpha::Opaque, profile);
}

} // namespace tavolin
