#include "decoding/codecs/TiffCodec.h"

#include "decoding/codecs/TiffFile.h"
#include "decoding/codecs/TiffPixels.h"
#include "decoding/color/Color.h"
#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Rows of uncompressed strips are read that many bytes at a time, or one by one where they are
/// longer.
constexpr std::int64_t READ_BYTES = 1 << 18;

/// Strips of up to that many bytes are unpacked whole.
constexpr std::int64_t STRIP_BYTES = 4 << 20;

/// Fills @p bytes, as codecs that find too little leave the rest as it was and say nothing: with
/// grey, in numbers of 8 and 16 bits, or else with zeros.
void clear(Bytes &bytes, const TiffLayout &layout)
{
    std::fill(bytes.begin(), bytes.end(), layout.bits < 8 ? 0 : 0x80);
}

/// Gives the rows of one plane of strips, in order. What fails is missing to the end of its strip.
class StripRows
{
public:
    StripRows(const SourceFile &file, TIFF *tiff, const TiffLayout &layout, int plane)
        : m_file(file), m_tiff(tiff), m_layout(layout), m_plane(plane),
          m_rowBytes(static_cast<std::int64_t>(TIFFScanlineSize64(tiff)))
    {
        const std::int64_t stripBytes = m_rowBytes * layout.block.height();
        m_isPlain = layout.compression == COMPRESSION_NONE;
        m_unpacksStrips = !m_isPlain && stripBytes <= STRIP_BYTES;
        m_rows.resize(static_cast<std::size_t>(m_unpacksStrips ? stripBytes
                                               : m_isPlain     ? std::max(m_rowBytes, READ_BYTES)
                                                               : m_rowBytes));
    }

    /// Row @p y, valid until the next call; null when it is missing.
    [[nodiscard]] const std::uint8_t *row(int y)
    {
        if (y >= m_firstRow + m_heldRows) {
            m_firstRow = y;
            m_heldRows = m_isPlain ? readRows(y) : m_unpacksStrips ? unpackStrip(y) : unpackRow(y);
        }
        return m_heldRows > 0 ? m_rows.data() + (y - m_firstRow) * m_rowBytes : nullptr;
    }

private:
    /// A whole strip, which some codecs do faster than row by row. How far one that is broken came
    /// nobody knows, so from there on it goes by rows, beginning anew.
    int unpackStrip(int y)
    {
        clear(m_rows, m_layout);
        const tmsize_t count = TIFFReadEncodedStrip(m_tiff, stripOf(y), m_rows.data(),
                                                    static_cast<tmsize_t>(m_rows.size()));
        const int rows = std::min(m_layout.block.height(), m_layout.size.height() - y);
        if (count >= rows * m_rowBytes)
            return rows;
        m_unpacksStrips = false;
        m_own.emplace(m_file);
        m_tiff = m_own->handle();
        m_rows.resize(static_cast<std::size_t>(m_rowBytes));
        return unpackRow(y);
    }

    int unpackRow(int y)
    {
        const int strip = y / m_layout.block.height();
        if (strip == m_brokenStrip || !m_tiff)
            return 0;
        clear(m_rows, m_layout);
        if (TIFFReadScanline(m_tiff, m_rows.data(), static_cast<std::uint32_t>(y),
                             static_cast<std::uint16_t>(m_plane)) == 1)
            return 1;
        m_brokenStrip = strip;
        return 0;
    }

    [[nodiscard]] std::uint32_t stripOf(int y) const
    {
        return TIFFComputeStrip(m_tiff, static_cast<std::uint32_t>(y),
                                static_cast<std::uint16_t>(m_plane));
    }

    /// Uncompressed rows, by reads of our own: a strip need not stand in memory, and what there is
    /// of one that is cut short counts.
    int readRows(int y)
    {
        const int rowInStrip = y % m_layout.block.height();
        const std::uint32_t strip = stripOf(y);
        const auto limit = std::uint64_t{SourceFile::MAX_BYTES};
        const auto begin =
            static_cast<std::int64_t>(std::min(limit, TIFFGetStrileOffset(m_tiff, strip)));
        const auto bytes =
            static_cast<std::int64_t>(std::min(limit, TIFFGetStrileByteCount(m_tiff, strip)));
        const std::int64_t skipped = rowInStrip * m_rowBytes;
        const std::int64_t wanted =
            std::min({std::max(READ_BYTES / m_rowBytes, std::int64_t{1}),
                      std::int64_t{m_layout.block.height() - rowInStrip},
                      std::int64_t{m_layout.size.height() - y},
                      std::max(bytes - skipped, std::int64_t{0}) / m_rowBytes});
        const std::size_t count =
            m_file.readAt(begin + skipped, std::as_writable_bytes(std::span(m_rows).first(
                                               static_cast<std::size_t>(wanted * m_rowBytes))));
        const std::int64_t rows = static_cast<std::int64_t>(count) / m_rowBytes;
        bringToMachineOrder(rows * m_rowBytes);
        return static_cast<int>(rows);
    }

    void bringToMachineOrder(std::int64_t count)
    {
        std::uint16_t fillOrder = FILLORDER_MSB2LSB;
        TIFFGetFieldDefaulted(m_tiff, TIFFTAG_FILLORDER, &fillOrder);
        if (fillOrder == FILLORDER_LSB2MSB)
            TIFFReverseBits(m_rows.data(), count);
        if (TIFFIsByteSwapped(m_tiff) == 0)
            return;
        void *const rows = m_rows.data();
        if (m_layout.bits == 16)
            TIFFSwabArrayOfShort(static_cast<std::uint16_t *>(rows), count / 2);
        else if (m_layout.bits == 24)
            TIFFSwabArrayOfTriples(m_rows.data(), count / 3);
        else if (m_layout.bits == 32)
            TIFFSwabArrayOfLong(static_cast<std::uint32_t *>(rows), count / 4);
        else if (m_layout.bits == 64)
            TIFFSwabArrayOfLong8(static_cast<std::uint64_t *>(rows), count / 8);
    }

    const SourceFile &m_file;
    TIFF *m_tiff;
    const TiffLayout &m_layout;
    int m_plane;
    std::int64_t m_rowBytes;
    bool m_isPlain = false;
    bool m_unpacksStrips = false;
    std::optional<TiffFile> m_own; // m_tiff's, after a strip was broken
    Bytes m_rows;
    int m_firstRow = 0; // that m_rows holds
    int m_heldRows = 0;
    int m_brokenStrip = -1;
};

/// One page on its way to its sink.
class PageReader
{
public:
    PageReader(const SourceFile &file, TIFF *tiff, const TiffLayout &layout, RowSink &sink)
        : m_file(file), m_tiff(tiff), m_layout(layout), m_sink(sink), m_pixels(layout)
    {}

    /// Fills the sink. False when nothing at all could be read, or not all was waited for.
    [[nodiscard]] bool read()
    {
        const bool wasRead = needsWholeBlocks() ? readBlocks() : readRows();
        return wasRead && m_hasPixels && !isStopped();
    }

private:
    [[nodiscard]] bool isStopped() const { return m_file.stopToken().stop_requested(); }

    /// Rows can't be had one by one of tiles, nor of strips where rows share numbers or where the
    /// codec has no notion of a row.
    [[nodiscard]] bool needsWholeBlocks() const
    {
        return m_layout.isTiled || m_layout.isSubsampled() ||
               m_layout.compression == COMPRESSION_OJPEG ||
               m_layout.compression == COMPRESSION_JBIG;
    }

    /// Whether @p bytes are enough for a row of @p pixels of one plane, and not too many.
    [[nodiscard]] bool holdsRows(std::int64_t bytes, int pixels) const
    {
        const std::int64_t numbers = m_layout.isPlanar ? 1 : m_layout.samples;
        return bytes <= MAX_DECODER_BYTES / static_cast<std::int64_t>(m_pixels.planes().size()) &&
               bytes >= (pixels * numbers * m_layout.bits + 7) / 8;
    }

    /// The row behind the last strip, or row of tiles, of which the file has something: those from
    /// there on are missing.
    [[nodiscard]] int endOfData() const;
    [[nodiscard]] bool hasData(int y, int plane) const;
    bool readRows();
    bool readBlocks();
    [[nodiscard]] std::int64_t blockBytes() const;
    [[nodiscard]] bool readBlock(int x, int y);
    void convertBlock(int x, int y, PixelBuffer &band);

    const SourceFile &m_file;
    TIFF *m_tiff;
    const TiffLayout &m_layout;
    RowSink &m_sink;
    TiffPixels m_pixels;
    std::vector<Bytes> m_blocks; // of each plane, for the tile or strip that is being read
    bool m_hasPixels = false;
};

bool PageReader::hasData(int y, int plane) const
{
    const auto size = static_cast<std::uint64_t>(m_file.size());
    for (int x = 0; x < m_layout.size.width(); x += m_layout.block.width()) {
        const std::uint32_t block = m_layout.isTiled
                                        ? TIFFComputeTile(m_tiff, static_cast<std::uint32_t>(x),
                                                          static_cast<std::uint32_t>(y), 0,
                                                          static_cast<std::uint16_t>(plane))
                                        : TIFFComputeStrip(m_tiff, static_cast<std::uint32_t>(y),
                                                           static_cast<std::uint16_t>(plane));
        if (TIFFGetStrileOffset(m_tiff, block) < size && TIFFGetStrileByteCount(m_tiff, block) > 0)
            return true;
    }
    return false;
}

int PageReader::endOfData() const
{
    const int height = m_layout.size.height();
    if (m_layout.compression == COMPRESSION_OJPEG) // has other ways to say where its strips are
        return height;
    const int step = m_layout.block.height();
    for (int y = (height - 1) / step * step; y >= 0; y -= step)
        if (std::ranges::all_of(m_pixels.planes(), [&](int plane) { return hasData(y, plane); }))
            return std::min(y + step, height);
    return 0;
}

bool PageReader::readRows()
{
    // libtiff unpacks a strip from its beginning, and one strip at a time: planes that are read
    // side by side need a reader each.
    std::vector<TiffFile> others;
    std::vector<StripRows> strips;
    if (!holdsRows(static_cast<std::int64_t>(TIFFScanlineSize64(m_tiff)), m_layout.size.width()))
        return false;
    for (const int plane : m_pixels.planes()) {
        TIFF *tiff = m_tiff;
        if (plane > 0 && m_layout.compression != COMPRESSION_NONE)
            tiff = others.emplace_back(m_file).handle();
        if (!tiff)
            return false;
        strips.emplace_back(m_file, tiff, m_layout, plane);
    }
    std::vector<const std::uint8_t *> rows(strips.size());
    const int end = endOfData();
    bool isLost = false; // all that is left
    for (int y = 0; y < end && !isLost && !isStopped(); ++y) {
        std::transform(strips.begin(), strips.end(), rows.begin(),
                       [y](StripRows &strip) { return strip.row(y); });
        const bool isWhole = std::all_of(rows.begin(), rows.end(), [](auto row) { return row; });
        Pixel *const out = m_sink.nextRow();
        if (isWhole)
            m_pixels.convert(rows, m_layout.size.width(), out);
        else
            std::fill_n(out, m_layout.size.width(), m_pixels.missing());
        m_hasPixels = m_hasPixels || isWhole;
        m_sink.rowDone();
        // What fails is missing to the end of its strip.
        isLost = !isWhole && y / m_layout.block.height() == (end - 1) / m_layout.block.height();
    }
    m_sink.fillRest(m_pixels.missing());
    return true;
}

std::int64_t PageReader::blockBytes() const
{
    return static_cast<std::int64_t>(
        m_layout.isTiled
            ? TIFFTileSize64(m_tiff)
            : TIFFVStripSize64(m_tiff, static_cast<std::uint32_t>(m_layout.block.height())));
}

bool PageReader::readBlocks()
{
    const QSize size = m_layout.size;
    const QSize block = m_layout.block;
    const QSize bandSize(size.width(), std::min(block.height(), size.height()));
    const auto planes = static_cast<std::int64_t>(m_pixels.planes().size());
    const std::int64_t bytes = blockBytes();
    const bool isLargeEnough = m_layout.isSubsampled()
                                   ? bytes >= m_pixels.subsampledBytes()
                                   : holdsRows(bytes / block.height(), block.width());
    if (!isLargeEnough || bytes > MAX_DECODER_BYTES / planes ||
        bytes * planes + pixelCount(bandSize) * std::int64_t{sizeof(Pixel)} > MAX_DECODER_BYTES)
        return false;
    PixelBuffer band(bandSize);
    if (band.isNull())
        return false;
    m_blocks.assign(static_cast<std::size_t>(planes), Bytes(static_cast<std::size_t>(bytes)));
    const int end = endOfData();
    for (int y = 0; y < end; y += block.height()) {
        for (int x = 0; x < size.width(); x += block.width()) {
            if (isStopped())
                return false;
            convertBlock(x, y, band);
        }
        for (int row = 0; row < std::min(block.height(), size.height() - y); ++row) {
            std::copy_n(band.row(row), size.width(), m_sink.nextRow());
            m_sink.rowDone();
        }
    }
    m_sink.fillRest(m_pixels.missing());
    return true;
}

/// Unpacks the strip or tile of which (@p x, @p y) is the first pixel, all its planes.
bool PageReader::readBlock(int x, int y)
{
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        Bytes &block = m_blocks[i];
        clear(block, m_layout);
        const auto plane = static_cast<std::uint16_t>(m_pixels.planes()[i]);
        const auto left = static_cast<std::uint32_t>(x);
        const auto top = static_cast<std::uint32_t>(y);
        const auto bytes = static_cast<tmsize_t>(block.size());
        const tmsize_t count =
            m_layout.isTiled
                ? TIFFReadEncodedTile(m_tiff, TIFFComputeTile(m_tiff, left, top, 0, plane),
                                      block.data(), bytes)
                : TIFFReadEncodedStrip(m_tiff, TIFFComputeStrip(m_tiff, top, plane), block.data(),
                                       bytes);
        if (count <= 0)
            return false;
    }
    return true;
}

void PageReader::convertBlock(int x, int y, PixelBuffer &band)
{
    const bool isWhole = readBlock(x, y);
    m_hasPixels = m_hasPixels || isWhole;
    const int columns = std::min(m_layout.block.width(), m_layout.size.width() - x);
    const int rows = std::min(m_layout.block.height(), m_layout.size.height() - y);
    const std::size_t rowBytes =
        m_blocks[0].size() / static_cast<std::size_t>(m_layout.block.height());
    std::vector<const std::uint8_t *> starts(m_blocks.size());
    for (int row = 0; row < rows; ++row) {
        Pixel *const out = band.row(row) + x;
        if (!isWhole) {
            std::fill_n(out, columns, m_pixels.missing());
        } else if (m_layout.isSubsampled()) {
            m_pixels.convertSubsampled(m_blocks[0].data(), row, columns, out);
        } else {
            std::transform(m_blocks.begin(), m_blocks.end(), starts.begin(),
                           [&](const Bytes &block) {
                               return block.data() + static_cast<std::size_t>(row) * rowBytes;
                           });
            m_pixels.convert(starts, columns, out);
        }
    }
}

} // namespace

ScaledPicture decodeTiff(const SourceFile &file, const SizeRule &rule)
{
    const TiffFile tiff(file);
    const auto layout = tiff.handle() ? readTiffLayout(tiff.handle()) : std::nullopt;
    if (!layout)
        return {};
    const PictureSizes sizes = rule.sizesOf(layout->size);
    if (!isWithinLimits(layout->size, sizes.image))
        return {};
    RowSink sink(layout->size, sizes);
    if (!sink.isReady() || !PageReader(file, tiff.handle(), *layout, sink).read())
        return {};
    if (layout->colors == TiffColors::Inks) {
        auto [image, rendition] = std::move(sink).takeBuffers();
        for (PixelBuffer *inks : {&image, &rendition})
            convertCmykToSrgb(*inks, layout->iccProfile, false);
        return {std::move(image).toImage(Alpha::Opaque),
                std::move(rendition).toImage(Alpha::Opaque)};
    }
    return std::move(sink).takePicture(layout->alpha ? Alpha::Premultiplied : Alpha::Opaque,
                                       layout->iccProfile);
}

} // namespace tavolin
