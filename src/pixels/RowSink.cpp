#include "pixels/RowSink.h"

#include "pixels/Limits.h"

#include <algorithm>
#include <limits>

namespace tavolin {

namespace {

/// Source rows handed over at a time: few enough to stay in the cache, enough to wake seldom.
constexpr int BATCH_ROWS = 16;
/// Said instead of a row count when no more rows will come and none are wanted.
constexpr int ABANDONED = std::numeric_limits<int>::min();

} // namespace

RowSink::Scaling::Scaling(QSize source, PixelBuffer &buffer)
    : plan(source, buffer.size()), target(&buffer)
{
    // The scaler has nowhere to go with a lack of memory.
    window.resize(static_cast<std::size_t>(plan.windowRows()));
    scratch.resize(plan.scratchSize());
}

RowSink::RowSink(QSize source, const PictureSizes &sizes)
    : m_source(source), m_sizes(source == sizes.image ? PictureSizes{source} : sizes),
      m_image(PixelBuffer::recycled(isWithinLimits(m_sizes.image) ? m_sizes.image : QSize())),
      m_rendition(
          PixelBuffer::recycled(isWithinLimits(m_sizes.rendition) ? m_sizes.rendition : QSize()))
{
    if (source == m_sizes.image || !isReady())
        return;
    m_scalings.emplace_back(source, m_image);
    if (!m_rendition.isNull())
        m_scalings.emplace_back(source, m_rendition);
    int window = 0;
    for (const Scaling &scaling : m_scalings)
        window = std::max(window, scaling.plan.windowRows());
    m_ringRows = std::min(window + 4 * BATCH_ROWS, source.height());
    m_ring.resize(static_cast<std::size_t>(m_ringRows) * static_cast<std::size_t>(source.width()));
}

RowSink::~RowSink()
{
    abandonScaler();
}

bool RowSink::isReady() const
{
    return !m_image.isNull() && (m_rendition.isNull() == m_sizes.rendition.isEmpty());
}

void RowSink::abandonScaler()
{
    if (!m_scaler.joinable())
        return;
    m_given = ABANDONED;
    m_given.notify_one();
    m_scaler.join();
}

Pixel *RowSink::ringRow(int row)
{
    return m_ring.data() + std::ptrdiff_t{row % m_ringRows} * m_source.width();
}

Pixel *RowSink::nextRow()
{
    if (!isScaled())
        return m_image.row(m_taken);
    // The row that this one takes the place of must not be needed any more.
    for (int needed = m_needed; m_taken - needed >= m_ringRows; needed = m_needed)
        m_needed.wait(needed);
    return ringRow(m_taken);
}

void RowSink::rowDone()
{
    ++m_taken;
    if (!isScaled() || (m_taken % BATCH_ROWS != 0 && m_taken != m_source.height()))
        return;
    handOver();
}

void RowSink::handOver()
{
    m_given = m_taken;
    if (m_isScaledWhereFed)
        scaleRows(m_taken);
    else if (m_scaler.joinable())
        m_given.notify_one();
    else
        m_scaler = std::thread(&RowSink::runScaler, this);
}

void RowSink::runScaler()
{
    for (int given = m_given; given != ABANDONED; given = m_given) {
        scaleRows(given);
        if (std::ranges::all_of(m_scalings, &Scaling::isDone))
            return;
        m_given.wait(given);
    }
}

void RowSink::makeRow(Scaling &scaling)
{
    for (std::size_t i = 0; i < scaling.window.size(); ++i)
        scaling.window[i] =
            ringRow(std::min(scaling.firstNeeded() + static_cast<int>(i), m_source.height() - 1));
    scaling.plan.makeRow(scaling.made, scaling.window.data(), scaling.target->row(scaling.made),
                         scaling.scratch);
    ++scaling.made;
}

void RowSink::scaleRows(int given)
{
    const auto isBehind = [](const Scaling &a, const Scaling &b) {
        return !a.isDone() && (b.isDone() || a.lastNeeded() < b.lastNeeded());
    };
    for (;;) {
        Scaling &next = *std::min_element(m_scalings.begin(), m_scalings.end(), isBehind);
        if (next.isDone() || next.lastNeeded() >= given)
            return;
        makeRow(next);
        int needed = m_source.height();
        for (const Scaling &scaling : m_scalings)
            needed = scaling.isDone() ? needed : std::min(needed, scaling.firstNeeded());
        m_needed = needed;
        m_needed.notify_one();
    }
}

void RowSink::fillRows(int end, Pixel color)
{
    while (m_taken < end) {
        std::fill_n(nextRow(), m_source.width(), color);
        rowDone();
    }
}

void RowSink::fillRest(Pixel color)
{
    // Behind the rows that something else has a part in, the targets' are of that colour: there is
    // no need to reckon, which takes as long as for any other rows.
    const auto firstPlain = [taken = m_taken](const Scaling &scaling) {
        int row = 0;
        while (row < scaling.target->size().height() && scaling.plan.firstSourceRow(row) < taken)
            ++row;
        return row;
    };
    int mixedEnd = isScaled() ? 0 : m_source.height(); // of the source rows
    for (const Scaling &scaling : m_scalings)
        if (const int plain = firstPlain(scaling); plain > 0)
            mixedEnd = std::max(mixedEnd, scaling.plan.lastSourceRow(plain - 1) + 1);
    fillRows(mixedEnd, color);
    if (mixedEnd == m_source.height())
        return;
    // What the scaler has not come to yet is made here.
    abandonScaler();
    for (Scaling &scaling : m_scalings) {
        PixelBuffer &target = *scaling.target;
        while (!scaling.isDone() && scaling.lastNeeded() < mixedEnd)
            makeRow(scaling);
        for (; !scaling.isDone(); ++scaling.made)
            std::fill_n(target.row(scaling.made), target.size().width(), color);
    }
    m_taken = m_source.height();
}

RowSink::Buffers RowSink::takeBuffers() &&
{
    if (m_scaler.joinable())
        m_scaler.join();
    // Its memory may have been another picture's.
    if (!isScaled())
        fillRest(0);
    return {std::move(m_image), std::move(m_rendition)};
}

ScaledPicture RowSink::takePicture(Alpha alpha, QByteArray iccProfile) &&
{
    Buffers pixels = std::move(*this).takeBuffers();
    for (PixelBuffer *buffer : {&pixels.image, &pixels.rendition})
        for (int y = 0; isScaled() && alpha == Alpha::Premultiplied && y < buffer->size().height();
             ++y)
            limitToAlpha(buffer->row(y), buffer->size().width());
    return {std::move(pixels.image).toImage(alpha, iccProfile),
            std::move(pixels.rendition).toImage(alpha, iccProfile)};
}

} // namespace tavolin
