#include "decoding/codecs/TiffPixels.h"

#include "pixels/RowSink.h"

#include <QFloat16>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace tavolin {

namespace {

constexpr std::uint32_t FULL = 65535;

/// Three numbers of 0 to FULL.
struct Color
{
    std::uint32_t red;
    std::uint32_t green;
    std::uint32_t blue;
};

/// @p level of 0 to FULL as one of 0 to 255, rounded.
constexpr Pixel byteOf(std::uint32_t level)
{
    return (level * 255 + 32895) >> 16;
}

constexpr Pixel opaquePixel(Pixel red, Pixel green, Pixel blue)
{
    return 0xff000000 | red << 16 | green << 8 | blue;
}

/// @p value of 0 to 1 (and what lies outside, and what is no number) as 0 to FULL.
std::uint16_t levelOf(double value)
{
    return value > 0 ? static_cast<std::uint16_t>(std::min(value, 1.0) * FULL + 0.5) : 0;
}

template <typename Number>
Number at(const std::uint8_t *row, std::size_t index)
{
    Number number;
    std::memcpy(&number, row + index * sizeof number, sizeof number);
    return number;
}

/// Writes levelAt(0), levelAt(1), … to every @p step-th number from @p out.
template <typename LevelAt>
void spreadLevels(int count, std::uint16_t *out, int step, LevelAt levelAt)
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i, out += step)
        *out = static_cast<std::uint16_t>(levelAt(i));
}

/// Numbers of any depth below 32 bits, one after the other from the highest bit of each byte.
/// Those up to 16 bits times FULL / @p most; of longer ones the highest 16.
void spreadBits(const std::uint8_t *row, int bits, std::uint32_t most, int count,
                std::uint16_t *out, int step)
{
    std::uint64_t held = 0;
    int heldBits = 0;
    spreadLevels(count, out, step, [&](std::size_t) {
        for (; heldBits < bits; heldBits += 8)
            held = held << 8 | *row++;
        heldBits -= bits;
        const auto number =
            static_cast<std::uint32_t>(held >> heldBits & ((std::uint64_t{1} << bits) - 1));
        return bits > 16 ? number >> (bits - 16)
                         : number * (FULL / most) + number * (FULL % most) / most;
    });
}

void spreadUnsigned(const std::uint8_t *row, int bits, int count, std::uint16_t *out, int step)
{
    switch (bits) {
    case 8:
        return spreadLevels(count, out, step, [row](std::size_t i) { return row[i] * 257; });
    case 16:
        return spreadLevels(count, out, step,
                            [row](std::size_t i) { return at<std::uint16_t>(row, i); });
    case 24: // three bytes in the machine's order
        return spreadLevels(count, out, step, [row](std::size_t i) {
            const std::uint8_t *number = row + 3 * i;
            return std::endian::native == std::endian::little ? number[2] << 8 | number[1]
                                                              : number[0] << 8 | number[1];
        });
    case 32:
        return spreadLevels(count, out, step,
                            [row](std::size_t i) { return at<std::uint32_t>(row, i) >> 16; });
    case 64:
        return spreadLevels(count, out, step,
                            [row](std::size_t i) { return at<std::uint64_t>(row, i) >> 48; });
    default:
        return spreadBits(row, bits, (1U << std::min(bits, 16)) - 1, count, out, step);
    }
}

/// What lies below 0 is black (TIFF 6.0, PhotometricInterpretation: 0 is imaged as black).
template <typename Number>
void spreadSigned(const std::uint8_t *row, int count, std::uint16_t *out, int step)
{
    constexpr auto MOST = static_cast<double>(std::numeric_limits<Number>::max());
    spreadLevels(count, out, step, [row](std::size_t i) {
        return levelOf(static_cast<double>(at<Number>(row, i)) / MOST);
    });
}

/// Whether numbers are not brought to 0 to FULL, because they are no levels.
bool isKeptAsStored(const TiffLayout &layout)
{
    return layout.colors == TiffColors::Palette || layout.colors == TiffColors::CieLab ||
           layout.colors == TiffColors::IccLab;
}

void spread(const TiffLayout &layout, const std::uint8_t *row, int count, std::uint16_t *out,
            int step)
{
    if (isKeptAsStored(layout)) {
        if (layout.bits == 8)
            return spreadLevels(count, out, step, [row](std::size_t i) { return row[i]; });
        if (layout.bits == 16)
            return spreadUnsigned(row, layout.bits, count, out, step);
        return spreadBits(row, layout.bits, FULL, count, out, step);
    }
    switch (layout.numbers) {
    case TiffNumbers::Unsigned:
        return spreadUnsigned(row, layout.bits, count, out, step);
    case TiffNumbers::Signed:
        return layout.bits == 8    ? spreadSigned<std::int8_t>(row, count, out, step)
               : layout.bits == 16 ? spreadSigned<std::int16_t>(row, count, out, step)
               : layout.bits == 32 ? spreadSigned<std::int32_t>(row, count, out, step)
                                   : spreadSigned<std::int64_t>(row, count, out, step);
    case TiffNumbers::Float:
        if (layout.bits == 16)
            return spreadLevels(count, out, step, [row](std::size_t i) {
                return levelOf(static_cast<double>(static_cast<float>(at<qfloat16>(row, i))));
            });
        if (layout.bits == 32)
            return spreadLevels(count, out, step, [row](std::size_t i) {
                return levelOf(static_cast<double>(at<float>(row, i)));
            });
        return spreadLevels(count, out, step,
                            [row](std::size_t i) { return levelOf(at<double>(row, i)); });
    }
}

/// IEC 61966-2-1: levels of 0 to FULL for light of 0 to 1, in equal steps.
class SrgbCurve
{
public:
    SrgbCurve()
    {
        for (int i = 0; i <= STEPS; ++i) {
            const double light = static_cast<double>(i) / STEPS;
            m_levels[static_cast<std::size_t>(i)] = static_cast<float>(
                FULL *
                (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055));
        }
    }
    [[nodiscard]] std::uint32_t operator()(float light) const
    {
        if (!(light > 0))
            return 0;
        const float place = std::min(light, 1.0F) * STEPS;
        const auto below = static_cast<std::size_t>(std::min(static_cast<int>(place), STEPS - 1));
        const float share = place - static_cast<float>(below);
        return static_cast<std::uint32_t>(m_levels[below] +
                                          share * (m_levels[below + 1] - m_levels[below]) + 0.5F);
    }

private:
    static constexpr int STEPS = 4096;
    std::array<float, STEPS + 1> m_levels{};
};

/// CIE 1976 L*a*b* relative to D50 in sRGB, whose white takes the place of that white.
Color srgbOfLab(float lightness, float a, float b)
{
    static const SrgbCurve curve;
    const auto lightOf = [](float f) {
        constexpr float KNEE = 6.0F / 29;
        return f > KNEE ? f * f * f : 3 * KNEE * KNEE * (f - 4.0F / 29);
    };
    const float f = (lightness + 16) / 116;
    const float x = 0.96422F * lightOf(f + a / 500);
    const float y = lightOf(f);
    const float z = 0.82521F * lightOf(f - b / 200);
    // XYZ of D50, adapted to D65 by Bradford's matrix, in the primaries of sRGB.
    return {curve(3.1338561F * x - 1.6168667F * y - 0.4906146F * z),
            curve(-0.9787684F * x + 1.9161415F * y + 0.0334540F * z),
            curve(0.0719453F * x - 0.2289914F * y + 1.4052427F * z)};
}

/// CIE Lab of TIFF 6.0, section 23, and of Adobe's technical note on 16 bits.
Color colorOfCieLab(const std::uint16_t *number, int bits)
{
    if (bits == 8)
        return srgbOfLab(static_cast<float>(number[0]) * 100 / 255,
                         static_cast<std::int8_t>(number[1]), static_cast<std::int8_t>(number[2]));
    return srgbOfLab(static_cast<float>(number[0]) * 100 / 65535,
                     static_cast<float>(static_cast<std::int16_t>(number[1])) / 256,
                     static_cast<float>(static_cast<std::int16_t>(number[2])) / 256);
}

/// The encoding of ICC profiles of version 2.
Color colorOfIccLab(const std::uint16_t *number, int bits)
{
    const float unit = bits == 8 ? 1.0F : 256.0F;
    return srgbOfLab(static_cast<float>(number[0]) * 100 / (255 * unit),
                     static_cast<float>(number[1]) / unit - 128,
                     static_cast<float>(number[2]) / unit - 128);
}

/// TIFF 6.0, sections 20 and 21; numbers of 0 to 255.
Color colorOfYCbCr(const TiffLayout &layout, float y, float cb, float cr)
{
    const auto &[lumaRed, lumaGreen, lumaBlue] = layout.luma;
    const auto &reference = layout.reference;
    const auto scaled = [&reference](float number, std::size_t black, float range) {
        return (number - reference[black]) * range / (reference[black + 1] - reference[black]);
    };
    const float light = scaled(y, 0, 255);
    const float red = light + scaled(cr, 4, 127) * (2 - 2 * lumaRed);
    const float blue = light + scaled(cb, 2, 127) * (2 - 2 * lumaBlue);
    const float green = (light - lumaBlue * blue - lumaRed * red) / lumaGreen;
    return {levelOf(red / 255.0), levelOf(green / 255.0), levelOf(blue / 255.0)};
}

/// The groups of pixels that share their chroma, of a row of them in a block.
std::ptrdiff_t groupsOf(const TiffLayout &layout)
{
    return (layout.block.width() + layout.chroma.width() - 1) / layout.chroma.width();
}

std::ptrdiff_t groupBytesOf(const TiffLayout &layout)
{
    return layout.chroma.width() * layout.chroma.height() + 2;
}

} // namespace

TiffPixels::TiffPixels(const TiffLayout &layout)
    : m_layout(layout), m_stride(layout.samples), m_alpha(layout.alpha.value_or(-1))
{
    if (isKeptAsStored(layout))
        m_alphaUnit = FULL / ((1U << layout.bits) - 1);
    if (!layout.isPlanar) {
        m_planes = {0};
        return;
    }
    for (int plane = 0; plane < layout.colorSamples; ++plane)
        m_planes.push_back(plane);
    if (layout.alpha) {
        m_alpha = layout.colorSamples;
        m_planes.push_back(*layout.alpha);
    }
    m_stride = static_cast<int>(m_planes.size());
}

Pixel TiffPixels::missing() const
{
    // Black ink alone, as much as makes MISSING where inks are ideal.
    return m_layout.colors == TiffColors::Inks
               ? std::bit_cast<Pixel>(std::array<std::uint8_t, 4>{0, 0, 0, 0x7f})
               : MISSING;
}

/// The kinds that cameras and scanners write, straight. False for all others.
bool TiffPixels::convertPlain(const std::uint8_t *row, int count, Pixel *out)
{
    const bool isGrey = m_layout.colors == TiffColors::Grey && m_layout.samples == 1;
    const bool isRgb = m_layout.colors == TiffColors::Rgb && m_layout.samples == 3;
    if (!(isGrey || isRgb) || m_layout.isPlanar || m_layout.numbers != TiffNumbers::Unsigned ||
        (m_layout.bits != 8 && m_layout.bits != 16))
        return false;
    if (m_layout.bits == 16) {
        const auto numbers = static_cast<std::size_t>(count) * static_cast<std::size_t>(m_stride);
        m_bytes.resize(numbers);
        std::uint8_t *const bytes = m_bytes.data();
        for (std::size_t i = 0; i < numbers; ++i)
            bytes[i] = static_cast<std::uint8_t>(byteOf(at<std::uint16_t>(row, i)));
        row = bytes;
    }
    if (isGrey) {
        for (int i = 0; i < count; ++i)
            out[i] = opaquePixel(row[i], row[i], row[i]);
        return true;
    }
    // Four bytes at once, but for the last pixel, which may have nothing behind it.
    for (int i = 0; i < count - 1; ++i, row += 3)
        out[i] = 0xff000000 | qFromBigEndian<quint32>(row) >> 8;
    out[count - 1] = opaquePixel(row[0], row[1], row[2]);
    return true;
}

/// Pixels of m_numbers, the colour of each given by @p colorOf its first number.
template <typename ColorOf>
void TiffPixels::pack(int count, Pixel *out, ColorOf colorOf) const
{
    const std::uint16_t *number = m_numbers.data();
    for (int i = 0; i < count; ++i, number += m_stride) {
        const Color color = colorOf(number);
        if (m_alpha < 0) {
            out[i] = opaquePixel(byteOf(color.red), byteOf(color.green), byteOf(color.blue));
            continue;
        }
        const std::uint32_t alpha = number[m_alpha] * m_alphaUnit;
        const auto covered = [this, alpha](std::uint32_t level) {
            return byteOf(m_layout.isAssociated ? std::min(level, alpha)
                                                : (level * alpha + FULL / 2) / FULL);
        };
        out[i] = byteOf(alpha) << 24 | covered(color.red) << 16 | covered(color.green) << 8 |
                 covered(color.blue);
    }
}

void TiffPixels::packInks(int count, Pixel *out) const
{
    const std::uint16_t *number = m_numbers.data();
    for (int i = 0; i < count; ++i, number += m_stride) {
        std::array<std::uint8_t, 4> inks;
        std::transform(number, number + inks.size(), inks.begin(), [](std::uint16_t level) {
            return static_cast<std::uint8_t>(byteOf(level));
        });
        out[i] = std::bit_cast<Pixel>(inks);
    }
}

void TiffPixels::convert(std::span<const std::uint8_t *const> rows, int count, Pixel *out)
{
    if (convertPlain(rows[0], count, out))
        return;
    m_numbers.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(m_stride));
    if (m_layout.isPlanar)
        for (std::size_t i = 0; i < rows.size(); ++i)
            spread(m_layout, rows[i], count, m_numbers.data() + i, m_stride);
    else
        spread(m_layout, rows[0], count * m_stride, m_numbers.data(), 1);

    const int bits = m_layout.bits;
    switch (m_layout.colors) {
    case TiffColors::Grey:
        return pack(count, out, [](const std::uint16_t *number) {
            return Color{number[0], number[0], number[0]};
        });
    case TiffColors::InvertedGrey:
        return pack(count, out, [](const std::uint16_t *number) {
            const std::uint32_t level = FULL - number[0];
            return Color{level, level, level};
        });
    case TiffColors::Rgb:
        return pack(count, out, [](const std::uint16_t *number) {
            return Color{number[0], number[1], number[2]};
        });
    case TiffColors::Palette:
        return pack(count, out, [this](const std::uint16_t *number) {
            const Pixel color = m_layout.palette[number[0]];
            return Color{(color >> 16 & 0xff) * 257, (color >> 8 & 0xff) * 257,
                         (color & 0xff) * 257};
        });
    case TiffColors::Inks:
        return packInks(count, out);
    case TiffColors::YCbCr:
        return pack(count, out, [this](const std::uint16_t *number) {
            return colorOfYCbCr(m_layout, static_cast<float>(number[0]) / 257,
                                static_cast<float>(number[1]) / 257,
                                static_cast<float>(number[2]) / 257);
        });
    case TiffColors::CieLab:
        return pack(count, out,
                    [bits](const std::uint16_t *number) { return colorOfCieLab(number, bits); });
    case TiffColors::IccLab:
        return pack(count, out,
                    [bits](const std::uint16_t *number) { return colorOfIccLab(number, bits); });
    }
}

// Each group of pixels has their own numbers, row by row, and then the two that they share.

std::int64_t TiffPixels::subsampledBytes() const
{
    const QSize block = m_layout.block;
    const int down = m_layout.chroma.height();
    return groupsOf(m_layout) * groupBytesOf(m_layout) * ((block.height() + down - 1) / down);
}

void TiffPixels::convertSubsampled(const std::uint8_t *block, int y, int count, Pixel *out) const
{
    const int across = m_layout.chroma.width();
    const int down = m_layout.chroma.height();
    const std::ptrdiff_t groupBytes = groupBytesOf(m_layout);
    const std::uint8_t *row = block + y / down * groupsOf(m_layout) * groupBytes;
    for (int x = 0; x < count; ++x) {
        const std::uint8_t *group = row + x / across * groupBytes;
        const std::uint8_t light = group[y % down * across + x % across];
        const Color color =
            colorOfYCbCr(m_layout, light, group[across * down], group[across * down + 1]);
        out[x] = opaquePixel(byteOf(color.red), byteOf(color.green), byteOf(color.blue));
    }
}

} // namespace tavolin
