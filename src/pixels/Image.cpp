#include "pixels/Image.h"

#include <QtGlobal>

#include <new>
#include <utility>

#include <sys/mman.h>

namespace tavolin {

namespace {

/// Zeroed memory for @p count pixels, straight from the system: it goes back there when the last
/// picture lets go, whatever the heap's state. Null on lack of memory.
std::shared_ptr<Pixel> allocatePixels(std::size_t count)
{
    const std::size_t bytes = count * sizeof(Pixel);
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(memory, bytes, MADV_HUGEPAGE);
#endif
    return {static_cast<Pixel *>(memory), [bytes](Pixel *pixels) { munmap(pixels, bytes); }};
}

} // namespace

Image::Image(std::shared_ptr<const Pixel> pixels, QSize size, std::ptrdiff_t stride, Alpha alpha,
             QByteArray iccProfile)
    : m_pixels(std::move(pixels)), m_size(size), m_stride(stride), m_alpha(alpha),
      m_iccProfile(std::move(iccProfile))
{
    Q_ASSERT(m_pixels && !size.isEmpty() && stride >= size.width());
}

Image Image::cropped(const QRect &rect) const
{
    const QRect part = rect & QRect(QPoint(0, 0), m_size);
    if (isNull() || part.isEmpty())
        return {};
    Image result = *this;
    result.m_pixels = {m_pixels, m_pixels.get() + m_stride * part.y() + part.x()};
    result.m_size = part.size();
    return result;
}

Image Image::withProfile(QByteArray iccProfile) const
{
    Image result = *this;
    result.m_iccProfile = std::move(iccProfile);
    return result;
}

bool Image::isSameAs(const Image &other) const
{
    return m_pixels == other.m_pixels && m_size == other.m_size && m_stride == other.m_stride;
}

PixelBuffer::PixelBuffer(QSize size)
{
    if (size.isEmpty())
        return;
    m_pixels = allocatePixels(static_cast<std::size_t>(size.width()) *
                              static_cast<std::size_t>(size.height()));
    if (m_pixels)
        m_size = size;
}

Image PixelBuffer::toImage(Alpha alpha, QByteArray iccProfile) &&
{
    if (isNull())
        return {};
    const QSize size = std::exchange(m_size, {});
    return {std::exchange(m_pixels, nullptr), size, size.width(), alpha, std::move(iccProfile)};
}

} // namespace tavolin
