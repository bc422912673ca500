#pragma once
// Bytes of picture files for tests, put together field by field.

#include <QByteArray>

#include <cstdint>
#include <string_view>
#include <vector>

namespace tavolin::test {

enum class ByteOrder { Little, Big };

/// Grows a QByteArray; every call returns the object, so that calls chain.
class FileBytes
{
public:
    explicit FileBytes(ByteOrder order = ByteOrder::Big) : m_order(order) {}

    FileBytes &u8(std::uint64_t value) { return number(value, 1); }
    FileBytes &u16(std::uint64_t value) { return number(value, 2); }
    FileBytes &u32(std::uint64_t value) { return number(value, 4); }
    FileBytes &u64(std::uint64_t value) { return number(value, 8); }
    FileBytes &text(std::string_view text)
    {
        m_bytes.append(text.data(), static_cast<qsizetype>(text.size()));
        return *this;
    }
    FileBytes &append(const QByteArray &bytes)
    {
        m_bytes.append(bytes);
        return *this;
    }
    FileBytes &zeros(qsizetype count) { return append(QByteArray(count, '\0')); }

    [[nodiscard]] const QByteArray &bytes() const { return m_bytes; }

private:
    FileBytes &number(std::uint64_t value, int size)
    {
        for (int i = 0; i < size; ++i) {
            const int shift = 8 * (m_order == ByteOrder::Big ? size - 1 - i : i);
            m_bytes.append(static_cast<char>(value >> shift & 0xff));
        }
        return *this;
    }

    ByteOrder m_order;
    QByteArray m_bytes;
};

constexpr std::uint16_t ASCII = 2;
constexpr std::uint16_t SHORT = 3;
constexpr std::uint16_t LONG = 4;

/// An entry of a TIFF directory; @p value is a number that fits, or an offset.
struct Field
{
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::uint32_t value;
};

/// A directory and the offset of the next one.
inline QByteArray directory(ByteOrder order, const std::vector<Field> &fields,
                            std::uint32_t next = 0)
{
    FileBytes bytes(order);
    bytes.u16(fields.size());
    for (const Field &field : fields) {
        bytes.u16(field.tag).u16(field.type).u32(field.count);
        if (field.type == SHORT && field.count == 1)
            bytes.u16(field.value).u16(0);
        else
            bytes.u32(field.value);
    }
    return bytes.u32(next).bytes();
}

/// The eight bytes before the first directory, which follows at once.
inline QByteArray tiffHead(ByteOrder order, std::uint16_t magic = 42)
{
    FileBytes bytes(order);
    return bytes.text(order == ByteOrder::Big ? "MM" : "II").u16(magic).u32(8).bytes();
}

/// A TIFF stream of one directory, at offset 8.
inline QByteArray tiff(ByteOrder order, const std::vector<Field> &fields, std::uint32_t next = 0)
{
    return tiffHead(order) + directory(order, fields, next);
}

/// A TIFF stream that says only the orientation.
inline QByteArray exifBlock(std::uint32_t orientation, std::uint16_t type = SHORT)
{
    return tiff(ByteOrder::Big, {{0x0112, type, 1, orientation}});
}

/// An EXIF segment of a JPEG around @p block.
inline QByteArray exifSegment(const QByteArray &block)
{
    FileBytes bytes;
    bytes.u16(0xffe1).u16(static_cast<std::uint64_t>(block.size()) + 8);
    return bytes.text({"Exif\0\0", 6}).append(block).bytes();
}

/// A JPEG's beginning: @p segments, then the frame header.
inline QByteArray jpeg(int width, int height, const QByteArray &segments = {},
                       unsigned frameMarker = 0xc0)
{
    FileBytes bytes;
    bytes.u16(0xffd8).append(segments).u8(0xff).u8(frameMarker).u16(11).u8(8);
    bytes.u16(static_cast<std::uint64_t>(height)).u16(static_cast<std::uint64_t>(width));
    return bytes.u8(1).u8(1).u8(0x11).u8(0).u16(0xffda).bytes();
}

/// A chunk of a PNG. The checksum is left 0; header readers don't look at it.
inline QByteArray pngChunk(std::string_view type, const QByteArray &content)
{
    FileBytes bytes;
    bytes.u32(static_cast<std::uint64_t>(content.size())).text(type).append(content);
    return bytes.u32(0).bytes();
}

/// A PNG with @p chunks between header and end.
inline QByteArray png(std::uint32_t width, std::uint32_t height, const QByteArray &chunks = {})
{
    const QByteArray header =
        FileBytes().u32(width).u32(height).u8(8).u8(2).u8(0).u8(0).u8(0).bytes();
    return QByteArray("\x89PNG\r\n\x1a\n") + pngChunk("IHDR", header) + chunks +
           pngChunk("IEND", {});
}

/// A box of an ISO media file.
inline QByteArray box(std::string_view type, const QByteArray &content)
{
    FileBytes bytes;
    bytes.u32(static_cast<std::uint64_t>(content.size()) + 8).text(type);
    return bytes.append(content).bytes();
}

inline QByteArray fullBox(std::string_view type, std::uint32_t versionAndFlags,
                          const QByteArray &content)
{
    return box(type, FileBytes().u32(versionAndFlags).append(content).bytes());
}

} // namespace tavolin::test
