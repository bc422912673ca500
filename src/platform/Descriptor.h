#pragma once
// What our calls of the operating system's files have in common. Any thread.

#include "platform/Progress.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
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

/// Whether @p error says nothing of the disk, but that a file system can't tell what that has.
[[nodiscard]] inline bool cantTell(int error)
{
    return error == EINVAL || error == ENOSYS || error == ENOTSUP || error == EPERM ||
           error == ESPIPE;
}

/// Whether @p error is the disk's own: it could not take what it was given.
[[nodiscard]] inline bool isOfDisk(int error)
{
    return error == EIO || error == ENOSPC || error == EDQUOT;
}

/// fsync, which on macOS leaves what a disk was given in that disk's own memory, where a power cut
/// ends it; where the file system can do no more, that must do.
inline int fullSync(int descriptor)
{
#ifdef F_FULLFSYNC
    const int result = fcntl(descriptor, F_FULLFSYNC);
    if (result != -1 || isOfDisk(errno))
        return result;
#endif
    return fsync(descriptor);
}

/// Whether the disk has all of @p descriptor's file; errno says why not. Some network file systems
/// can't say; they are believed. Says to @p progress how much the disk has taken, where the system
/// can tell.
inline bool flush(int descriptor, [[maybe_unused]] const Progress &progress = {})
{
#ifdef __linux__
    constexpr off_t PIECE = 4 << 20; // bytes that a slow disk takes within a second or two
    struct stat status = {};
    if (progress && fstat(descriptor, &status) == 0) {
        for (off_t begin = 0; begin < status.st_size; begin += PIECE) {
            constexpr unsigned WRITTEN =
                SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
            // An error is told once: fsync would not see it again.
            if (sync_file_range(descriptor, begin, PIECE, WRITTEN) != 0 && !cantTell(errno))
                return false;
            progress();
        }
    }
#endif
    return fullSync(descriptor) == 0 || cantTell(errno);
}

/// Whether the disk has the names in @p folder, as far as can be told; errno says why not. What it
/// could not take is a failure, and nothing else: the names are there.
inline bool flushFolder(int folder)
{
    return fullSync(folder) == 0 || !isOfDisk(errno);
}

} // namespace tavolin
