#pragma once
// A picture as a file without loss.

#include <QBuffer>
#include <QByteArray>
#include <QImage>

#include <stdexcept>

namespace tavolin::test {

/// @p image as a PNG file.
[[nodiscard]] inline QByteArray pngFile(const QImage &image)
{
    QByteArray file;
    QBuffer buffer(&file);
    if (!image.save(&buffer, "png"))
        throw std::runtime_error("no PNG can be written");
    return file;
}

} // namespace tavolin::test
