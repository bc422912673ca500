#pragma once
// The one way to a file's bytes: opened once, read by position. Decoders get a SourceFile and never
// a path, and none maps the file (a file that shrinks under a mapping kills the process).

#include "platform/Descriptor.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <stop_token>

namespace tavolin {

/// An open regular file, a part of one, or bytes in memory standing in for one. Movable, not
/// copyable; one thread at a time.
class SourceFile
{
public:
    /// Larger files are refused: no picture format here reaches it, and offsets stay far from
    /// overflow.
    static constexpr std::int64_t MAX_BYTES = std::int64_t{4} << 30;

    /// Opens @p path for reading, as openRegularFile() does. Empty when it can't be opened or is
    /// larger than MAX_BYTES. Once @p stop is requested every read gives nothing, so a decode that
    /// nobody waits for any more ends soon.
    [[nodiscard]] static std::optional<SourceFile> open(const std::filesystem::path &path,
                                                        std::stop_token stop = {});

    /// Reads the regular file of @p size bytes that @p descriptor has open; whoever opened it has
    /// looked. Empty where it has none, and for a size above MAX_BYTES or below 0.
    [[nodiscard]] static std::optional<SourceFile>
    fromDescriptor(Descriptor descriptor, std::int64_t size, std::stop_token stop = {});

    /// Serves @p bytes as if they were a file.
    [[nodiscard]] static SourceFile fromBytes(QByteArray bytes, std::stop_token stop = {});

    /// The @p count bytes of this file at @p offset, or as many as there are, as a file of their
    /// own: nothing is copied, and each read is one of this file, which must outlive the part and
    /// stay where it is.
    [[nodiscard]] SourceFile part(std::int64_t offset, std::int64_t count) const;

    SourceFile(SourceFile &&other) noexcept;
    SourceFile &operator=(SourceFile &&other) noexcept;
    SourceFile(const SourceFile &) = delete;
    SourceFile &operator=(const SourceFile &) = delete;
    ~SourceFile() = default;

    /// Bytes in the file when it was opened.
    [[nodiscard]] std::int64_t size() const { return m_size; }

    /// Reads up to out.size() bytes at @p offset and returns how many came: fewer at the end of
    /// the file, none beyond it, on a read error or after a stop request.
    std::size_t readAt(std::int64_t offset, std::span<std::byte> out) const;

    /// The bytes at @p offset, @p count of them or as many as there are.
    [[nodiscard]] QByteArray bytesAt(std::int64_t offset, std::int64_t count) const;

    [[nodiscard]] const std::stop_token &stopToken() const { return m_stop; }

private:
    SourceFile(Descriptor descriptor, QByteArray bytes, std::int64_t size, std::stop_token stop);

    Descriptor m_descriptor; // none when the bytes are in memory
    QByteArray m_bytes;
    const SourceFile *m_whole = nullptr; // what this is a part of
    std::int64_t m_begin = 0;            // of the part in it
    std::int64_t m_size = 0;
    std::stop_token m_stop;
};

} // namespace tavolin
