#pragma once
// What lies behind the marks of a generated picture: a soft landscape of colours with the grain of
// a photograph. Usable from any thread.

#include <QImage>
#include <QSize>

namespace tavolin::pictures {

enum class Texture { Plain, Photo };

/// A picture of @p size (Format_RGB32) in colours around @p hueDegrees (0 to 359). With
/// Texture::Photo it has detail of all sizes down to a pixel, so that its JPEG is as large and as
/// slow to decode as a photograph's. The same arguments give the same pixels.
[[nodiscard]] QImage paintBackground(QSize size, int hueDegrees, quint32 seed, Texture texture);

} // namespace tavolin::pictures
