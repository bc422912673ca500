#include "decoding/SourceFile.h"

#include "platform/RegularFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace tavolin {

std::optional<SourceFile> SourceFile::open(const std::filesystem::path &path, std::stop_token stop)
{
    auto file = openRegularFile(path);
    return file ? fromDescriptor(std::move(file->descriptor), file->size, std::move(stop))
                : std::nullopt;
}

std::optional<SourceFile> SourceFile::fromDescriptor(Descriptor descriptor, std::int64_t size,
                                                     std::stop_token stop)
{
    if (descriptor.get() < 0 || size < 0 || size > MAX_BYTES)
        return std::nullopt;
    return SourceFile(std::move(descriptor), {}, size, std::move(stop));
}

SourceFile SourceFile::fromBytes(QByteArray bytes, std::stop_token stop)
{
    const std::int64_t size = bytes.size();
    return {Descriptor(-1), std::move(bytes), size, std::move(stop)};
}

SourceFile SourceFile::part(std::int64_t offset, std::int64_t count) const
{
    SourceFile result(Descriptor(-1), {}, 0, m_stop);
    if (offset < 0 || offset >= m_size || count <= 0)
        return result;
    result.m_whole = this;
    result.m_begin = offset;
    result.m_size = std::min(count, m_size - offset);
    return result;
}

SourceFile::SourceFile(Descriptor descriptor, QByteArray bytes, std::int64_t size,
                       std::stop_token stop)
    : m_descriptor(std::move(descriptor)), m_bytes(std::move(bytes)), m_size(size),
      m_stop(std::move(stop))
{}

SourceFile::SourceFile(SourceFile &&other) noexcept
    : m_descriptor(std::move(other.m_descriptor)), m_bytes(std::move(other.m_bytes)),
      m_whole(other.m_whole), m_begin(other.m_begin), m_size(std::exchange(other.m_size, 0)),
      m_stop(std::move(other.m_stop))
{}

SourceFile &SourceFile::operator=(SourceFile &&other) noexcept
{
    // The other one closes what was open here.
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_whole, other.m_whole);
    std::swap(m_begin, other.m_begin);
    std::swap(m_size, other.m_size);
    std::swap(m_stop, other.m_stop);
    return *this;
}

std::size_t SourceFile::readAt(std::int64_t offset, std::span<std::byte> out) const
{
    if (offset < 0 || offset >= m_size || m_stop.stop_requested())
        return 0;
    const std::size_t wanted = std::min(out.size(), static_cast<std::size_t>(m_size - offset));
    if (m_whole)
        return m_whole->readAt(m_begin + offset, out.first(wanted));
    if (m_descriptor.get() < 0) {
        if (wanted > 0)
            std::memcpy(out.data(), m_bytes.constData() + offset, wanted);
        return wanted;
    }
    std::size_t done = 0;
    while (done < wanted) {
        const ssize_t count = pread(m_descriptor.get(), out.data() + done, wanted - done,
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
    const auto done = readAt(offset, std::as_writable_bytes(std::span(
                                         bytes.data(), static_cast<std::size_t>(bytes.size()))));
    bytes.truncate(static_cast<qsizetype>(done));
    return bytes;
}

} // namespace tavolin
