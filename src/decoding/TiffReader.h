#pragma once
// The directories of a TIFF stream: of a TIFF or raw file, or of the EXIF block inside another one
// (TIFF 6.0, section 2; BigTIFF; EXIF 2.32, 4.6). Nothing in the stream is believed: what points
// outside of it or back to where the reader has been counts as absent.

#include "decoding/FieldReader.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tavolin {

/// One entry of a directory. Says where its values are; whether they are is found out on reading.
struct TiffEntry
{
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint64_t count = 0;
    std::int64_t offset = 0; ///< Of the first value from the start of the stream, bytes.

    /// Of all its values, in bytes; 0 for a type that does not exist, the largest number where no
    /// number is large enough.
    [[nodiscard]] std::uint64_t length() const;
};

struct TiffDirectory
{
    std::vector<TiffEntry> entries;
    std::int64_t next = 0; ///< Offset of the next directory of the chain; 0: none.

    /// The first entry of this tag, or null.
    [[nodiscard]] const TiffEntry *find(std::uint16_t tag) const;
};

/// Reads a stream of a FieldReader, which must outlive it.
class TiffReader
{
public:
    /// The stream from byte @p begin of the file to @p end, whose header may also be that of a
    /// BigTIFF or of the raw formats ORF and RW2. Empty when it is none of them.
    [[nodiscard]] static std::optional<TiffReader> open(FieldReader &fields, std::int64_t begin,
                                                        std::int64_t end);

    /// A reader of what follows byte @p begin of the file up to the end of this stream: offsets
    /// count from there, there is no header, and the directories given are counted anew. A maker
    /// note is read so.
    [[nodiscard]] TiffReader from(std::int64_t begin, bool isBigEndian) const;

    /// Where the stream begins in the file: offsets count from there.
    [[nodiscard]] std::int64_t begin() const { return m_begin; }
    [[nodiscard]] bool isBigEndian() const { return m_isBigEndian; }
    /// Whether numbers of entries, counts and offsets have eight bytes.
    [[nodiscard]] bool isBigTiff() const { return m_isBigTiff; }

    /// Offset of the first directory, IFD0.
    [[nodiscard]] std::int64_t first() const { return m_first; }

    /// The directory at @p offset, as far as it is there. Each is given once and is empty from then
    /// on, and at most 64 are: a walk that follows every pointer ends.
    [[nodiscard]] TiffDirectory directory(std::int64_t offset);

    /// The directory that @p pointer's value leads to; empty when there is none.
    [[nodiscard]] TiffDirectory directory(const TiffEntry *pointer);

    /// The value number @p index of @p entry. Empty when the entry is null, is no SHORT, LONG,
    /// LONG8 or directory pointer, or has no such value.
    [[nodiscard]] std::optional<std::uint64_t> integer(const TiffEntry *entry,
                                                       std::uint64_t index = 0);

    /// The text of an ASCII @p entry up to its terminator, at most @p limit bytes (up to
    /// FieldReader::CAPACITY). Empty when the entry is null, of another type or outside the stream.
    [[nodiscard]] QByteArray text(const TiffEntry *entry, std::size_t limit);

private:
    TiffReader(FieldReader &fields, std::int64_t begin, std::int64_t end)
        : m_fields(&fields), m_begin(begin), m_end(end)
    {}

    template <typename T>
    [[nodiscard]] T number(ByteSpan bytes, std::size_t at) const;
    /// An offset or count, whose size depends on the kind of the stream.
    [[nodiscard]] std::uint64_t word(ByteSpan bytes, std::size_t at) const;
    [[nodiscard]] ByteSpan bytes(std::int64_t offset, std::size_t count);
    [[nodiscard]] TiffEntry parsed(ByteSpan entry, std::int64_t offset) const;

    FieldReader *m_fields;
    std::int64_t m_begin;
    std::int64_t m_end;
    bool m_isBigEndian = false;
    bool m_isBigTiff = false;
    bool m_hasHeader = true; // at offset 0, where no directory is then
    std::int64_t m_first = 0;
    std::vector<std::int64_t> m_visited;
};

/// Hands @p first, the directories chained to it and the sub-directories of all to @p use, each
/// once.
void walkDirectories(TiffReader &tiff, const TiffDirectory &first,
                     const std::function<void(const TiffDirectory &)> &use);

} // namespace tavolin
