#pragma once
// HEIC files for tests, by libheif's own encoder where it was built with one.

#include <QByteArray>
#include <QImage>

#include <cstddef>
#include <cstring>
#include <memory>

#include <libheif/heif.h>

namespace tavolin::test {

struct HeicOptions
{
    int orientation = 1;      ///< EXIF 1 to 8: what the container says is to be done to the pixels.
    QByteArray iccProfile;    ///< Said to be the pixels' own.
    bool isDisplayP3 = false; ///< Primaries by number, without a profile.
    QByteArray exif;          ///< A TIFF block.
    QByteArray xmp;           ///< A packet.
};

inline bool canEncodeHeic()
{
    return heif_have_encoder_for_format(heif_compression_HEVC) != 0;
}

/// @p stored as a HEIC file, with alpha if its format has it. Empty on failure.
inline QByteArray encodeHeic(const QImage &stored, const HeicOptions &options = {})
{
    const bool hasAlpha = stored.hasAlphaChannel();
    const QImage rows =
        stored.convertToFormat(hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    const auto rowBytes = static_cast<std::size_t>(rows.width()) * (hasAlpha ? 4 : 3);

    const std::unique_ptr<heif_context, void (*)(heif_context *)> context(heif_context_alloc(),
                                                                          heif_context_free);
    heif_encoder *madeEncoder = nullptr;
    heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &madeEncoder);
    const std::unique_ptr<heif_encoder, void (*)(heif_encoder *)> encoder(madeEncoder,
                                                                          heif_encoder_release);
    heif_image *madeImage = nullptr;
    heif_image_create(rows.width(), rows.height(), heif_colorspace_RGB,
                      hasAlpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB,
                      &madeImage);
    const std::unique_ptr<heif_image, void (*)(const heif_image *)> image(madeImage,
                                                                          heif_image_release);
    if (!encoder || !image)
        return {};
    heif_encoder_set_lossy_quality(encoder.get(), 90);
    heif_image_add_plane(image.get(), heif_channel_interleaved, rows.width(), rows.height(),
                         hasAlpha ? 32 : 24);
    int stride = 0;
    std::uint8_t *plane = heif_image_get_plane(image.get(), heif_channel_interleaved, &stride);
    for (int y = 0; y < rows.height(); ++y)
        std::memcpy(plane + std::ptrdiff_t{stride} * y, rows.constScanLine(y), rowBytes);
    if (!options.iccProfile.isEmpty())
        heif_image_set_raw_color_profile(image.get(), "prof", options.iccProfile.constData(),
                                         static_cast<std::size_t>(options.iccProfile.size()));

    const std::unique_ptr<heif_encoding_options, void (*)(heif_encoding_options *)> encoding(
        heif_encoding_options_alloc(), heif_encoding_options_free);
    encoding->image_orientation = static_cast<heif_orientation>(options.orientation);
    const std::unique_ptr<heif_color_profile_nclx, void (*)(heif_color_profile_nclx *)> nclx(
        heif_nclx_color_profile_alloc(), heif_nclx_color_profile_free);
    if (options.isDisplayP3) {
        heif_nclx_color_profile_set_color_primaries(nclx.get(),
                                                    heif_color_primaries_SMPTE_EG_432_1);
        heif_image_set_nclx_color_profile(image.get(), nclx.get());
        // Otherwise the numbers are left out for the sake of older readers.
        encoding->macOS_compatibility_workaround_no_nclx_profile = 0;
    }
    heif_image_handle *madeHandle = nullptr;
    heif_context_encode_image(context.get(), image.get(), encoder.get(), encoding.get(),
                              &madeHandle);
    const std::unique_ptr<heif_image_handle, void (*)(const heif_image_handle *)> handle(
        madeHandle, heif_image_handle_release);
    if (!handle)
        return {};
    if (!options.exif.isEmpty())
        heif_context_add_exif_metadata(context.get(), handle.get(), options.exif.constData(),
                                       static_cast<int>(options.exif.size()));
    if (!options.xmp.isEmpty())
        heif_context_add_XMP_metadata(context.get(), handle.get(), options.xmp.constData(),
                                      static_cast<int>(options.xmp.size()));

    QByteArray bytes;
    heif_writer writer{.writer_api_version = 1,
                       .write = [](heif_context *, const void *data, std::size_t size, void *out) {
                           static_cast<QByteArray *>(out)->append(static_cast<const char *>(data),
                                                                  static_cast<qsizetype>(size));
                           return heif_error{heif_error_Ok, heif_suberror_Unspecified, nullptr};
                       }};
    const heif_error written = heif_context_write(context.get(), &writer, &bytes);
    return written.code == heif_error_Ok ? bytes : QByteArray();
}

} // namespace tavolin::test
