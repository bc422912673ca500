#include "pixels/Image.h"

#include <QtGlobal>

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include <sys/mman.h>

namespace tavolin {

namespace {

struct Block
{
    void *memory = nullptr; // as mapped
    std::size_t bytes = 0;
};

struct Lent
{
    Block block;
    bool isFree = true;
};

/// Zeroed memory, straight from the system: it goes back there when the last picture lets go,
/// whatever the heap's state. Null on lack of memory.
void *mapMemory(std::size_t bytes)
{
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(memory, bytes, MADV_HUGEPAGE);
#endif
    return memory;
}

/// Blocks that pictures for the screen have let go of and the next ones will want. Any thread.
class Recycling
{
public:
    Recycling() { m_blocks.reserve(MAX_BLOCKS); }

    void lend(std::vector<Lent> blocks)
    {
        const std::lock_guard lock(m_mutex);
        m_lent = std::move(blocks);
    }

    /// What was lent, or the newest block that is not much larger than @p bytes; null without one.
    Block take(std::size_t bytes)
    {
        const std::lock_guard lock(m_mutex);
        for (Lent &lent : m_lent) {
            if (lent.isFree && bytes <= lent.block.bytes) {
                lent.isFree = false;
                return lent.block;
            }
        }
        const auto fits = [bytes](const Block &block) {
            return block.bytes >= bytes && block.bytes - bytes <= bytes / 4;
        };
        const auto found = std::find_if(m_blocks.rbegin(), m_blocks.rend(), fits);
        if (found == m_blocks.rend())
            return {};
        const Block block = *found;
        m_blocks.erase(std::next(found).base());
        return block;
    }

    void giveBack(Block block) noexcept
    {
        // Giving it to the system takes time, for which nobody is to wait.
        if (const Block old = keep(block); old.memory)
            munmap(old.memory, old.bytes);
    }

private:
    /// The block that is too much then; null if none is.
    Block keep(Block block) noexcept
    {
        const std::lock_guard lock(m_mutex);
        for (Lent &lent : m_lent) {
            if (block.memory == lent.block.memory) {
                lent.isFree = true;
                return {};
            }
        }
        if (block.bytes > MAX_BLOCK_BYTES)
            return block;
        Block old;
        if (m_blocks.size() == MAX_BLOCKS) { // the oldest is the least likely to be wanted
            old = m_blocks.front();
            m_blocks.erase(m_blocks.begin());
        }
        m_blocks.push_back(block);
        return old;
    }

    static constexpr std::size_t MAX_BLOCKS = 2; // a display picture and its rendition
    static constexpr std::size_t MAX_BLOCK_BYTES = std::size_t{32} << 20;

    std::mutex m_mutex;
    std::vector<Block> m_blocks; // oldest first
    std::vector<Lent> m_lent;
};

/// Never destroyed: pictures may outlive everything.
Recycling &recycling()
{
    static auto &made = *new Recycling;
    return made;
}

std::size_t pixelBytes(QSize size)
{
    return static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()) *
           sizeof(Pixel);
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

PixelBuffer::PixelBuffer(std::shared_ptr<Pixel> pixels, QSize size)
    : m_pixels(std::move(pixels)), m_size(m_pixels ? size : QSize())
{}

PixelBuffer::PixelBuffer(QSize size)
{
    const std::size_t bytes = size.isEmpty() ? 0 : pixelBytes(size);
    if (void *memory = bytes > 0 ? mapMemory(bytes) : nullptr) {
        m_pixels = {static_cast<Pixel *>(memory),
                    [bytes](Pixel *pixels) { munmap(pixels, bytes); }};
        m_size = size;
    }
}

PixelBuffer PixelBuffer::recycled(QSize size)
{
    const std::size_t bytes = size.isEmpty() ? 0 : pixelBytes(size);
    if (bytes == 0)
        return PixelBuffer(QSize());
    Block block = recycling().take(bytes);
    if (!block.memory)
        block = {mapMemory(bytes), bytes};
    if (!block.memory)
        return PixelBuffer(QSize());
    return {{static_cast<Pixel *>(block.memory), [block](Pixel *) { recycling().giveBack(block); }},
            size};
}

PixelBuffer PixelBuffer::takenFrom(Image &image)
{
    if (image.m_pixels.use_count() != 1 || image.stride() != image.width())
        return PixelBuffer(QSize());
    PixelBuffer result(std::const_pointer_cast<Pixel>(image.m_pixels), image.size());
    image = {};
    return result;
}

void PixelBuffer::lend(std::initializer_list<std::span<std::byte>> blocks)
{
    std::vector<Lent> lent;
    for (const std::span<std::byte> memory : blocks)
        lent.push_back({{memory.data(), memory.size()}, true});
    recycling().lend(std::move(lent));
}

PixelBuffer PixelBuffer::reshaped(QSize size) &&
{
    Q_ASSERT(pixelBytes(size) == pixelBytes(m_size));
    m_size = {};
    return {std::exchange(m_pixels, nullptr), size};
}

Image PixelBuffer::toImage(Alpha alpha, QByteArray iccProfile) &&
{
    if (isNull())
        return {};
    const QSize size = std::exchange(m_size, {});
    return {std::exchange(m_pixels, nullptr), size, size.width(), alpha, std::move(iccProfile)};
}

} // namespace tavolin
