#pragma once
// Takes a picture's rows from a decoder, top to bottom, and brings them to their final size on the
// way, so that the full-size picture never stands in memory.

#include "pixels/Image.h"
#include "pixels/Resample.h"
#include "pixels/ScaledPicture.h"

#include <QSize>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace tavolin {

/// The target of one decode: one thread at a time feeds it, and where the size changes one more
/// scales what has come, to one size or two, so that scaling costs no time of its own while a core
/// is free. Not for reuse.
class RowSink
{
public:
    /// Takes source.height() rows and makes a picture of @p target size of them.
    RowSink(QSize source, QSize target) : RowSink(source, PictureSizes{target}) {}
    /// The same in two sizes; without a rendition where the rows are the image's, of which it can
    /// be made as well.
    RowSink(QSize source, const PictureSizes &sizes);
    ~RowSink();
    RowSink(const RowSink &) = delete;
    RowSink &operator=(const RowSink &) = delete;

    /// False when a target is over the limit or the memory for it is lacking; no other call is
    /// allowed then.
    [[nodiscard]] bool isReady() const;

    /// Has the rows scaled by the thread that feeds them: for a decoder that keeps all cores busy
    /// itself. To be said before the first row.
    void scaleWhereFed() { m_isScaledWhereFed = true; }

    /// Where to write the next source row. Valid until rowDone().
    [[nodiscard]] Pixel *nextRow();

    /// Where source row @p y goes, if that needs no scaling: such rows may be written in any order
    /// before they are nextRow(). Null otherwise.
    [[nodiscard]] Pixel *rowAhead(int y) { return isScaled() ? nullptr : m_image.row(y); }

    /// Says that nextRow() has been filled.
    void rowDone();

    [[nodiscard]] int rowsTaken() const { return m_taken; }

    /// Stands @p color in for all rows that did not come, however many: it takes no longer than the
    /// targets' rows do.
    void fillRest(Pixel color);

    /// The finished pixels, once all rows have been taken: as they are, or as a picture whose
    /// colours the filter has not pushed above their alpha.
    struct Buffers
    {
        PixelBuffer image;
        PixelBuffer rendition;
    };
    [[nodiscard]] Buffers takeBuffers() &&;
    [[nodiscard]] ScaledPicture takePicture(Alpha alpha, QByteArray iccProfile) &&;

private:
    /// One target and how far it is. The scaler's, while that runs.
    struct Scaling
    {
        Scaling(QSize source, PixelBuffer &target);
        [[nodiscard]] bool isDone() const { return made == target->size().height(); }
        /// Source rows that the next row needs.
        [[nodiscard]] int firstNeeded() const { return plan.firstSourceRow(made); }
        [[nodiscard]] int lastNeeded() const { return plan.lastSourceRow(made); }

        ResamplePlan plan;
        PixelBuffer *target;
        int made = 0; // rows
        std::vector<std::int16_t> scratch;
        std::vector<const Pixel *> window;
    };

    [[nodiscard]] bool isScaled() const { return !m_scalings.empty(); }
    /// Has all rows scaled that have come.
    void handOver();
    void runScaler();
    /// Makes rows of the targets until the next one needs more than @p given source rows.
    void scaleRows(int given);
    void makeRow(Scaling &scaling);
    void abandonScaler();
    /// Takes rows of @p color, up to source row @p end.
    void fillRows(int end, Pixel color);
    [[nodiscard]] Pixel *ringRow(int row);

    QSize m_source;
    PictureSizes m_sizes;
    PixelBuffer m_image;
    PixelBuffer m_rendition;         // null where none is made
    std::vector<Scaling> m_scalings; // none where the image's size is that of the source
    int m_ringRows = 0;
    std::vector<Pixel> m_ring; // the newest source rows: the scaler's windows and what waits for it
    int m_taken = 0;
    bool m_isScaledWhereFed = false;
    // Rows given to the scaler, told in batches, and the first that it still needs. Each is written
    // by one thread and waited for by the other.
    std::atomic<int> m_given = 0;
    std::atomic<int> m_needed = 0;
    std::thread m_scaler;
};

} // namespace tavolin
