#include "decoding/codecs/HevcDecoder.h"

#include "decoding/headers/HeifItems.h"
#include "decoding/headers/HevcSize.h"
#include "pixels/Limits.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include <libde265/de265.h>
#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

namespace tavolin {

namespace {

/// Above that of the decoder that libheif brings.
constexpr int PRIORITY = 1000;
constexpr int SEQUENCE_PARAMETERS = 33; // ITU-T H.265, table 7-1
constexpr std::array CHANNELS{heif_channel_Y, heif_channel_Cb, heif_channel_Cr};

heif_error good()
{
    return {heif_error_Ok, heif_suberror_Unspecified, "good"};
}

heif_error bad(heif_error_code code)
{
    return {code, heif_suberror_Unspecified, "no picture"};
}

int channelsOf(const de265_image *image)
{
    return de265_get_chroma_format(image) == de265_chroma_mono ? 1 : 3;
}

int sampleBytes(const de265_image *image, int channel)
{
    return (de265_get_bits_per_pixel(image, channel) + 7) / 8;
}

void releaseBuffer(de265_decoder_context *, de265_image *image, void *)
{
    for (int channel = 0; channel < 3; ++channel) {
        std::free(de265_get_image_plane_user_data(image, channel));
        de265_set_image_plane(image, channel, nullptr, 0, nullptr);
    }
}

/// Memory for @p image, all of it the grey in the middle of its range.
int getBuffer(de265_decoder_context *context, de265_image_spec *spec, de265_image *image, void *)
{
    /// Vector code reads and writes a little beyond the end.
    constexpr std::size_t PADDING_BYTES = 64;
    constexpr std::size_t ALIGNMENT = 64;
    if (!isWithinLimits({spec->width, spec->height}, HEIF_BYTES_PER_PIXEL))
        return 0;
    const de265_chroma chroma = de265_get_chroma_format(image);
    for (int channel = 0; channel < 3; ++channel)
        de265_set_image_plane(image, channel, nullptr, 0, nullptr);
    for (int channel = 0; channel < channelsOf(image); ++channel) {
        const bool isHalfAcross =
            channel > 0 && (chroma == de265_chroma_420 || chroma == de265_chroma_422);
        const bool isHalfDown = channel > 0 && chroma == de265_chroma_420;
        const int width = isHalfAcross ? (spec->width + 1) / 2 : spec->width;
        const int height = isHalfDown ? (spec->height + 1) / 2 : spec->height;
        const int alignment = std::max(1, spec->alignment);
        const int stride = (width + alignment - 1) / alignment * alignment;
        const int strideBytes = stride * sampleBytes(image, channel);
        const auto bytes = static_cast<std::size_t>(strideBytes) * static_cast<std::size_t>(height);
        void *memory = std::aligned_alloc(ALIGNMENT, (bytes + PADDING_BYTES + ALIGNMENT - 1) /
                                                         ALIGNMENT * ALIGNMENT);
        if (!memory) {
            releaseBuffer(context, image, nullptr);
            return 0;
        }
        const auto grey =
            static_cast<std::uint16_t>(1U << (de265_get_bits_per_pixel(image, channel) - 1));
        if (sampleBytes(image, channel) == 1)
            std::memset(memory, grey, bytes);
        else
            std::fill_n(static_cast<std::uint16_t *>(memory), bytes / 2, grey);
        de265_set_image_plane(image, channel, memory, strideBytes, memory);
    }
    return 1;
}

struct FreeImage
{
    void operator()(heif_image *image) const { heif_image_release(image); }
};
using HeifImage = std::unique_ptr<heif_image, FreeImage>;

struct FreeColors
{
    void operator()(heif_color_profile_nclx *colors) const { heif_nclx_color_profile_free(colors); }
};

/// What the stream says of its colours.
void copyColors(const de265_image *from, heif_image *to)
{
    const std::unique_ptr<heif_color_profile_nclx, FreeColors> colors(
        heif_nclx_color_profile_alloc());
    if (!colors)
        return;
    // Numbers that nobody knows are left as they are.
    heif_nclx_color_profile_set_color_primaries(
        colors.get(), static_cast<std::uint16_t>(de265_get_image_colour_primaries(from)));
    heif_nclx_color_profile_set_transfer_characteristics(
        colors.get(), static_cast<std::uint16_t>(de265_get_image_transfer_characteristics(from)));
    heif_nclx_color_profile_set_matrix_coefficients(
        colors.get(), static_cast<std::uint16_t>(de265_get_image_matrix_coefficients(from)));
    colors->full_range_flag = de265_get_image_full_range_flag(from) != 0;
    heif_image_set_nclx_color_profile(to, colors.get());
}

HeifImage converted(const de265_image *image)
{
    const de265_chroma chroma = de265_get_chroma_format(image);
    heif_image *made = nullptr;
    if (heif_image_create(de265_get_image_width(image, 0), de265_get_image_height(image, 0),
                          chroma == de265_chroma_mono ? heif_colorspace_monochrome
                                                      : heif_colorspace_YCbCr,
                          static_cast<heif_chroma>(chroma), &made)
            .code != heif_error_Ok)
        return nullptr;
    HeifImage result(made);
    for (int i = 0; i < channelsOf(image); ++i) {
        const heif_channel channel = CHANNELS[static_cast<std::size_t>(i)];
        const int width = de265_get_image_width(image, i);
        const int height = de265_get_image_height(image, i);
        int fromStride = 0;
        const std::uint8_t *from = de265_get_image_plane(image, i, &fromStride);
        if (!from || width <= 0 || height <= 0 ||
            heif_image_add_plane(made, channel, width, height, de265_get_bits_per_pixel(image, i))
                    .code != heif_error_Ok)
            return nullptr;
        int toStride = 0;
        std::uint8_t *to = heif_image_get_plane(made, channel, &toStride);
        const std::size_t rowBytes =
            static_cast<std::size_t>(width) * static_cast<std::size_t>(sampleBytes(image, i));
        for (int y = 0; to && y < height; ++y, from += fromStride, to += toStride)
            std::memcpy(to, from, rowBytes);
    }
    copyColors(image, made);
    return result;
}

/// One stream.
class HevcDecoder
{
public:
    HevcDecoder() : m_context(de265_new_decoder())
    {
        if (m_context)
            de265_start_worker_threads(m_context, 1);
    }
    ~HevcDecoder()
    {
        if (m_context)
            de265_free_decoder(m_context);
    }
    HevcDecoder(const HevcDecoder &) = delete;
    HevcDecoder &operator=(const HevcDecoder &) = delete;

    /// Takes units, each after its length in four bytes.
    [[nodiscard]] bool push(ByteSpan units)
    {
        while (!units.empty()) {
            if (units.size() < 4)
                return false;
            const auto length = bigEndian<quint32>(units, 0);
            units = units.subspan(4);
            if (length > units.size() || !m_context || !pushUnit(units.first(length)))
                return false;
            units = units.subspan(length);
        }
        return true;
    }

    [[nodiscard]] HeifImage decode()
    {
        HeifImage result;
        if (!m_context)
            return result;
        de265_flush_data(m_context);
        for (int more = 1; more != 0;) {
            more = 0;
            if (de265_decode(m_context, &more) != DE265_OK)
                break;
            if (const de265_image *image = de265_get_next_picture(m_context)) {
                result = converted(image);
                de265_release_next_picture(m_context);
            }
        }
        return result;
    }

private:
    bool pushUnit(ByteSpan unit)
    {
        const bool isSize =
            !unit.empty() && (std::to_integer<int>(unit[0]) >> 1 & 0x3f) == SEQUENCE_PARAMETERS;
        if (isSize) {
            const auto size = hevcSizeOf(unit);
            if (!size || (m_size && *m_size != *size))
                return false;
            m_size = size;
        }
        return de265_push_NAL(m_context, unit.data(), static_cast<int>(unit.size()), 0, nullptr) ==
               DE265_OK;
    }

    de265_decoder_context *m_context;
    std::optional<QSize> m_size;
};

HevcDecoder &decoderOf(void *decoder)
{
    return *static_cast<HevcDecoder *>(decoder);
}

const heif_decoder_plugin PLUGIN{
    .plugin_api_version = 3,
    .get_plugin_name = [] { return "tavolin"; },
    .init_plugin = [] {},
    .deinit_plugin = [] {},
    .does_support_format =
        [](heif_compression_format format) {
            return format == heif_compression_HEVC ? PRIORITY : 0;
        },
    .new_decoder =
        [](void **decoder) {
            *decoder = new HevcDecoder;
            return good();
        },
    .free_decoder = [](void *decoder) { delete &decoderOf(decoder); },
    .push_data =
        [](void *decoder, const void *data, std::size_t size) {
            const ByteSpan units(static_cast<const std::byte *>(data), size);
            return decoderOf(decoder).push(units) ? good() : bad(heif_error_Invalid_input);
        },
    .decode_image =
        [](void *decoder, heif_image **image) {
            *image = decoderOf(decoder).decode().release();
            return *image ? good() : bad(heif_error_Decoder_plugin_error);
        },
    .set_strict_decoding = [](void *, int) {},
    .id_name = "tavolin",
};

} // namespace

void useOwnHevcDecoder()
{
    static std::once_flag isDone;
    std::call_once(isDone, [] {
        heif_init(nullptr); // loads its plugins now; newer ones would with the first file
        de265_init();       // libheif does so for its own decoder
        // Functions of one decoder are not asked for the buffer that a filtered picture goes to,
        // nor for any without threads. These are, and are no constants, whatever their type says.
        *const_cast<de265_image_allocation *>(de265_get_default_image_allocation_functions()) = {
            getBuffer, releaseBuffer};
        heif_register_decoder_plugin(&PLUGIN);
    });
}

} // namespace tavolin
