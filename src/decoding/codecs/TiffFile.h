#pragma once
// A TIFF opened by libtiff over a SourceFile, and what the tags of its first page say of the
// numbers in it.
//
// Refused, because there is no agreed way to show them or no program for photographs or scans
// writes them: colour filter arrays and other data of sensors (raw files go another way), ITU Lab,
// separations into other inks than CMYK, complex numbers, floats of 24 bits, Lab of other depths
// than 8 and 16 bits, palettes deeper than 16 bits, more than 64 numbers a pixel, and YCbCr with
// shared chroma in separate planes or at other depths than 8 bits. Alpha beside CMYK is passed
// over.

#include "decoding/SourceFile.h"
#include "pixels/Image.h"

#include <QByteArray>
#include <QSize>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <tiffio.h>

namespace tavolin {

/// An open TIFF, at its first page, set to unpack JPEG to RGB and LogLuv to 8 bits. Serves one
/// thread; the SourceFile must outlive it.
class TiffFile
{
public:
    explicit TiffFile(const SourceFile &file);

    /// libtiff's handle; null when the file could not be opened.
    [[nodiscard]] TIFF *handle() const { return m_handle.get(); }

private:
    /// What libtiff's calls for bytes work on.
    struct Position
    {
        const SourceFile &file;
        std::int64_t offset = 0;
    };
    struct Close
    {
        void operator()(TIFF *handle) const { TIFFClose(handle); }
    };
    static tmsize_t read(thandle_t position, void *out, tmsize_t count);
    static toff_t seek(thandle_t position, toff_t offset, int from);

    std::unique_ptr<Position> m_position;
    std::unique_ptr<TIFF, Close> m_handle;
};

/// What the first numbers of a pixel stand for.
enum class TiffColors : std::uint8_t {
    Grey,
    InvertedGrey, ///< 0 is white.
    Rgb,
    Palette,
    Inks, ///< Cyan, magenta, yellow, black; 0 is no ink.
    YCbCr,
    CieLab, ///< a and b are signed.
    IccLab, ///< a and b have an offset, and 16-bit L ends at 0xff00.
};

enum class TiffNumbers : std::uint8_t { Unsigned, Signed, Float };

/// The first page, as libtiff unpacks it.
struct TiffLayout
{
    QSize size;
    /// Pixels of a tile, or of a strip, of which the last may have fewer rows.
    QSize block;
    bool isTiled = false;
    bool isPlanar = false; ///< Each number of a pixel has strips or tiles of its own.
    std::uint16_t compression = 0;
    int bits = 0; ///< Of one number.
    TiffNumbers numbers = TiffNumbers::Unsigned;
    int samples = 0; ///< Numbers of a pixel.
    TiffColors colors = TiffColors::Grey;
    int colorSamples = 0;      ///< The first of them, that make the colour.
    std::optional<int> alpha;  ///< Which of the others is alpha.
    bool isAssociated = false; ///< Colours are multiplied by it.
    QSize chroma{1, 1};        ///< Of YCbCr: pixels that share their chroma.
    std::vector<Pixel> palette;
    std::array<float, 3> luma{};      ///< YCbCrCoefficients.
    std::array<float, 6> reference{}; ///< ReferenceBlackWhite.
    QByteArray iccProfile;

    [[nodiscard]] bool isSubsampled() const { return chroma != QSize(1, 1); }
};

/// The layout of @p tiff's page, which is set to unpack JPEG to RGB and LogLuv to 8 bits. Empty
/// when the page is refused or over the limits, that to its pixels apart.
[[nodiscard]] std::optional<TiffLayout> readTiffLayout(TIFF *tiff);

} // namespace tavolin
