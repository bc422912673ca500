#pragma once
// TIFF files for tests, of any kind that libtiff writes, made of the numbers that a test gives.

#include "TestPictures.h"

#include <QByteArray>
#include <QFloat16>
#include <QSize>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include <tiffio.h>

namespace tavolin::test {

struct TiffPage
{
    QSize size{61, 47};
    int bits = 8;
    int samples = 3;
    int photometric = PHOTOMETRIC_RGB;
    int format = SAMPLEFORMAT_UINT;
    int compression = COMPRESSION_NONE;
    int predictor = 0; ///< 0: none is stated.
    bool isPlanar = false;
    QSize tile; ///< Empty: strips.
    int rowsPerStrip = 7;
    std::vector<std::uint16_t> extras;
    const char *mode = "wl"; ///< TIFFOpen's: l or b for the byte order, 8 for BigTIFF.
    std::function<void(TIFF *)> more = [](TIFF *) {}; ///< Sets further tags.
};

/// The number @p sample of the pixel (x, y).
using NumberAt = std::function<double(int x, int y, int sample)>;

/// A file that libtiff reads or writes in memory.
struct TiffMemory
{
    QByteArray bytes;
    qsizetype at = 0;

    static tmsize_t read(thandle_t handle, void *out, tmsize_t count)
    {
        auto &file = *static_cast<TiffMemory *>(handle);
        const QByteArray part = file.bytes.mid(file.at, count);
        std::memcpy(out, part.constData(), static_cast<std::size_t>(part.size()));
        file.at += part.size();
        return part.size();
    }
    static tmsize_t write(thandle_t handle, void *from, tmsize_t count)
    {
        auto &file = *static_cast<TiffMemory *>(handle);
        if (file.at + count > file.bytes.size())
            file.bytes.append(file.at + count - file.bytes.size(), '\0');
        std::memcpy(file.bytes.data() + file.at, from, static_cast<std::size_t>(count));
        file.at += count;
        return count;
    }
    static toff_t seek(thandle_t handle, toff_t offset, int from)
    {
        auto &file = *static_cast<TiffMemory *>(handle);
        const qsizetype base = from == SEEK_SET   ? 0
                               : from == SEEK_CUR ? file.at
                                                  : file.bytes.size();
        file.at = base + static_cast<qsizetype>(offset);
        return static_cast<toff_t>(file.at);
    }
    static toff_t size(thandle_t handle)
    {
        return static_cast<toff_t>(static_cast<TiffMemory *>(handle)->bytes.size());
    }
};

/// Numbers one after the other as libtiff wants them: whole ones in the machine's order, others
/// from the highest bit of each byte on.
class TiffNumberRow
{
public:
    TiffNumberRow(const TiffPage &page) : m_page(page) {}

    void add(double value)
    {
        switch (m_page.format) {
        case SAMPLEFORMAT_IEEEFP:
            return m_page.bits == 16   ? addWhole(qfloat16(static_cast<float>(value)))
                   : m_page.bits == 32 ? addWhole(static_cast<float>(value))
                                       : addWhole(value);
        case SAMPLEFORMAT_INT:
            return addBits(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
        default:
            return addBits(static_cast<std::uint64_t>(value));
        }
    }

    /// The row, filled to a whole byte.
    [[nodiscard]] QByteArray take()
    {
        while (m_heldBits > 0)
            addBit(0);
        return std::exchange(m_bytes, {});
    }

private:
    template <typename Number>
    void addWhole(Number number)
    {
        m_bytes.append(reinterpret_cast<const char *>(&number), sizeof number);
    }
    void addBits(std::uint64_t number)
    {
        switch (m_page.bits) {
        case 8:
            return addWhole(static_cast<std::uint8_t>(number));
        case 16:
            return addWhole(static_cast<std::uint16_t>(number));
        case 24:
            m_bytes.append(reinterpret_cast<const char *>(&number),
                           3); // of a little-endian machine
            return;
        case 32:
            return addWhole(static_cast<std::uint32_t>(number));
        case 64:
            return addWhole(number);
        default:
            for (int bit = m_page.bits - 1; bit >= 0; --bit)
                addBit(static_cast<int>(number >> bit & 1));
        }
    }
    void addBit(int bit)
    {
        m_held = m_held << 1 | bit;
        if (++m_heldBits == 8) {
            m_bytes.append(static_cast<char>(m_held));
            m_heldBits = 0;
            m_held = 0;
        }
    }

    const TiffPage &m_page;
    QByteArray m_bytes;
    int m_held = 0;
    int m_heldBits = 0;
};

/// The strip or tile at (@p left, @p top); @p plane < 0: all numbers of each pixel.
inline QByteArray tiffBlockAt(const TiffPage &page, const NumberAt &numberAt, int left, int top,
                              QSize block, int plane)
{
    QByteArray bytes;
    TiffNumberRow row(page);
    for (int y = top; y < top + block.height(); ++y) {
        for (int x = left; x < left + block.width(); ++x)
            for (int sample = 0; sample < page.samples; ++sample)
                if (plane < 0 || plane == sample)
                    row.add(numberAt(std::min(x, page.size.width() - 1),
                                     std::min(y, page.size.height() - 1), sample));
        bytes += row.take();
    }
    return bytes;
}

inline void setTiffTags(TIFF *tiff, const TiffPage &page)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.size.width());
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.size.height());
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, page.format);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                 page.isPlanar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
    if (page.predictor > 0)
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, page.predictor);
    if (page.tile.isEmpty()) {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.rowsPerStrip);
    } else {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, page.tile.width());
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, page.tile.height());
    }
    if (!page.extras.empty())
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(page.extras.size()),
                     page.extras.data());
    page.more(tiff);
}

/// A TIFF with @p page, whose numbers are those of @p numberAt. Empty when libtiff can't write it.
inline QByteArray writtenTiff(const TiffPage &page, const NumberAt &numberAt)
{
    TIFFSetWarningHandler(nullptr);
    TiffMemory memory;
    TIFF *const tiff = TIFFClientOpen(
        "", page.mode, &memory, TiffMemory::read, TiffMemory::write, TiffMemory::seek,
        [](thandle_t) { return 0; }, TiffMemory::size, nullptr, nullptr);
    if (!tiff)
        return {};
    setTiffTags(tiff, page);
    const bool isTiled = !page.tile.isEmpty();
    const QSize block = isTiled ? page.tile : QSize(page.size.width(), page.rowsPerStrip);
    bool isWritten = true;
    for (int plane = page.isPlanar ? 0 : -1; plane < (page.isPlanar ? page.samples : 0); ++plane) {
        const auto sample = static_cast<std::uint16_t>(std::max(0, plane));
        for (int y = 0; y < page.size.height(); y += block.height()) {
            for (int x = 0; x < page.size.width(); x += block.width()) {
                const int rows =
                    isTiled ? block.height() : std::min(block.height(), page.size.height() - y);
                QByteArray bytes = tiffBlockAt(page, numberAt, x, y, {block.width(), rows}, plane);
                const auto left = static_cast<std::uint32_t>(x);
                const auto top = static_cast<std::uint32_t>(y);
                const tmsize_t count =
                    isTiled
                        ? TIFFWriteEncodedTile(tiff, TIFFComputeTile(tiff, left, top, 0, sample),
                                               bytes.data(), bytes.size())
                        : TIFFWriteEncodedStrip(tiff, TIFFComputeStrip(tiff, top, sample),
                                                bytes.data(), bytes.size());
                isWritten = isWritten && count >= 0;
            }
        }
    }
    TIFFClose(tiff);
    return isWritten ? memory.bytes : QByteArray();
}

/// The numbers of the pixels of each quarter of a picture, from the top left, row by row.
using Quarters = std::array<std::vector<double>, 4>;

inline std::size_t quarterOf(QSize size, int x, int y)
{
    return (y < size.height() / 2 ? 0U : 2U) + (x < size.width() / 2 ? 0U : 1U);
}

inline QByteArray tiffOf(const TiffPage &page, const Quarters &quarters)
{
    return writtenTiff(page, [&](int x, int y, int sample) {
        return quarters[quarterOf(page.size, x, y)].at(static_cast<std::size_t>(sample));
    });
}

inline const Quarters RGB_8{{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}};
inline constexpr std::array<Pixel, 4> SHOWN{RED, GREEN, BLUE, YELLOW};

inline TiffPage grey(int bits, int format = SAMPLEFORMAT_UINT,
                     int photometric = PHOTOMETRIC_MINISBLACK)
{
    return {.bits = bits, .samples = 1, .photometric = photometric, .format = format};
}

inline TiffPage rgb(int bits, int format = SAMPLEFORMAT_UINT)
{
    return {.bits = bits, .format = format};
}

inline TiffPage colors(int photometric, int samples, int bits = 8)
{
    return {.bits = bits, .samples = samples, .photometric = photometric};
}

/// A palette whose entry @p i has the levels levelAt(0, i), levelAt(1, i), levelAt(2, i).
template <typename LevelAt>
TiffPage palette(int bits, LevelAt levelAt)
{
    TiffPage page = colors(PHOTOMETRIC_PALETTE, 1, bits);
    page.more = [bits, levelAt](TIFF *tiff) {
        std::array<std::vector<std::uint16_t>, 3> maps;
        for (std::size_t channel = 0; channel < 3; ++channel)
            for (int i = 0; i < 1 << bits; ++i)
                maps[channel].push_back(
                    static_cast<std::uint16_t>(levelAt(static_cast<int>(channel), i)));
        TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[0].data(), maps[1].data(), maps[2].data());
    };
    return page;
}

/// Entry 0 red, 1 green, 2 blue, 3 yellow, of numbers up to @p most.
inline auto fourColors(int most)
{
    return [most](int channel, int i) {
        return i > 3                                                             ? 0
               : SHOWN[static_cast<std::size_t>(i)] >> (16 - 8 * channel) & 0xff ? most
                                                                                 : 0;
    };
}

inline const Quarters INDICES{{{0}, {1}, {2}, {3}}};

/// YCbCr that neither shares chroma nor is full of defaults that libtiff does not write.
inline TiffPage yCbCr(int bits = 8)
{
    TiffPage page = colors(PHOTOMETRIC_YCBCR, 3, bits);
    page.more = [](TIFF *tiff) {
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
        float reference[] = {0, 255, 128, 255, 128, 255};
        TIFFSetField(tiff, TIFFTAG_REFERENCEBLACKWHITE, reference);
    };
    return page;
}

} // namespace tavolin::test
