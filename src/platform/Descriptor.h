#pragma once
// What our calls of the operating system's files have in common. Any thread.

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace tavolin {

/// An open file descriptor, or one below 0 that is none; closed in the end. Movable, not copyable.
class Descriptor
{
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor &&other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        // The other one closes what was open here.
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    [[nodiscard]] int get() const { return m_descriptor; }

    /// False when what was written before turns out to have failed.
    bool close()
    {
        const int descriptor = std::exchange(m_descriptor, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_descriptor;
};

/// Whether the disk has all of @p descriptor's file; errno says why not. Some network file systems
/// can't say; they are believed.
inline bool flush(int descriptor)
{
    return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS;
}

} // namespace tavolin
