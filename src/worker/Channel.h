#pragma once
// Bytes and descriptors over a stream socket. Free functions for any thread; they wait where the
// socket is one that waits.

#include "platform/Descriptor.h"

#include <QByteArray>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>

#include <sys/socket.h>

namespace tavolin::worker {

#ifdef MSG_NOSIGNAL
inline constexpr int SEND_FLAGS = MSG_NOSIGNAL;
#else
inline constexpr int SEND_FLAGS = 0; // the socket itself is told to send no signal
#endif

/// What one call got through: a number of bytes, 0 at the stream's end; empty when it failed, for
/// a reason that errno tells.
using Progress = std::optional<std::size_t>;

namespace detail {

template <typename Call>
Progress uninterrupted(Call call)
{
    ssize_t count = -1;
    do
        count = call();
    while (count < 0 && errno == EINTR);
    return count < 0 ? std::nullopt : Progress(static_cast<std::size_t>(count));
}

} // namespace detail

/// Sends some of @p bytes, with a copy of @p descriptor unless that is below 0.
inline Progress sendSome(int socket, std::span<const std::byte> bytes, int descriptor = -1)
{
    iovec block{const_cast<std::byte *>(bytes.data()), bytes.size()};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    return detail::uninterrupted([&] { return sendmsg(socket, &message, SEND_FLAGS); });
}

/// Receives some bytes into @p bytes. A descriptor that comes along is closed by the system.
inline Progress receiveSome(int socket, std::span<std::byte> bytes)
{
    return detail::uninterrupted([&] { return recv(socket, bytes.data(), bytes.size(), 0); });
}

/// The same where one descriptor may come along, which goes to @p descriptor.
inline Progress receiveSome(int socket, std::span<std::byte> bytes, Descriptor &descriptor)
{
    iovec block{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const Progress progress = detail::uninterrupted([&] { return recvmsg(socket, &message, 0); });
    if (const cmsghdr *header = progress ? CMSG_FIRSTHDR(&message) : nullptr;
        header && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS) {
        int received = -1;
        std::memcpy(&received, CMSG_DATA(header), sizeof received);
        descriptor = Descriptor(received);
    }
    return progress;
}

/// Sends all of @p bytes over a socket that waits; false when the other side is gone.
inline bool sendAll(int socket, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const Progress progress = sendSome(socket, bytes);
        if (!progress)
            return false;
        bytes = bytes.subspan(*progress);
    }
    return true;
}

/// Fills @p bytes from a socket that waits, and @p descriptor where one comes along; false at the
/// stream's end.
inline bool receiveAll(int socket, std::span<std::byte> bytes, Descriptor &descriptor)
{
    while (!bytes.empty()) {
        const Progress progress = receiveSome(socket, bytes, descriptor);
        if (!progress || *progress == 0)
            return false;
        bytes = bytes.subspan(*progress);
    }
    return true;
}

inline std::span<std::byte> bytesOf(QByteArray &block)
{
    return std::as_writable_bytes(std::span(block.data(), static_cast<std::size_t>(block.size())));
}
inline std::span<const std::byte> bytesOf(const QByteArray &block)
{
    return std::as_bytes(std::span(block.constData(), static_cast<std::size_t>(block.size())));
}

/// The bytes of @p value, a struct of the protocol.
template <typename Struct>
std::span<std::byte> bytesOf(Struct &value)
{
    return std::as_writable_bytes(std::span(&value, 1));
}
template <typename Struct>
std::span<const std::byte> bytesOf(const Struct &value)
{
    return std::as_bytes(std::span(&value, 1));
}

} // namespace tavolin::worker
