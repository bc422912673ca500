#include "decoding/codecs/PngRows.h"

#include <QtEndian>

#include <algorithm>

namespace tavolin {

namespace {

constexpr Pixel OPAQUE = 0xff000000;

/// One sample of a byte, or of two with the higher first, by its number in the row.
struct Bytes
{
    static constexpr unsigned MOST = 0xff;
    static unsigned sample(const std::uint8_t *row, std::ptrdiff_t index) { return row[index]; }
};
struct Words
{
    static constexpr unsigned MOST = 0xffff;
    static unsigned sample(const std::uint8_t *row, std::ptrdiff_t index)
    {
        return qFromBigEndian<quint16>(row + 2 * index);
    }
};

/// @p value of 0 to Samples::MOST as one of 0 to 255, rounded.
template <typename Samples>
constexpr Pixel level(unsigned value)
{
    if constexpr (Samples::MOST == 0xff)
        return value;
    else
        return (value * 255 + 32895) >> 16;
}

template <typename Samples>
constexpr Pixel opaque(unsigned red, unsigned green, unsigned blue)
{
    return OPAQUE | level<Samples>(red) << 16 | level<Samples>(green) << 8 | level<Samples>(blue);
}

template <typename Samples>
constexpr Pixel withAlpha(unsigned red, unsigned green, unsigned blue, unsigned alpha)
{
    const auto multiplied = [alpha](unsigned value) {
        return level<Samples>((value * alpha + Samples::MOST / 2) / Samples::MOST);
    };
    return level<Samples>(alpha) << 24 | multiplied(red) << 16 | multiplied(green) << 8 |
           multiplied(blue);
}

using Transparent = std::optional<std::array<std::uint16_t, 3>>;

template <typename Samples>
void convertGrey(const std::uint8_t *row, int pixels, Pixel *out, const Transparent &transparent)
{
    for (int x = 0; x < pixels; ++x) {
        const unsigned grey = Samples::sample(row, x);
        out[x] =
            transparent && grey == transparent->front() ? 0 : opaque<Samples>(grey, grey, grey);
    }
}

void convertRgb8(const std::uint8_t *row, int pixels, Pixel *out)
{
    std::ptrdiff_t x = 0;
    // One load for each pixel but the last, where it would read beyond the row.
    for (; x + 1 < pixels; ++x)
        out[x] = OPAQUE | qFromBigEndian<quint32>(row + 3 * x) >> 8;
    if (x < pixels)
        out[x] = opaque<Bytes>(row[3 * x], row[3 * x + 1], row[3 * x + 2]);
}

void convertRgb16(const std::uint8_t *row, int pixels, Pixel *out)
{
    // A few pixels at a time, their samples made small first: compilers have vectors for that.
    constexpr int BLOCK = 256;
    std::array<std::uint8_t, 3 * BLOCK> levels;
    for (int x = 0; x < pixels; x += BLOCK) {
        const int count = std::min(BLOCK, pixels - x);
        const std::uint8_t *samples = row + std::ptrdiff_t{6} * x;
        for (int i = 0; i < 3 * count; ++i)
            levels[static_cast<std::size_t>(i)] =
                static_cast<std::uint8_t>(level<Words>(Words::sample(samples, i)));
        convertRgb8(levels.data(), count, out + x);
    }
}

/// Clears the pixels whose samples, all of their bits, are those of the transparent colour.
template <typename Samples>
void clearTransparent(const std::uint8_t *row, int pixels, Pixel *out,
                      const std::array<std::uint16_t, 3> &transparent)
{
    for (std::ptrdiff_t x = 0; x < pixels; ++x)
        if (Samples::sample(row, 3 * x) == transparent[0] &&
            Samples::sample(row, 3 * x + 1) == transparent[1] &&
            Samples::sample(row, 3 * x + 2) == transparent[2])
            out[x] = 0;
}

template <typename Samples>
void convertGreyAlpha(const std::uint8_t *row, int pixels, Pixel *out)
{
    for (std::ptrdiff_t x = 0; x < pixels; ++x) {
        const unsigned grey = Samples::sample(row, 2 * x);
        out[x] = withAlpha<Samples>(grey, grey, grey, Samples::sample(row, 2 * x + 1));
    }
}

template <typename Samples>
void convertRgba(const std::uint8_t *row, int pixels, Pixel *out)
{
    for (std::ptrdiff_t x = 0; x < pixels; ++x)
        out[x] =
            withAlpha<Samples>(Samples::sample(row, 4 * x), Samples::sample(row, 4 * x + 1),
                               Samples::sample(row, 4 * x + 2), Samples::sample(row, 4 * x + 3));
}

template <typename Samples>
void convertSamples(const PngFormat &format, const std::uint8_t *row, int pixels, Pixel *out)
{
    switch (format.color) {
    case PngColor::Grey:
        convertGrey<Samples>(row, pixels, out, format.transparent);
        break;
    case PngColor::Rgb:
        if constexpr (Samples::MOST == 0xff)
            convertRgb8(row, pixels, out);
        else
            convertRgb16(row, pixels, out);
        if (format.transparent)
            clearTransparent<Samples>(row, pixels, out, *format.transparent);
        break;
    case PngColor::Palette: // has a table
        break;
    case PngColor::GreyAlpha:
        convertGreyAlpha<Samples>(row, pixels, out);
        break;
    case PngColor::Rgba:
        convertRgba<Samples>(row, pixels, out);
        break;
    }
}

} // namespace

PngRows::PngRows(const PngFormat &format) : m_format(format)
{
    const unsigned most = (1U << std::min(format.depth, 8)) - 1;
    if (m_format.transparent)
        // Of smaller samples only the lower bits count (11.3.1.1).
        for (std::uint16_t &sample : *m_format.transparent)
            sample = static_cast<std::uint16_t>(sample & ((1U << format.depth) - 1));
    if (format.color == PngColor::Palette) {
        m_isIndexed = true;
        std::transform(format.palette.begin(), format.palette.end(), m_table.begin(),
                       premultiplied);
    } else if (format.color == PngColor::Grey && format.depth <= 8) {
        m_isIndexed = true;
        for (unsigned sample = 0; sample <= most; ++sample)
            m_table[sample] = OPAQUE | sample * 255 / most * 0x010101;
        if (m_format.transparent)
            m_table[m_format.transparent->front()] = 0;
    }
}

void PngRows::convertIndexed(const std::uint8_t *samples, int pixels, Pixel *out) const
{
    const int depth = m_format.depth;
    if (depth == 8) {
        std::transform(samples, samples + pixels, out,
                       [this](std::uint8_t sample) { return m_table[sample]; });
        return;
    }
    const unsigned most = (1U << depth) - 1;
    const int perByte = 8 / depth; // the leftmost in the highest bits
    for (int x = 0; x < pixels; ++x)
        out[x] = m_table[samples[x / perByte] >> (8 - depth * (x % perByte + 1)) & most];
}

void PngRows::convert(const std::uint8_t *samples, int pixels, Pixel *out) const
{
    if (m_isIndexed)
        convertIndexed(samples, pixels, out);
    else if (m_format.depth == 16)
        convertSamples<Words>(m_format, samples, pixels, out);
    else
        convertSamples<Bytes>(m_format, samples, pixels, out);
}

} // namespace tavolin
