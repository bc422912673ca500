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

RowSink::RowSink(QSize source, QSize target)
    : m_source(source), m_target(PixelBuffer::recycled(isWithinLimits(target) ? target : QSize()))
{
    if (source == target || m_target.isNull())
        return;
    m_plan.emplace(source, target);
    m_ringRows = std::min(m_plan->windowRows() + 4 * BATCH_ROWS, source.height());
    m_ring.resize(static_cast<std::size_t>(m_ringRows) * static_cast<std::size_t>(source.width()));
    // The scaler has nowhere to go with a lack of memory.
    m_window.resize(static_cast<std::size_t>(m_plan->windowRows()));
    m_scratch.resize(m_plan->scratchSize());
}

RowSink::~RowSink()
{
    abandonScaler();
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
    if (!m_plan)
        return m_target.row(m_taken);
    // The row that this one takes the place of must not be needed any more.
    for (int made = m_made;
         made < m_target.size().height() && m_taken - m_plan->firstSourceRow(made) >= m_ringRows;
         made = m_made)
        m_made.wait(made);
    return ringRow(m_taken);
}

void RowSink::rowDone()
{
    ++m_taken;
    if (!m_plan || (m_taken % BATCH_ROWS != 0 && m_taken != m_source.height()))
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
        if (m_made == m_target.size().height())
            return;
        m_given.wait(given);
    }
}

void RowSink::scaleRows(int given)
{
    for (int y = m_made; y < m_target.size().height() && m_plan->lastSourceRow(y) < given; ++y) {
        for (int i = 0; i < m_plan->windowRows(); ++i)
            m_window[static_cast<std::size_t>(i)] =
                ringRow(std::min(m_plan->firstSourceRow(y) + i, m_source.height() - 1));
        m_plan->makeRow(y, m_window.data(), m_target.row(y), m_scratch);
        m_made = y + 1;
        m_made.notify_one();
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
    const int height = m_target.size().height();
    int rest = 0; // the first target row that is made of nothing else
    while (m_plan && rest < height && m_plan->firstSourceRow(rest) < m_taken)
        ++rest;
    if (!m_plan || rest == height) {
        fillRows(m_source.height(), color);
        return;
    }
    // What is made of one colour is of that colour: there is no need to reckon, which takes as long
    // as for any other rows.
    fillRows(rest > 0 ? m_plan->lastSourceRow(rest - 1) + 1 : 0, color);
    handOver();
    for (int made = m_made; made < rest; made = m_made)
        m_made.wait(made);
    abandonScaler();
    for (int y = rest; y < height; ++y)
        std::fill_n(m_target.row(y), m_target.size().width(), color);
    m_taken = m_source.height();
}

PixelBuffer RowSink::takeBuffer() &&
{
    if (m_scaler.joinable())
        m_scaler.join();
    // Its memory may have been another picture's.
    if (!m_plan)
        fillRest(0);
    return std::move(m_target);
}

Image RowSink::takeImage(Alpha alpha, QByteArray iccProfile) &&
{
    PixelBuffer pixels = std::move(*this).takeBuffer();
    for (int y = 0; m_plan && alpha == Alpha::Premultiplied && y < pixels.size().height(); ++y)
        limitToAlpha(pixels.row(y), pixels.size().width());
    return std::move(pixels).toImage(alpha, std::move(iccProfile));
}

} // namespace tavolin
