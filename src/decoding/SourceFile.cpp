#include "decoding/SourceFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavolin {

std::optional<SourceFile> SourceFile::open(const std::filesystem::path &path, std::stop_token stop)
{
    int descriptor = -1;
    do
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return std::nullopt;
    // Owns the descriptor from here on, whatever it turns out to be.
    SourceFile file(descriptor, {}, 0, std::move(stop));
    struct stat status
    {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > MAX_BYTES)
        return std::nullopt;
    file.m_size = status.st_size;
    return file;
}

SourceFile SourceFile::fromBytes(QByteArray bytes, std::stop_token stop)
{
    const std::int64_t size = bytes.size();
    return {-1, std::move(bytes), size, std::move(stop)};
}

SourceFile::SourceFile(int descriptor, QByteArray bytes, std::int64_t size, std::stop_token stop)
    : m_descriptor(descriptor), m_bytes(std::move(bytes)), m_size(size), m_stop(std::move(stop))
{}

SourceFile::SourceFile(SourceFile &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_bytes(std::move(other.m_bytes)),
      m_size(std::exchange(other.m_size, 0)), m_stop(std::move(other.m_stop))
{}

SourceFile &SourceFile::operator=(SourceFile &&other) noexcept
{
    // The other one closes what was open here.
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_size, other.m_size);
    std::swap(m_stop, other.m_stop);
    return *this;
}

SourceFile::~SourceFile()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

std::size_t SourceFile::readAt(std::int64_t offset, std::span<std::byte> out) const
{
    if (offset < 0 || offset >= m_size || m_stop.stop_requested())
        return 0;
    const std::size_t wanted = std::min(out.size(), static_cast<std::size_t>(m_size - offset));
    if (m_descriptor < 0) {
        if (wanted > 0)
            std::memcpy(out.data(), m_bytes.constData() + offset, wanted);
        return wanted;
    }
    std::size_t done = 0;
    while (done < wanted) {
        const ssize_t count = pread(m_descriptor, out.data() + done, wanted - done,
                                    static_cast<off_t>(offset) + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

QByteArray SourceFile::bytesAt(std::int64_t offset, std::int64_t count) const
{
    if (offset < 0 || offset >= m_size || count <= 0)
        return {};
    QByteArray bytes(static_cast<qsizetype>(std::min(count, m_size - offset)), Qt::Uninitialized);
    const auto done = readAt(offset, std::as_writable_bytes(std::span(bytes.data(), bytes.size())));
    bytes.truncate(static_cast<qsizetype>(done));
    return bytes;
}

} // namespace tavolin
