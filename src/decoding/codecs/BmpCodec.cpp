#include "decoding/codecs/BmpCodec.h"

#include "decoding/codecs/BmpLayout.h"
#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <array>
#include <bit>
#include <span>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

/// Bytes read at a time, or one row where that has more.
constexpr std::int64_t READ_BYTES = 1 << 18;

/// One of the fields of a pixel.
struct Field
{
    explicit Field(std::uint32_t wanted)
        : mask(wanted), shift(wanted == 0 ? 0 : std::countr_zero(wanted)), most(wanted >> shift)
    {}
    /// The field of @p pixel as 0 to 255, rounded.
    [[nodiscard]] Pixel of(std::uint32_t pixel) const
    {
        if (most == 0)
            return 0;
        return static_cast<Pixel>((std::uint64_t{(pixel & mask) >> shift} * 255 + most / 2) / most);
    }

    std::uint32_t mask;
    int shift;
    std::uint32_t most;
};

/// Makes pixels of rows as they are stored.
class RowConverter
{
public:
    explicit RowConverter(const BmpLayout &layout)
        : m_layout(layout), m_red(layout.masks[0]), m_green(layout.masks[1]),
          m_blue(layout.masks[2]), m_alpha(layout.masks[3])
    {}

    void convert(const std::byte *row, Pixel *out) const
    {
        const int width = m_layout.size.width();
        switch (m_layout.bits) {
        case 16:
            for (int x = 0; x < width; ++x)
                out[x] = packed(qFromLittleEndian<quint16>(row + std::ptrdiff_t{2} * x));
            return;
        case 24:
            for (int x = 0; x < width; ++x, row += 3)
                out[x] = 0xff000000 | level(row[2]) << 16 | level(row[1]) << 8 | level(row[0]);
            return;
        case 32:
            for (int x = 0; x < width; ++x) {
                const auto pixel = qFromLittleEndian<quint32>(row + std::ptrdiff_t{4} * x);
                out[x] = isPixelItself() ? 0xff000000 | pixel : packed(pixel);
            }
            return;
        default:
            for (int x = 0; x < width; ++x)
                out[x] = m_layout.palette[indexAt(row, x)];
        }
    }

private:
    static Pixel level(std::byte byte) { return std::to_integer<Pixel>(byte); }

    [[nodiscard]] bool isPixelItself() const
    {
        return m_layout.masks == std::array<std::uint32_t, 4>{0xff0000, 0xff00, 0xff, 0};
    }

    /// Indices of 1, 2, 4 or 8 bits from the highest bit of each byte.
    [[nodiscard]] std::size_t indexAt(const std::byte *row, int x) const
    {
        const int bit = x * m_layout.bits;
        const int shift = 8 - m_layout.bits - bit % 8;
        return std::to_integer<std::size_t>(row[bit / 8]) >> shift &
               ((std::size_t{1} << m_layout.bits) - 1);
    }

    [[nodiscard]] Pixel packed(std::uint32_t pixel) const
    {
        const Pixel alpha = m_alpha.most == 0 ? 255 : m_alpha.of(pixel);
        const auto covered = [&](const Field &field) {
            return (field.of(pixel) * alpha + 127) / 255;
        };
        return alpha << 24 | covered(m_red) << 16 | covered(m_green) << 8 | covered(m_blue);
    }

    const BmpLayout &m_layout;
    Field m_red;
    Field m_green;
    Field m_blue;
    Field m_alpha;
};

/// Feeds @p sink the rows of a picture without runs. False when there were none.
bool readRows(const SourceFile &file, const BmpLayout &layout, RowSink &sink)
{
    const RowConverter converter(layout);
    const int height = layout.size.height();
    const std::int64_t usedBytes = (std::int64_t{layout.size.width()} * layout.bits + 7) / 8;
    const std::int64_t rowBytes = (usedBytes + 3) / 4 * 4;
    const int most = static_cast<int>(std::max(std::int64_t{1}, READ_BYTES / rowBytes));
    std::vector<std::byte> bytes(static_cast<std::size_t>(rowBytes * std::min(most, height)));
    bool hasRows = false;
    for (int y = 0; y < height && !file.stopToken().stop_requested();) {
        const int rows = std::min(most, height - y);
        const int first = layout.isTopDown ? y : height - y - rows; // of those in the file
        const auto count = static_cast<std::int64_t>(
            file.readAt(layout.pixels + first * rowBytes,
                        std::span(bytes).first(static_cast<std::size_t>(rows * rowBytes))));
        for (const int end = y + rows; y < end; ++y) {
            const std::int64_t begin = ((layout.isTopDown ? y : height - 1 - y) - first) * rowBytes;
            Pixel *const out = sink.nextRow();
            if (begin + usedBytes <= count) {
                converter.convert(bytes.data() + begin, out);
                hasRows = true;
            } else {
                std::fill_n(out, layout.size.width(), MISSING);
            }
            sink.rowDone();
        }
    }
    return hasRows;
}

/// The bytes of a file one after the other.
class ByteStream
{
public:
    ByteStream(const SourceFile &file, std::int64_t offset) : m_file(file), m_offset(offset) {}

    /// The next byte; −1 at the end.
    [[nodiscard]] int next()
    {
        if (m_at == m_count) {
            m_count = m_file.readAt(m_offset, m_bytes);
            m_offset += static_cast<std::int64_t>(m_count);
            m_at = 0;
            if (m_count == 0)
                return -1;
        }
        return std::to_integer<int>(m_bytes[m_at++]);
    }

private:
    const SourceFile &m_file;
    std::int64_t m_offset;
    std::array<std::byte, 1 << 14> m_bytes;
    std::size_t m_at = 0;
    std::size_t m_count = 0;
};

/// Unpacks RLE4 and RLE8 to one index a pixel. What the runs jump over has index 0, as every
/// program shows it.
class RunReader
{
public:
    RunReader(const SourceFile &file, const BmpLayout &layout)
        : m_stream(file, layout.pixels), m_width(layout.size.width()),
          m_height(layout.size.height()), m_isNibbles(layout.bits == 4),
          m_indices(static_cast<std::size_t>(pixelCount(layout.size)))
    {}

    /// Reads to the end of the picture, or of the file; false when that has nothing.
    [[nodiscard]] bool read()
    {
        while (m_y < m_height && readCode()) {
        }
        return m_isComplete || m_y > 0 || m_x > 0;
    }

    /// The indices of row @p y of those stored.
    [[nodiscard]] const std::uint8_t *row(int y) const
    {
        return m_indices.data() + std::ptrdiff_t{y} * m_width;
    }

    /// How many pixels of it there are.
    [[nodiscard]] int pixelsOf(int y) const
    {
        return m_isComplete || y < m_y ? m_width : y == m_y ? std::min(m_x, m_width) : 0;
    }

private:
    /// False at the end.
    bool readCode()
    {
        const int count = m_stream.next();
        const int value = m_stream.next();
        if (value < 0)
            return false;
        if (count > 0) {
            for (int i = 0; i < count; ++i)
                put(!m_isNibbles ? value : i % 2 == 0 ? value >> 4 : value & 15);
            return true;
        }
        switch (value) {
        case 0: // end of the row
            m_x = 0;
            ++m_y;
            return true;
        case 1: // end of the picture
            m_isComplete = true;
            return false;
        case 2:
            return jump();
        default:
            return readPixels(value);
        }
    }

    bool jump()
    {
        const int right = m_stream.next();
        const int down = m_stream.next();
        if (down < 0)
            return false;
        m_x = std::min(m_x + right, m_width); // what would follow there lies outside
        m_y += down;
        return true;
    }

    bool readPixels(int count)
    {
        int value = 0;
        for (int i = 0; i < count; ++i) {
            if (!m_isNibbles || i % 2 == 0)
                value = m_stream.next();
            if (value < 0)
                return false;
            put(!m_isNibbles ? value : i % 2 == 0 ? value >> 4 : value & 15);
        }
        // Each such sequence has an even number of bytes.
        const int bytes = m_isNibbles ? (count + 1) / 2 : count;
        return bytes % 2 == 0 || m_stream.next() >= 0;
    }

    void put(int index)
    {
        if (m_x < m_width)
            m_indices[static_cast<std::size_t>(m_y) * static_cast<std::size_t>(m_width) +
                      static_cast<std::size_t>(m_x++)] = static_cast<std::uint8_t>(index);
    }

    ByteStream m_stream;
    int m_width;
    int m_height;
    bool m_isNibbles;
    std::vector<std::uint8_t> m_indices;
    int m_x = 0; // of the next pixel
    int m_y = 0;
    bool m_isComplete = false;
};

/// Feeds @p sink the rows of a picture of runs. These begin at the bottom, so it is held whole, a
/// byte a pixel. False when there were none.
bool readRuns(const SourceFile &file, const BmpLayout &layout, RowSink &sink)
{
    if (!isWithinLimits(layout.size, 1))
        return false;
    RunReader reader(file, layout);
    if (!reader.read())
        return false;
    const int width = layout.size.width();
    const int height = layout.size.height();
    for (int y = 0; y < height; ++y) {
        const int stored = layout.isTopDown ? y : height - 1 - y;
        const int count = reader.pixelsOf(stored);
        const std::uint8_t *const indices = reader.row(stored);
        Pixel *const out = sink.nextRow();
        std::transform(indices, indices + count, out,
                       [&layout](std::uint8_t index) { return layout.palette[index]; });
        std::fill(out + count, out + width, MISSING);
        sink.rowDone();
    }
    return true;
}

} // namespace

ScaledPicture decodeBmp(const SourceFile &file, const SizeRule &rule)
{
    FieldReader fields(file);
    auto layout = readBmpLayout(fields);
    if (!layout)
        return {};
    RowSink sink(layout->size, rule.sizesOf(layout->size));
    if (!sink.isReady() || !(layout->hasRuns ? readRuns : readRows)(file, *layout, sink) ||
        file.stopToken().stop_requested())
        return {};
    const bool hasAlpha = layout->bits >= 16 && layout->masks[3] != 0;
    return std::move(sink).takePicture(hasAlpha ? Alpha::Premultiplied : Alpha::Opaque,
                                       std::move(layout->iccProfile));
}

} // namespace tavolin
