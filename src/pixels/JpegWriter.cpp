#include "pixels/JpegWriter.h"

#include "pixels/Bands.h"

#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <string_view>
#include <vector>

#include <csetjmp>

#include <jpeglib.h>

#include <jerror.h>

namespace tavolin {

namespace {

/// Premultiplied colours are those that are seen over black, so alpha need not be looked at.
constexpr J_COLOR_SPACE SCREEN_PIXELS =
    std::endian::native == std::endian::little ? JCS_EXT_BGRX : JCS_EXT_XRGB;

/// Rows between two restart markers: four rows of blocks, so that their two bytes don't count.
constexpr int RESTART_BLOCK_ROWS = 4;
constexpr int RESTART_ROWS = RESTART_BLOCK_ROWS * DCTSIZE;
/// A part that can be compressed alone: markers are numbered from 0 to 7, so after eight of them
/// (or their gaps) the next part begins as the file does, and every part but the last is so long.
constexpr int PART_ROWS = 8 * RESTART_ROWS;

constexpr std::string_view EXIF_HEADER{"Exif\0", 6};
constexpr std::string_view XMP_HEADER{"http://ns.adobe.com/xap/1.0/", 29};
constexpr std::string_view PHOTOSHOP_HEADER{"Photoshop 3.0", 14};

/// libjpeg's objects for one file, or a part of one. What can fail runs in run(), where the jump is
/// caught; no object with a destructor is made there.
class Compressor
{
public:
    Compressor();
    ~Compressor();
    Compressor(const Compressor &) = delete;
    Compressor &operator=(const Compressor &) = delete;

    [[nodiscard]] bool run(const Image &image, int quality, const JpegMetadata &metadata);
    [[nodiscard]] QByteArray bytes() const
    {
        return {reinterpret_cast<const char *>(m_buffer), static_cast<qsizetype>(m_size)};
    }

private:
    static Compressor &self(j_compress_ptr info)
    {
        return *static_cast<Compressor *>(info->client_data);
    }
    [[noreturn]] static void fail(j_common_ptr info);
    /// Makes room for @p size bytes; what is there stays.
    void grow(std::size_t size);
    void writeSegment(int marker, std::string_view header, const QByteArray &content);

    jpeg_compress_struct m_info{};
    jpeg_error_mgr m_errors{};
    jpeg_destination_mgr m_destination{};
    std::jmp_buf m_jump{};
    JOCTET *m_buffer = nullptr;
    std::size_t m_size = 0; // of the buffer, and in the end of the file
};

Compressor::Compressor()
{
    m_info.err = jpeg_std_error(&m_errors);
    m_errors.error_exit = fail;
    m_errors.output_message = [](j_common_ptr) {};
    m_info.client_data = this;
    m_destination.init_destination = [](j_compress_ptr info) { self(info).grow(1 << 20); };
    m_destination.empty_output_buffer = [](j_compress_ptr info) -> boolean {
        self(info).grow(2 * self(info).m_size);
        return TRUE;
    };
    m_destination.term_destination = [](j_compress_ptr info) {
        self(info).m_size -= self(info).m_destination.free_in_buffer;
    };
}

Compressor::~Compressor()
{
    jpeg_destroy_compress(&m_info);
    std::free(m_buffer);
}

void Compressor::fail(j_common_ptr info)
{
    std::longjmp(static_cast<Compressor *>(info->client_data)->m_jump, 1);
}

void Compressor::grow(std::size_t size)
{
    auto *buffer = static_cast<JOCTET *>(std::realloc(m_buffer, size));
    if (!buffer)
        ERREXIT1(&m_info, JERR_OUT_OF_MEMORY, 0);
    m_destination.next_output_byte = buffer + m_size;
    m_destination.free_in_buffer = size - m_size;
    m_buffer = buffer;
    m_size = size;
}

void Compressor::writeSegment(int marker, std::string_view header, const QByteArray &content)
{
    constexpr std::size_t MAX_SEGMENT_BYTES = 65533;
    const auto size = header.size() + static_cast<std::size_t>(content.size());
    if (content.isEmpty() || size > MAX_SEGMENT_BYTES)
        return;
    jpeg_write_m_header(&m_info, marker, static_cast<unsigned>(size));
    for (const char byte : header)
        jpeg_write_m_byte(&m_info, static_cast<unsigned char>(byte));
    for (const char byte : content)
        jpeg_write_m_byte(&m_info, static_cast<unsigned char>(byte));
}

bool Compressor::run(const Image &image, int quality, const JpegMetadata &metadata)
{
    if (setjmp(m_jump) != 0)
        return false;
    jpeg_create_compress(&m_info);
    m_info.dest = &m_destination;
    m_info.image_width = static_cast<JDIMENSION>(image.width());
    m_info.image_height = static_cast<JDIMENSION>(image.height());
    m_info.input_components = 4;
    m_info.in_color_space = SCREEN_PIXELS;
    jpeg_set_defaults(&m_info);
    jpeg_set_quality(&m_info, quality, TRUE);
    m_info.restart_in_rows = RESTART_BLOCK_ROWS;
    for (int i = 0; i < m_info.num_components; ++i) {
        m_info.comp_info[i].h_samp_factor = 1;
        m_info.comp_info[i].v_samp_factor = 1;
    }
    // EXIF 2.32, 4.7.2, wants its segment to be the first.
    m_info.write_JFIF_header = metadata.exif.isEmpty() ? TRUE : FALSE;
    m_info.density_unit = metadata.density.unit;
    m_info.X_density = metadata.density.x;
    m_info.Y_density = metadata.density.y;
    jpeg_start_compress(&m_info, TRUE);
    writeSegment(JPEG_APP0 + 1, EXIF_HEADER, metadata.exif);
    writeSegment(JPEG_APP0 + 1, XMP_HEADER, metadata.xmp);
    writeSegment(JPEG_APP0 + 13, PHOTOSHOP_HEADER, metadata.photoshop);
    for (const QByteArray &comment : metadata.comments)
        writeSegment(JPEG_COM, {}, comment);
    const QByteArray &profile =
        image.iccProfile().isEmpty() ? metadata.defaultProfile : image.iccProfile();
    if (!profile.isEmpty() && profile.size() <= JpegMetadata::MAX_PROFILE_BYTES)
        jpeg_write_icc_profile(&m_info, reinterpret_cast<const JOCTET *>(profile.constData()),
                               static_cast<unsigned>(profile.size()));
    while (m_info.next_scanline < m_info.image_height) {
        // libjpeg does not write there, it only lacks the word for it.
        auto *row = reinterpret_cast<JSAMPROW>(
            const_cast<Pixel *>(image.row(static_cast<int>(m_info.next_scanline))));
        jpeg_write_scanlines(&m_info, &row, 1);
    }
    jpeg_finish_compress(&m_info);
    return true;
}

QByteArray compressed(const Image &image, int quality, const JpegMetadata &metadata)
{
    Compressor compressor;
    return compressor.run(image, quality, metadata) ? compressor.bytes() : QByteArray();
}

/// Where the segment with @p marker, before or at the start of the scan, begins in @p jpeg, a file
/// of ours.
qsizetype segmentWith(int marker, const QByteArray &jpeg)
{
    qsizetype at = 2; // behind the file's own mark
    while (static_cast<unsigned char>(jpeg[at + 1]) != marker)
        at += 2 + qFromBigEndian<quint16>(jpeg.constData() + at + 2);
    return at;
}

/// One file made of @p parts, each a file of its own with the next rows of a picture that has
/// @p height of them (ITU-T T.81, B.1.1.5: what stands between two restart markers depends on
/// nothing before it).
QByteArray joined(const std::vector<QByteArray> &parts, int height)
{
    constexpr int FRAME = 0xc0;
    constexpr int SCAN = 0xda;
    constexpr char LAST_RESTART[] = "\xff\xd7";
    constexpr qsizetype END_BYTES = 2;
    QByteArray file;
    file.reserve(
        std::accumulate(parts.begin(), parts.end(), qsizetype{0},
                        [](qsizetype sum, const QByteArray &part) { return sum + part.size(); }));
    file += parts.front();
    // Marker, length and precision stand before the height (B.2.2).
    qToBigEndian(static_cast<quint16>(height), file.data() + segmentWith(FRAME, file) + 5);
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const qsizetype scan = segmentWith(SCAN, parts[i]);
        const qsizetype rows = scan + 2 + qFromBigEndian<quint16>(parts[i].constData() + scan + 2);
        file.chop(END_BYTES);
        file += LAST_RESTART;
        file.append(parts[i].constData() + rows, parts[i].size() - rows);
    }
    return file;
}

} // namespace

QByteArray writeJpeg(const Image &image, int quality, const JpegMetadata &metadata)
{
    if (image.isNull() || std::max(image.width(), image.height()) > JPEG_MAX_DIMENSION)
        return {};
    std::vector<QByteArray> parts(
        static_cast<std::size_t>((image.height() + PART_ROWS - 1) / PART_ROWS));
    // Each core takes the next part: some are harder than others.
    std::atomic<std::size_t> next = 0;
    forBands(static_cast<int>(parts.size()), 1, [&](int, int) {
        for (std::size_t i = next++; i < parts.size(); i = next++) {
            const QRect rows(0, static_cast<int>(i) * PART_ROWS, image.width(), PART_ROWS);
            const Image part = image.cropped(rows);
            parts[i] = i == 0 ? compressed(part, quality, metadata)
                              : compressed(part.withProfile({}), quality, {});
        }
    });
    const auto failed = std::ranges::find_if(parts, &QByteArray::isEmpty);
    return failed == parts.end() ? joined(parts, image.height()) : QByteArray();
}

} // namespace tavolin
