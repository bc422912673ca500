#pragma once
// Takes a picture's rows from a decoder, top to bottom, and brings them to their final size on the
// way, so that the full-size picture never stands in memory.

#include "pixels/Image.h"
#include "pixels/Resample.h"

#include <QSize>

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

namespace tavolin {

/// The target of one decode: one thread at a time feeds it, and where the size changes one more
/// scales what has come, so that scaling costs no time of its own while a core is free. Not for
/// reuse.
class RowSink
{
public:
    /// Takes source.height() rows and makes a picture of @p target size of them.
    RowSink(QSize source, QSize target);
    ~RowSink();
    RowSink(const RowSink &) = delete;
    RowSink &operator=(const RowSink &) = delete;

    /// False when the target is over the limit or the memory for it is lacking; no other call is
    /// allowed then.
    [[nodiscard]] bool isReady() const { return !m_target.isNull(); }

    /// Has the rows scaled by the thread that feeds them: for a decoder that keeps all cores busy
    /// itself. To be said before the first row.
    void scaleWhereFed() { m_isScaledWhereFed = true; }

    /// Where to write the next source row. Valid until rowDone().
    [[nodiscard]] Pixel *nextRow();

    /// Where source row @p y goes, if that needs no scaling: such rows may be written in any order
    /// before they are nextRow(). Null otherwise.
    [[nodiscard]] Pixel *rowAhead(int y) { return m_plan ? nullptr : m_target.row(y); }

    /// Says that nextRow() has been filled.
    void rowDone();

    [[nodiscard]] int rowsTaken() const { return m_taken; }

    /// Stands @p color in for all rows that did not come, however many: it takes no longer than the
    /// target's rows do.
    void fillRest(Pixel color);

    /// The finished pixels, once all rows have been taken: as they are, or as a picture whose
    /// colours the filter has not pushed above their alpha.
    [[nodiscard]] PixelBuffer takeBuffer() &&;
    [[nodiscard]] Image takeImage(Alpha alpha, QByteArray iccProfile) &&;

private:
    /// Has all rows scaled that have come.
    void handOver();
    void runScaler();
    /// Makes target rows until one needs more than @p given source rows.
    void scaleRows(int given);
    void abandonScaler();
    /// Takes rows of @p color, up to source row @p end.
    void fillRows(int end, Pixel color);
    [[nodiscard]] Pixel *ringRow(int row);

    QSize m_source;
    std::optional<ResamplePlan> m_plan; // none where the sizes are the same
    PixelBuffer m_target;
    int m_ringRows = 0;
    std::vector<std::int16_t> m_scratch; // these two are the scaler's
    std::vector<const Pixel *> m_window;
    std::vector<Pixel> m_ring; // the newest source rows: the scaler's window and what waits for it
    int m_taken = 0;
    bool m_isScaledWhereFed = false;
    // Rows given to the scaler, told in batches, and target rows it has made. Each is written by
    // one thread and waited for by the other.
    std::atomic<int> m_given = 0;
    std::atomic<int> m_made = 0;
    std::thread m_scaler;
};

} // namespace tavolin
