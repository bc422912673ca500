#include "decoding/codecs/TiffFile.h"

#include "decoding/color/ProfileCheck.h"
#include "pixels/Limits.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>

namespace tavolin {

namespace {

/// Each costs libtiff some twenty bytes and a call; of tiles of 16 pixels a side, the smallest
/// allowed, a gigapixel has no more than these.
constexpr std::uint32_t MAX_BLOCKS = 1 << 22;

/// More numbers of a pixel than any program for photographs writes.
constexpr int MAX_SAMPLES = 64;

/// Process-wide, as older versions of libtiff have no other way.
void silence()
{
    TIFFSetWarningHandler(nullptr);
    TIFFSetErrorHandler(nullptr);
}

TIFF *openHandle(thandle_t position, TIFFReadWriteProc read, TIFFSeekProc seek, TIFFSizeProc size)
{
    const auto writeNothing = [](thandle_t, void *, tmsize_t) { return tmsize_t{0}; };
    const auto closeNothing = [](thandle_t) { return 0; };
    // Not mapped, and no strip chopped to smaller ones: rows of large strips are read one by one.
    constexpr const char *MODE = "rmc";
#if TIFFLIB_VERSION >= 20221213 // 4.5.0
    TIFFOpenOptions *options = TIFFOpenOptionsAlloc();
    if (!options)
        return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, MAX_DECODER_BYTES);
    TIFF *const handle = TIFFClientOpenExt("", MODE, position, read, writeNothing, seek,
                                           closeNothing, size, nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    return handle;
#else
    return TIFFClientOpen("", MODE, position, read, writeNothing, seek, closeNothing, size, nullptr,
                          nullptr);
#endif
}

/// The value of a tag that has one, or its default, or @p absent.
template <typename Number>
Number field(TIFF *tiff, std::uint32_t tag, Number absent)
{
    Number value = absent;
    return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : absent;
}

/// Lets libtiff unpack JPEG to RGB and LogLuv to 8 bits.
void setConversions(TIFF *tiff)
{
    switch (field<std::uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE)) {
    case COMPRESSION_JPEG:
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        break;
    case COMPRESSION_SGILOG:
    case COMPRESSION_SGILOG24:
        TIFFSetField(tiff, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_8BIT);
        break;
    default:
        break;
    }
}

std::uint16_t photometricOf(TIFF *tiff, const TiffLayout &layout)
{
    std::uint16_t photometric = 0;
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) != 0)
        return photometric;
    const bool isFax =
        layout.compression >= COMPRESSION_CCITTRLE && layout.compression <= COMPRESSION_CCITTFAX4;
    return layout.samples >= 3 ? PHOTOMETRIC_RGB
           : isFax             ? PHOTOMETRIC_MINISWHITE
                               : PHOTOMETRIC_MINISBLACK;
}

/// What the numbers are after the library's own conversions. Empty for what is refused.
std::optional<TiffColors> colorsOf(TIFF *tiff, const TiffLayout &layout)
{
    switch (photometricOf(tiff, layout)) {
    case PHOTOMETRIC_MINISWHITE:
        return TiffColors::InvertedGrey;
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MASK:
    case PHOTOMETRIC_LOGL:
        return TiffColors::Grey;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_LOGLUV:
        return TiffColors::Rgb;
    case PHOTOMETRIC_PALETTE:
        return TiffColors::Palette;
    case PHOTOMETRIC_SEPARATED:
        if (field<std::uint16_t>(tiff, TIFFTAG_INKSET, INKSET_CMYK) != INKSET_CMYK)
            return std::nullopt;
        return TiffColors::Inks;
    case PHOTOMETRIC_YCBCR:
        return layout.compression == COMPRESSION_JPEG && !layout.isPlanar ? TiffColors::Rgb
                                                                          : TiffColors::YCbCr;
    case PHOTOMETRIC_CIELAB:
        return TiffColors::CieLab;
    case PHOTOMETRIC_ICCLAB:
        return TiffColors::IccLab;
    default:
        return std::nullopt;
    }
}

int colorSamplesOf(TiffColors colors)
{
    switch (colors) {
    case TiffColors::Grey:
    case TiffColors::InvertedGrey:
    case TiffColors::Palette:
        return 1;
    case TiffColors::Inks:
        return 4;
    default:
        return 3;
    }
}

std::optional<TiffNumbers> numbersOf(TIFF *tiff)
{
    switch (field<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT)) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
        return TiffNumbers::Unsigned;
    case SAMPLEFORMAT_INT:
        return TiffNumbers::Signed;
    case SAMPLEFORMAT_IEEEFP:
        return TiffNumbers::Float;
    default:
        return std::nullopt;
    }
}

bool isKnownDepth(const TiffLayout &layout)
{
    const int bits = layout.bits;
    const bool isWhole = bits == 16 || bits == 32 || bits == 64;
    switch (layout.colors) {
    case TiffColors::Palette:
        return layout.numbers != TiffNumbers::Float && bits >= 1 && bits <= 16;
    case TiffColors::CieLab:
    case TiffColors::IccLab:
        return layout.numbers != TiffNumbers::Float && (bits == 8 || bits == 16);
    default:
        break;
    }
    if (layout.isSubsampled())
        return layout.numbers == TiffNumbers::Unsigned && bits == 8;
    switch (layout.numbers) {
    case TiffNumbers::Unsigned:
        return (bits >= 1 && bits <= 32) || bits == 64;
    case TiffNumbers::Signed:
        return bits == 8 || isWhole;
    case TiffNumbers::Float:
        return isWhole;
    }
    return false;
}

/// Extra numbers of no stated meaning are none to us: masks and saved selections are such.
void readAlpha(TIFF *tiff, TiffLayout &layout)
{
    std::uint16_t count = 0;
    const std::uint16_t *kinds = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds) == 0 || !kinds)
        return;
    for (int i = 0; i < count; ++i) {
        const int sample = layout.samples - count + i;
        if (sample >= layout.colorSamples &&
            (kinds[i] == EXTRASAMPLE_ASSOCALPHA || kinds[i] == EXTRASAMPLE_UNASSALPHA)) {
            layout.alpha = sample;
            layout.isAssociated = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
            return;
        }
    }
}

bool readPalette(TIFF *tiff, TiffLayout &layout)
{
    std::array<std::uint16_t *, 3> maps{};
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &maps[0], &maps[1], &maps[2]) == 0 || !maps[0])
        return false;
    const std::size_t entries = std::size_t{1} << layout.bits;
    // Some writers put 8-bit numbers into a map of 16-bit ones.
    const bool isWide = std::any_of(maps.begin(), maps.end(), [entries](const std::uint16_t *map) {
        return std::any_of(map, map + entries, [](std::uint16_t level) { return level > 255; });
    });
    const int shift = isWide ? 8 : 0;
    for (std::size_t i = 0; i < entries; ++i) {
        Pixel color = 0xff;
        for (const std::uint16_t *map : maps)
            color = color << 8 | static_cast<Pixel>(map[i] >> shift);
        layout.palette.push_back(color);
    }
    return true;
}

bool readYCbCr(TIFF *tiff, TiffLayout &layout)
{
    std::uint16_t across = 0;
    std::uint16_t down = 0;
    const float *luma = nullptr;
    const float *reference = nullptr;
    if (TIFFGetFieldDefaulted(tiff, TIFFTAG_YCBCRSUBSAMPLING, &across, &down) == 0 ||
        TIFFGetFieldDefaulted(tiff, TIFFTAG_YCBCRCOEFFICIENTS, &luma) == 0 ||
        TIFFGetFieldDefaulted(tiff, TIFFTAG_REFERENCEBLACKWHITE, &reference) == 0)
        return false;
    const auto isFactor = [](int number) { return number == 1 || number == 2 || number == 4; };
    if (!isFactor(across) || !isFactor(down))
        return false;
    layout.chroma = {across, down};
    std::copy_n(luma, layout.luma.size(), layout.luma.begin());
    std::copy_n(reference, layout.reference.size(), layout.reference.begin());
    const auto isSane = [](float number) {
        return std::isfinite(number) && std::abs(number) < 1e6F;
    };
    if (!std::all_of(layout.luma.begin(), layout.luma.end(), isSane) ||
        !std::all_of(layout.reference.begin(), layout.reference.end(), isSane))
        return false;
    for (std::size_t i = 0; i < layout.reference.size(); i += 2)
        if (std::abs(layout.reference[i + 1] - layout.reference[i]) < 1.0F)
            return false;
    return std::abs(layout.luma[1]) > 1e-3F &&
           (!layout.isSubsampled() || (!layout.isPlanar && layout.samples == 3));
}

QByteArray profileOf(TIFF *tiff, TiffColors colors)
{
    std::uint32_t count = 0;
    const void *data = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &count, &data) == 0 || !data ||
        count > MAX_DECODER_BYTES)
        return {};
    QByteArray profile(static_cast<const char *>(data), static_cast<qsizetype>(count));
    // ICC.1:2022, 7.2.6: the colours that the profile is for. One for others says nothing of these.
    const QByteArray space = profile.mid(16, 4);
    switch (colors) {
    case TiffColors::Grey:
    case TiffColors::InvertedGrey:
        return space == "GRAY" || space == "RGB " ? profile : QByteArray();
    case TiffColors::Inks:
        return space == "CMYK" ? profile : QByteArray();
    case TiffColors::CieLab:
    case TiffColors::IccLab:
        return {};
    default:
        return space == "RGB " ? profile : QByteArray();
    }
}

/// The size of the page and of its strips or tiles; false over the limits, of which that to the
/// pixels depends on what is to come out.
bool readSizes(TIFF *tiff, TiffLayout &layout)
{
    const auto width = field<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0);
    const auto height = field<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0);
    if (width == 0 || height == 0 || std::max(width, height) > MAX_SIDE_PX)
        return false;
    layout.size = {static_cast<int>(width), static_cast<int>(height)};
    layout.isTiled = TIFFIsTiled(tiff) != 0;
    const auto across = layout.isTiled ? field<std::uint32_t>(tiff, TIFFTAG_TILEWIDTH, 0) : width;
    const auto down = layout.isTiled ? field<std::uint32_t>(tiff, TIFFTAG_TILELENGTH, 0)
                                     : field<std::uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, height);
    // A strip may claim more rows than there are, to say "all of them"; a tile really has them.
    if (across == 0 || down == 0 || (layout.isTiled && std::max(across, down) > MAX_SIDE_PX))
        return false;
    layout.block = {static_cast<int>(across),
                    static_cast<int>(layout.isTiled ? down : std::min(down, height))};
    return (layout.isTiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff)) <= MAX_BLOCKS;
}

/// Whether unpacking all of it makes no more bytes than a file may have that is not packed.
bool isOfHonestSize(const TiffLayout &layout)
{
    const std::int64_t bytes =
        pixelCount(layout.size) * layout.bits * std::min(layout.samples, MAX_SAMPLES) / 8;
    return layout.samples <= MAX_SAMPLES && bytes <= SourceFile::MAX_BYTES;
}

} // namespace

TiffFile::TiffFile(const SourceFile &file) : m_position(new Position{file})
{
    static std::once_flag isSilent;
    std::call_once(isSilent, silence);
    const auto size = [](thandle_t position) {
        return static_cast<toff_t>(static_cast<Position *>(position)->file.size());
    };
    m_handle.reset(openHandle(m_position.get(), read, seek, size));
    if (m_handle)
        setConversions(m_handle.get());
}

tmsize_t TiffFile::read(thandle_t position, void *out, tmsize_t count)
{
    auto &at = *static_cast<Position *>(position);
    const std::size_t done = at.file.readAt(
        at.offset, std::span(static_cast<std::byte *>(out),
                             static_cast<std::size_t>(std::max<tmsize_t>(0, count))));
    at.offset += static_cast<std::int64_t>(done);
    // Never −1, which libtiff takes for a number of bytes in places.
    return static_cast<tmsize_t>(done);
}

toff_t TiffFile::seek(thandle_t position, toff_t offset, int from)
{
    auto &at = *static_cast<Position *>(position);
    const std::int64_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? at.offset : at.file.size();
    // Nothing is to be found beyond the end, and no sum of offsets inside a file overflows.
    if (offset > static_cast<toff_t>(SourceFile::MAX_BYTES))
        return static_cast<toff_t>(-1);
    at.offset = base + static_cast<std::int64_t>(offset);
    return static_cast<toff_t>(at.offset);
}

std::optional<TiffLayout> readTiffLayout(TIFF *tiff)
{
    TiffLayout layout;
    if (!readSizes(tiff, layout))
        return std::nullopt;
    layout.compression = field<std::uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    layout.samples = field<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    layout.isPlanar = layout.samples > 1 &&
                      field<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) ==
                          PLANARCONFIG_SEPARATE;
    layout.bits = field<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);

    const auto numbers = numbersOf(tiff);
    const auto colors = colorsOf(tiff, layout);
    if (!numbers || !colors || !isOfHonestSize(layout))
        return std::nullopt;
    layout.numbers = *numbers;
    layout.colors = *colors;
    layout.colorSamples = colorSamplesOf(*colors);
    if (layout.samples < layout.colorSamples ||
        (*colors == TiffColors::YCbCr && !readYCbCr(tiff, layout)) || !isKnownDepth(layout) ||
        (*colors == TiffColors::Palette && !readPalette(tiff, layout)))
        return std::nullopt;
    readAlpha(tiff, layout);
    layout.iccProfile = soundProfile(profileOf(tiff, *colors));
    return layout;
}

} // namespace tavolin
