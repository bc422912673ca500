#include "decoding/codecs/WebPCodec.h"

#include "decoding/color/ProfileCheck.h"
#include "pixels/Limits.h"
#include "pixels/Resample.h"
#include "pixels/RowSink.h"

#include <QRect>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <utility>

#include <webp/decode.h>
#include <webp/demux.h>

namespace tavolin {

namespace {

constexpr WEBP_CSP_MODE SCREEN_PIXELS =
    std::endian::native == std::endian::little ? MODE_BGRA : MODE_ARGB;
/// A frame is given to the decoder in so many steps: after each the stop request is looked at and
/// rows go on, so few that the sink has room for them. Of lossless frames some rows are begun anew
/// with each.
constexpr std::size_t LOSSY_STEPS = 128;
constexpr std::size_t LOSSLESS_STEPS = 32;
constexpr std::size_t LEAST_STEP_BYTES = 1 << 14;
/// Of WebPBitstreamFeatures::format, which has no names for its values.
constexpr int LOSSLESS = 2;

struct DeleteDemuxer
{
    void operator()(WebPDemuxer *demuxer) const { WebPDemuxDelete(demuxer); }
};
struct DeleteDecoder
{
    void operator()(WebPIDecoder *decoder) const { WebPIDelete(decoder); }
};

/// The parts of a file, which it refers to.
class Container
{
public:
    explicit Container(const QByteArray &bytes);
    ~Container() { WebPDemuxReleaseIterator(&m_frame); }
    Container(const Container &) = delete;
    Container &operator=(const Container &) = delete;

    /// False when there is no frame of sensible size.
    [[nodiscard]] bool hasFrame() const { return m_hasFrame; }
    [[nodiscard]] QSize canvas() const { return m_canvas; }
    /// Where on the canvas the first frame lies, all of it inside.
    [[nodiscard]] QRect place() const
    {
        return {m_frame.x_offset, m_frame.y_offset, m_frame.width, m_frame.height};
    }
    [[nodiscard]] bool fillsCanvas() const { return place().size() == m_canvas; }
    [[nodiscard]] bool hasAlpha() const { return m_frame.has_alpha != 0; }
    [[nodiscard]] Alpha alpha() const
    {
        return hasAlpha() || !fillsCanvas() ? Alpha::Premultiplied : Alpha::Opaque;
    }
    /// The first frame, or what there is of it.
    [[nodiscard]] const WebPData &data() const { return m_frame.fragment; }
    [[nodiscard]] QByteArray iccProfile() const;

private:
    std::unique_ptr<WebPDemuxer, DeleteDemuxer> m_demuxer;
    WebPIterator m_frame{};
    QSize m_canvas;
    bool m_hasFrame = false;
};

Container::Container(const QByteArray &bytes)
{
    const WebPData data{reinterpret_cast<const std::uint8_t *>(bytes.constData()),
                        static_cast<std::size_t>(bytes.size())};
    WebPDemuxState state = WEBP_DEMUX_PARSE_ERROR;
    m_demuxer.reset(WebPDemuxPartial(&data, &state));
    if (!m_demuxer || WebPDemuxGetFrame(m_demuxer.get(), 1, &m_frame) == 0)
        return;
    const auto side = [this](WebPFormatFeature feature) {
        return static_cast<int>(WebPDemuxGetI(m_demuxer.get(), feature));
    };
    m_canvas = {side(WEBP_FF_CANVAS_WIDTH), side(WEBP_FF_CANVAS_HEIGHT)};
    m_hasFrame = isWithinLimits(m_canvas, sizeof(Pixel)) && !place().isEmpty() &&
                 QRect({0, 0}, m_canvas).contains(place());
}

QByteArray Container::iccProfile() const
{
    WebPChunkIterator chunk{};
    QByteArray profile;
    if ((WebPDemuxGetI(m_demuxer.get(), WEBP_FF_FORMAT_FLAGS) & ICCP_FLAG) != 0 &&
        WebPDemuxGetChunk(m_demuxer.get(), "ICCP", 1, &chunk) != 0 &&
        chunk.chunk.size <= std::size_t{MAX_PROFILE_BYTES})
        profile = {reinterpret_cast<const char *>(chunk.chunk.bytes),
                   static_cast<qsizetype>(chunk.chunk.size)};
    WebPDemuxReleaseChunkIterator(&chunk);
    return soundProfile(std::move(profile));
}

/// Decodes one frame into pixels whose colours are not multiplied by their alpha.
class FrameDecoder
{
public:
    FrameDecoder(const WebPData &data, PixelBuffer &frame);
    FrameDecoder(const FrameDecoder &) = delete;
    FrameDecoder &operator=(const FrameDecoder &) = delete;

    /// Goes on for some rows; false when there is nothing more to come.
    [[nodiscard]] bool step();
    /// How many rows are done, from the top.
    [[nodiscard]] int rows() const { return m_rows; }

private:
    WebPData m_data;
    WebPDecoderConfig m_config{};
    std::unique_ptr<WebPIDecoder, DeleteDecoder> m_decoder;
    std::size_t m_given = 0;
    int m_rows = 0;
};

FrameDecoder::FrameDecoder(const WebPData &data, PixelBuffer &frame) : m_data(data)
{
    if (WebPInitDecoderConfig(&m_config) == 0 ||
        WebPGetFeatures(data.bytes, data.size, &m_config.input) != VP8_STATUS_OK)
        return;
    m_config.options.use_threads = 1; // the filter of a lossy frame follows on a thread of its own
    m_config.output.colorspace = SCREEN_PIXELS;
    m_config.output.is_external_memory = 1;
    WebPRGBABuffer &out = m_config.output.u.RGBA;
    out.rgba = reinterpret_cast<std::uint8_t *>(frame.row(0));
    out.stride = frame.size().width() * static_cast<int>(sizeof(Pixel));
    out.size = static_cast<std::size_t>(pixelCount(frame.size())) * sizeof(Pixel);
    m_decoder.reset(WebPIDecode(nullptr, 0, &m_config));
}

bool FrameDecoder::step()
{
    if (!m_decoder || m_given == m_data.size)
        return false;
    const std::size_t steps = m_config.input.format == LOSSLESS ? LOSSLESS_STEPS : LOSSY_STEPS;
    m_given = std::min(m_given + std::max(m_data.size / steps, LEAST_STEP_BYTES), m_data.size);
    const VP8StatusCode status = WebPIUpdate(m_decoder.get(), m_data.bytes, m_given);
    int rows = 0;
    if (WebPIDecGetRGB(m_decoder.get(), &rows, nullptr, nullptr, nullptr))
        m_rows = std::max(m_rows, rows);
    return status == VP8_STATUS_SUSPENDED;
}

/// A decoded row of @p container's frame as it is shown, in @p out, which may be the same.
void finishRow(const Container &container, const Pixel *row, Pixel *out)
{
    const Pixel *end = row + container.place().width();
    if (container.hasAlpha())
        std::transform(row, end, out, premultiplied);
    else
        std::transform(row, end, out, [](Pixel pixel) { return pixel | 0xff000000; });
}

/// Hands on the rows of the canvas above @p end that @p sink has not taken yet.
void feed(const Container &container, PixelBuffer &frame, int end, RowSink &sink)
{
    const QRect place = container.place();
    while (sink.rowsTaken() < end) {
        const int y = sink.rowsTaken() - place.y();
        Pixel *out = sink.nextRow();
        if (!container.fillsCanvas())
            std::fill_n(out, container.canvas().width(), 0);
        if (y >= 0 && y < place.height())
            finishRow(container, frame.row(y), out + place.x());
        sink.rowDone();
    }
}

/// Makes what lies under the first @p rows rows of @p frame missing.
void clearBelow(int rows, PixelBuffer &frame)
{
    for (int y = rows; y < frame.size().height(); ++y)
        std::fill_n(frame.row(y), frame.size().width(), MISSING);
}

ScaledPicture decodeAtFullSize(const SourceFile &file, const Container &container,
                               PixelBuffer frame)
{
    FrameDecoder decoder(container.data(), frame);
    while (!file.stopToken().stop_requested() && decoder.step())
        ;
    if (decoder.rows() == 0 || file.stopToken().stop_requested())
        return {};
    clearBelow(decoder.rows(), frame);
    for (int y = 0; y < frame.size().height(); ++y)
        finishRow(container, frame.row(y), frame.row(y));
    return {std::move(frame).toImage(container.alpha(), container.iccProfile())};
}

ScaledPicture decodeThroughSink(const SourceFile &file, const Container &container,
                                PixelBuffer frame, const PictureSizes &sizes)
{
    RowSink sink(container.canvas(), sizes);
    if (!sink.isReady())
        return {};
    FrameDecoder decoder(container.data(), frame);
    while (!file.stopToken().stop_requested() && decoder.step())
        feed(container, frame, container.place().y() + decoder.rows(), sink);
    if (decoder.rows() == 0 || file.stopToken().stop_requested())
        return {};
    clearBelow(decoder.rows(), frame);
    feed(container, frame, container.canvas().height(), sink);
    return std::move(sink).takePicture(container.alpha(), container.iccProfile());
}

} // namespace

ScaledPicture decodeWebP(const SourceFile &file, const SizeRule &rule)
{
    if (file.size() > MAX_WHOLE_FILE_BYTES)
        return {};
    const QByteArray bytes = file.bytesAt(0, file.size());
    const Container container(bytes);
    if (!container.hasFrame())
        return {};
    PixelBuffer frame(container.place().size());
    if (frame.isNull())
        return {};
    const PictureSizes sizes = rule.sizesOf(container.canvas());
    return sizes.image == container.canvas() && container.fillsCanvas()
               ? decodeAtFullSize(file, container, std::move(frame))
               : decodeThroughSink(file, container, std::move(frame), sizes);
}

} // namespace tavolin
