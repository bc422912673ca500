#include "decoding/codecs/HeifCodec.h"

#include "decoding/codecs/HevcDecoder.h"
#include "decoding/color/Color.h"
#include "decoding/color/ProfileCheck.h"
#include "decoding/headers/HeifItems.h"
#include "pixels/Limits.h"
#include "pixels/RowSink.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <libheif/heif.h>

namespace tavolin {

namespace {

/// Measured: two are faster than one and than libheif's own choice.
constexpr int DECODING_THREADS = 2;

struct FreeContext
{
    void operator()(heif_context *context) const { heif_context_free(context); }
};
struct FreeHandle
{
    void operator()(heif_image_handle *handle) const { heif_image_handle_release(handle); }
};
struct FreeImage
{
    void operator()(heif_image *image) const { heif_image_release(image); }
};
struct FreeNclx
{
    void operator()(heif_color_profile_nclx *nclx) const { heif_nclx_color_profile_free(nclx); }
};

bool isGood(const heif_error &error)
{
    return error.code == heif_error_Ok;
}

QByteArray profileOf(const heif_image_handle *handle)
{
    const std::size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    if (size > 0 && size < (std::size_t{16} << 20)) {
        QByteArray icc(static_cast<qsizetype>(size), '\0');
        return isGood(heif_image_handle_get_raw_color_profile(handle, icc.data()))
                   ? soundProfile(std::move(icc))
                   : QByteArray();
    }
    heif_color_profile_nclx *found = nullptr;
    if (!isGood(heif_image_handle_get_nclx_color_profile(handle, &found)))
        return {};
    const std::unique_ptr<heif_color_profile_nclx, FreeNclx> nclx(found);
    return nclx->color_primaries == heif_color_primaries_SMPTE_EG_432_1 ? displayP3Profile()
                                                                        : QByteArray();
}

/// @p row of red, green, blue and alpha bytes as pixels.
void toPixels(const std::uint8_t *row, int width, bool hasAlpha, Pixel *out)
{
    for (int x = 0; x < width; ++x, row += 4) {
        const Pixel alpha = hasAlpha ? row[3] : 0xff;
        const auto scaled = [alpha](Pixel color) { return (color * alpha + 127) / 255; };
        out[x] = alpha << 24 | scaled(row[0]) << 16 | scaled(row[1]) << 8 | scaled(row[2]);
    }
}

/// A file and its primary picture, for as long as it lives.
class OpenFile
{
public:
    explicit OpenFile(const SourceFile &file) : m_context(heif_context_alloc())
    {
        // Whole: once libheif knows how large a file is, a read that gives less ends the program.
        // It would in a file that is cut meanwhile, and after a stop request.
        if (!m_context || file.size() > MAX_WHOLE_FILE_BYTES || !isSoundHeif(file))
            return;
        m_contents = file.bytesAt(0, file.size());
        heif_image_handle *primary = nullptr;
        if (m_contents.size() == file.size() &&
            isGood(heif_context_read_from_memory_without_copy(
                m_context.get(), m_contents.constData(),
                static_cast<std::size_t>(m_contents.size()), nullptr)) &&
            isGood(heif_context_get_primary_image_handle(m_context.get(), &primary)))
            m_primary.reset(primary);
    }

    [[nodiscard]] heif_context *context() const { return m_context.get(); }
    /// Null when the file can't be read.
    [[nodiscard]] heif_image_handle *primary() const { return m_primary.get(); }

private:
    QByteArray m_contents; // outlives what is below
    std::unique_ptr<heif_context, FreeContext> m_context;
    std::unique_ptr<heif_image_handle, FreeHandle> m_primary;
};

ScaledPicture decode(const SourceFile &file, const SizeRule &rule)
{
    const OpenFile open(file);
    heif_image_handle *primary = open.primary();
    if (!primary)
        return {};
    useOwnHevcDecoder();
    heif_context_set_max_decoding_threads(open.context(), DECODING_THREADS);
    const QSize claimed(heif_image_handle_get_width(primary),
                        heif_image_handle_get_height(primary));
    if (!isWithinLimits(claimed, HEIF_BYTES_PER_PIXEL) || file.stopToken().stop_requested())
        return {};

    heif_image *image = nullptr;
    if (!isGood(heif_decode_image(primary, &image, heif_colorspace_RGB,
                                  heif_chroma_interleaved_RGBA, nullptr)))
        return {};
    const std::unique_ptr<heif_image, FreeImage> decoded(image);
    const QSize size(heif_image_get_width(image, heif_channel_interleaved),
                     heif_image_get_height(image, heif_channel_interleaved));
    int stride = 0;
    const std::uint8_t *plane =
        heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    if (!plane || !isWithinLimits(size) || stride < size.width() * 4)
        return {};

    const bool hasAlpha = heif_image_handle_has_alpha_channel(primary) != 0;
    RowSink sink(size, rule.sizesOf(size));
    if (!sink.isReady())
        return {};
    for (int y = 0; y < size.height(); ++y) {
        toPixels(plane + std::ptrdiff_t{stride} * y, size.width(), hasAlpha, sink.nextRow());
        sink.rowDone();
    }
    return std::move(sink).takePicture(hasAlpha ? Alpha::Premultiplied : Alpha::Opaque,
                                       profileOf(primary));
}

} // namespace

ScaledPicture decodeHeif(const SourceFile &file, const SizeRule &rule)
{
    try {
        return decode(file, rule);
    } catch (...) {
        // libheif lets exceptions of its threads and its memory through.
        return {};
    }
}

} // namespace tavolin
