#include "decoding/codecs/PngCodec.h"

#include "decoding/codecs/Adam7.h"
#include "decoding/codecs/PngChunks.h"
#include "decoding/codecs/PngColor.h"
#include "decoding/codecs/PngRows.h"
#include "decoding/color/ProfileCheck.h"
#include "pixels/Limits.h"
#include "pixels/Resample.h"
#include "pixels/RowSink.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include <csetjmp>

#include <png.h>

namespace tavolin {

namespace {

/// For chunks that libpng keeps; of those that it is given the palette is the largest.
constexpr png_alloc_size_t MAX_KEPT_BYTES = 1 << 16;

/// libpng's objects for one file. What can fail runs in one of the two steps, each of which catches
/// its jump; no object with a destructor is made inside them.
class PngFile
{
public:
    explicit PngFile(const SourceFile &file) : m_file(file), m_chunks(file) {}
    ~PngFile() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
    PngFile(const PngFile &) = delete;
    PngFile &operator=(const PngFile &) = delete;

    [[nodiscard]] bool readHeader();
    /// The next row as stored, of rowBytes(); of an interlaced picture those of its passes.
    [[nodiscard]] bool readRow(std::uint8_t *row);

    [[nodiscard]] QSize size() const { return m_size; }
    [[nodiscard]] bool isInterlaced() const { return m_isInterlaced; }
    [[nodiscard]] std::size_t rowBytes() const { return m_rowBytes; }
    [[nodiscard]] const PngFormat &format() const { return m_format; }
    [[nodiscard]] QByteArray iccProfile() const
    {
        const bool isGrey =
            m_format.color == PngColor::Grey || m_format.color == PngColor::GreyAlpha;
        return soundProfile(pngProfile(m_file, m_chunks.colorChunks(), isGrey));
    }
    [[nodiscard]] bool isStopped() const { return m_file.stopToken().stop_requested(); }

private:
    static PngFile &self(png_structp png)
    {
        return *static_cast<PngFile *>(png_get_error_ptr(png));
    }
    [[noreturn]] static void fail(png_structp png, png_const_charp)
    {
        std::longjmp(self(png).m_jump, 1);
    }
    static void beQuiet(png_structp, png_const_charp) {}
    static void read(png_structp png, png_bytep out, std::size_t count);
    void readFormat();
    [[nodiscard]] bool wasLastRow() const;

    const SourceFile &m_file;
    PngChunks m_chunks;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    std::jmp_buf m_jump{};
    QSize m_size;
    bool m_isInterlaced = false;
    std::size_t m_rowBytes = 0;
    PngFormat m_format;
};

void PngFile::read(png_structp png, png_bytep out, std::size_t count)
{
    if (!self(png).m_chunks.read(std::as_writable_bytes(std::span(out, count))))
        png_error(png, "");
}

bool PngFile::readHeader()
{
    if (setjmp(m_jump) != 0)
        return false;
    m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, fail, beQuiet);
    m_info = m_png ? png_create_info_struct(m_png) : nullptr;
    if (!m_info)
        return false;
    png_set_read_fn(m_png, this, read);
    png_set_user_limits(m_png, MAX_SIDE_PX, MAX_SIDE_PX);
    png_set_chunk_malloc_max(m_png, MAX_KEPT_BYTES);
    // Some writers understate how far back their data refer.
    png_set_option(m_png, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);
    png_read_info(m_png, m_info);
    m_size = {static_cast<int>(png_get_image_width(m_png, m_info)),
              static_cast<int>(png_get_image_height(m_png, m_info))};
    m_isInterlaced = png_get_interlace_type(m_png, m_info) != PNG_INTERLACE_NONE;
    m_rowBytes = png_get_rowbytes(m_png, m_info);
    readFormat();
    return true;
}

void PngFile::readFormat()
{
    m_format.color = static_cast<PngColor>(png_get_color_type(m_png, m_info));
    m_format.depth = png_get_bit_depth(m_png, m_info);
    m_format.palette.fill(0xff000000);
    png_colorp colors = nullptr;
    int count = 0;
    if (png_get_PLTE(m_png, m_info, &colors, &count) != 0)
        for (int i = 0; i < count; ++i)
            m_format.palette[static_cast<std::size_t>(i)] =
                0xff000000 | Pixel{colors[i].red} << 16 | Pixel{colors[i].green} << 8 |
                Pixel{colors[i].blue};
    m_format.hasAlpha = m_format.color == PngColor::GreyAlpha || m_format.color == PngColor::Rgba;
    png_bytep alphas = nullptr;
    png_color_16p color = nullptr;
    if (png_get_tRNS(m_png, m_info, &alphas, &count, &color) == 0)
        return;
    m_format.hasAlpha = true;
    if (m_format.color == PngColor::Palette)
        for (int i = 0; i < count; ++i)
            m_format.palette[static_cast<std::size_t>(i)] &= Pixel{alphas[i]} << 24 | 0xffffff;
    else if (m_format.color == PngColor::Grey)
        m_format.transparent = {color->gray, color->gray, color->gray};
    else
        m_format.transparent = {color->red, color->green, color->blue};
}

bool PngFile::wasLastRow() const
{
    return m_isInterlaced
               ? png_get_current_pass_number(m_png) == Adam7::PASSES
               : png_get_current_row_number(m_png) == static_cast<png_uint_32>(m_size.height());
}

bool PngFile::readRow(std::uint8_t *row)
{
    // With the last row libpng reads on; what it then finds wrong does not touch the row.
    if (setjmp(m_jump) != 0)
        return wasLastRow();
    png_read_row(m_png, row, nullptr);
    return true;
}

/// Reads all passes into @p whole, and where the file breaks off fills what is missing. False when
/// nothing came.
bool readInterlaced(PngFile &png, PixelBuffer &whole)
{
    const PngRows rows(png.format());
    const QSize size = whole.size();
    std::vector<std::uint8_t> samples(png.rowBytes());
    std::vector<Pixel> pixels(static_cast<std::size_t>(size.width()));
    for (int pass = 0; pass < Adam7::PASSES; ++pass) {
        const QSize passSize = Adam7::passSize(pass, size);
        for (int row = 0; row < passSize.height() && passSize.width() > 0; ++row) {
            if (png.isStopped())
                return false;
            if (!png.readRow(samples.data())) {
                Adam7::fillGaps(whole, pass, row);
                return pass > 0 || row > 0;
            }
            rows.convert(samples.data(), passSize.width(), pixels.data());
            Adam7::spread(pixels.data(), pass, row, whole);
        }
    }
    return true;
}

ScaledPicture decodeInterlaced(PngFile &png, const PictureSizes &sizes)
{
    const Alpha alpha = png.format().hasAlpha ? Alpha::Premultiplied : Alpha::Opaque;
    PixelBuffer whole(png.size());
    if (whole.isNull() || !readInterlaced(png, whole))
        return {};
    if (sizes.image == whole.size())
        return {std::move(whole).toImage(alpha, png.iccProfile())};
    RowSink sink(whole.size(), sizes);
    if (!sink.isReady())
        return {};
    for (int y = 0; y < whole.size().height(); ++y) {
        std::memcpy(sink.nextRow(), whole.row(y),
                    static_cast<std::size_t>(whole.size().width()) * sizeof(Pixel));
        sink.rowDone();
    }
    return std::move(sink).takePicture(alpha, png.iccProfile());
}

ScaledPicture decodeRows(PngFile &png, const PictureSizes &sizes)
{
    RowSink sink(png.size(), sizes);
    if (!sink.isReady())
        return {};
    const PngRows rows(png.format());
    std::vector<std::uint8_t> samples(png.rowBytes());
    while (sink.rowsTaken() < png.size().height() && !png.isStopped() &&
           png.readRow(samples.data())) {
        rows.convert(samples.data(), png.size().width(), sink.nextRow());
        sink.rowDone();
    }
    if (sink.rowsTaken() == 0 || png.isStopped())
        return {};
    sink.fillRest(MISSING);
    return std::move(sink).takePicture(png.format().hasAlpha ? Alpha::Premultiplied : Alpha::Opaque,
                                       png.iccProfile());
}

} // namespace

ScaledPicture decodePng(const SourceFile &file, const SizeRule &rule)
{
    PngFile png(file);
    if (!png.readHeader())
        return {};
    const PictureSizes sizes = rule.sizesOf(png.size());
    if (png.isInterlaced() ? !isWithinLimits(png.size(), sizeof(Pixel))
                           : !isWithinLimits(png.size(), sizes.image))
        return {};
    return png.isInterlaced() ? decodeInterlaced(png, sizes) : decodeRows(png, sizes);
}

} // namespace tavolin
