#pragma once
// The way to open a file that somebody else has put there. Any thread.

#include "platform/Descriptor.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>

namespace tavolin {

/// A regular file open for reading, and its size.
struct RegularFile
{
    Descriptor descriptor;
    std::int64_t size = 0; ///< In bytes, when it was opened.
};

/// Opens @p path for reading. Symbolic links are followed; what they lead to must be a regular file
/// (a FIFO or a device is refused, without waiting for a writer). Empty when it can't be opened.
[[nodiscard]] inline std::optional<RegularFile> openRegularFile(const std::filesystem::path &path)
{
    int opened = -1;
    do
        opened = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    while (opened < 0 && errno == EINTR);
    // Owns what was opened from here on, whatever it turns out to be.
    Descriptor descriptor(opened);
    struct stat status
    {};
    if (descriptor.get() < 0 || fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return RegularFile{std::move(descriptor), status.st_size};
}

} // namespace tavolin
