#pragma once
// A decoded picture as an immutable value, and the buffer that one is filled in.
// Coordinates are pixels, origin at the top left, y downward. Usable from any thread.

#include <QByteArray>
#include <QRect>
#include <QSize>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>

namespace tavolin {

/// One pixel: 0xAARRGGBB in the machine's byte order, colours premultiplied by alpha. It is what
/// the window's backing store holds, so painting is a copy.
using Pixel = std::uint32_t;

/// What stands for pixels that never came: grey, as libjpeg shows where its data ended.
inline constexpr Pixel MISSING = 0xff808080;

/// @p pixel, whose colours are not multiplied by its alpha yet.
[[nodiscard]] constexpr Pixel premultiplied(Pixel pixel)
{
    const Pixel alpha = pixel >> 24;
    const auto multiplied = [&](int shift) {
        return ((pixel >> shift & 0xff) * alpha + 127) / 255 << shift;
    };
    return alpha << 24 | multiplied(16) | multiplied(8) | multiplied(0);
}

enum class Alpha : std::uint8_t {
    Opaque,        ///< Every alpha is 0xff.
    Premultiplied, ///< Alpha varies; colours are multiplied by it.
};

/// A picture. Copying shares the pixels, which nobody can change any more; the picture knows the
/// ICC profile that its colours are in (empty: sRGB). The default value is the null image, the
/// one sign of failure that functions making images have.
class Image
{
public:
    Image() = default;

    /// A picture of @p size over @p pixels, whose owner lives as long as the picture or a part of
    /// it does. Rows are @p stride pixels apart.
    Image(std::shared_ptr<const Pixel> pixels, QSize size, std::ptrdiff_t stride, Alpha alpha,
          QByteArray iccProfile = {});

    [[nodiscard]] bool isNull() const { return !m_pixels; }
    [[nodiscard]] int width() const { return m_size.width(); }
    [[nodiscard]] int height() const { return m_size.height(); }
    [[nodiscard]] QSize size() const { return m_size; }
    [[nodiscard]] std::ptrdiff_t stride() const { return m_stride; }
    [[nodiscard]] Alpha alpha() const { return m_alpha; }
    [[nodiscard]] const QByteArray &iccProfile() const { return m_iccProfile; }

    /// The pixels of row @p y, 0 to height − 1.
    [[nodiscard]] const Pixel *row(int y) const { return m_pixels.get() + m_stride * y; }

    /// The part inside @p rect (cut to the picture), sharing the pixels; null when it is empty.
    [[nodiscard]] Image cropped(const QRect &rect) const;

    /// The same pixels said to be in another profile; nothing is converted.
    [[nodiscard]] Image withProfile(QByteArray iccProfile) const;

    /// Whether both are the same picture: the same pixels in memory, not merely equal ones.
    [[nodiscard]] bool isSameAs(const Image &other) const;

private:
    friend class PixelBuffer;

    std::shared_ptr<const Pixel> m_pixels;
    QSize m_size;
    std::ptrdiff_t m_stride = 0;
    Alpha m_alpha = Alpha::Opaque;
    QByteArray m_iccProfile;
};

/// Writable memory for one picture, rows without gaps. Comes zeroed from the system, in huge pages
/// where the system has them: the page faults of a fresh buffer would cost more than filling it.
class PixelBuffer
{
public:
    /// Null when @p size is empty or the system has no memory.
    explicit PixelBuffer(QSize size);

    /// The same of memory that an earlier picture has let go of, where there is such: it holds
    /// anything, and is for those who write every pixel. What large pictures leave is given back to
    /// the system.
    [[nodiscard]] static PixelBuffer recycled(QSize size);

    /// The memory of @p image, which is null then, for whoever is about to change all of its pixels
    /// and is the only one to have them. Null where it is not, or where rows don't follow each
    /// other; the image stays.
    [[nodiscard]] static PixelBuffer takenFrom(Image &image);

    /// Lends recycled() @p blocks of memory, in place of any before: the first of them that is free
    /// and has room for a picture is the first choice. They are never given back.
    static void lend(std::initializer_list<std::span<std::byte>> blocks);

    /// The same memory for a picture of another shape, which has as many pixels.
    [[nodiscard]] PixelBuffer reshaped(QSize size) &&;

    [[nodiscard]] bool isNull() const { return !m_pixels; }
    [[nodiscard]] QSize size() const { return m_size; }
    [[nodiscard]] Pixel *row(int y) { return m_pixels.get() + std::ptrdiff_t{m_size.width()} * y; }

    /// The filled buffer as a picture. The buffer is null afterwards.
    [[nodiscard]] Image toImage(Alpha alpha, QByteArray iccProfile = {}) &&;

private:
    PixelBuffer(std::shared_ptr<Pixel> pixels, QSize size);

    std::shared_ptr<Pixel> m_pixels;
    QSize m_size;
};

} // namespace tavolin
