#include "decoding/codecs/jpeg/JpegDecoder.h"

#include "decoding/codecs/jpeg/JpegBands.h"
#include "decoding/codecs/jpeg/JpegBlocks.h"
#include "decoding/codecs/jpeg/JpegParts.h"
#include "pixels/Geometry.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#ifdef __linux__
#include <sched.h>
#endif

namespace tavolin {

namespace {

/// A part's coefficients should stay in a core's cache until they are pixels.
constexpr std::size_t MOST_PART_BYTES = std::size_t{128} << 10;
constexpr std::size_t LEAST_PART_BYTES = std::size_t{16} << 10;
/// Below this a second thread costs more than it saves.
constexpr std::size_t LEAST_BYTES_PER_THREAD = std::size_t{64} << 10;
/// Parts that didn't meet the ones before them, after which nothing is guessed any more.
constexpr int MOST_MISSES = 4;

constexpr int NO_CORE = -1;

/// The one that the calling thread runs on; NO_CORE where the system doesn't tell.
int currentCore()
{
#ifdef __linux__
    return sched_getcpu();
#else
    return NO_CORE;
#endif
}

/// Has the system move the calling thread to another core than @p core, if it may use another.
void leaveCore([[maybe_unused]] int core)
{
#ifdef __linux__
    cpu_set_t all;
    if (sched_getaffinity(0, sizeof all, &all) != 0)
        return;
    cpu_set_t others = all;
    CPU_CLR(static_cast<unsigned>(core), &others);
    if (sched_setaffinity(0, sizeof others, &others) == 0)
        sched_setaffinity(0, sizeof all, &all);
#endif
}

int threadsFor(const JpegScan &scan, const JpegWork &work)
{
    if (work.partBytes > 0)
        return std::max(1, work.threads);
    return clamped(static_cast<int>(scan.size() / LEAST_BYTES_PER_THREAD), 1, work.threads);
}

std::size_t partBytesFor(const JpegScan &scan, const JpegWork &work)
{
    if (work.partBytes > 0)
        return work.partBytes;
    const auto share = scan.size() / (static_cast<std::size_t>(threadsFor(scan, work)) * 4);
    return clamped(share, LEAST_PART_BYTES, MOST_PART_BYTES);
}

/// One decode. All threads run work(); what they share is protected by one lock, which is not held
/// while they decode, paint, or feed the sink, which one at a time does. Scaling is part of
/// feeding: a thread of its own would share a core with one of these, and the other wait for both.
class Decode
{
public:
    Decode(const JpegFrame &frame, int scale, const JpegScan &scan, const JpegBlockReader &reader,
           RowSink &sink, std::stop_token stop, const JpegWork &work);

    bool run();

private:
    static constexpr std::size_t CALLER = 0; // among the threads
    using Lock = std::unique_lock<std::mutex>;
    using Result = std::unique_ptr<JpegPartResult>;

    /// A part on its way: what there is of it can be joined once it is decoded.
    enum class State : std::uint8_t { Waiting, Decoding, Decoded };
    struct Part
    {
        State state = State::Waiting;
        Result result;
    };

    /// Blocks in their place, with their owner.
    struct Placed
    {
        Result result;
        JpegRun run;
    };

    /// A painted band until it is fed.
    struct Slot
    {
        std::vector<Pixel> pixels;
        JpegSeam seam;
    };

    void work(std::size_t thread);
    void workGuarded(std::size_t thread);
    void spread(Lock &lock, std::size_t thread);
    bool feedNext(Lock &lock, JpegPainter &painter);
    bool paintNext(Lock &lock, JpegPainter &painter);
    bool joinNext(Lock &lock);
    bool decodeNext(Lock &lock);

    [[nodiscard]] bool isOver() const;
    /// Whether @p part is decoded before anybody knows what its first bit belongs to.
    [[nodiscard]] bool isDecodedAhead(std::size_t part) const;
    [[nodiscard]] int bandCount() const { return m_plan.layout().mcusDown; }
    [[nodiscard]] Slot &slot(int band)
    {
        return m_slots[static_cast<std::size_t>(band) % m_slots.size()];
    }
    [[nodiscard]] Pixel *bandPixels(int band);
    [[nodiscard]] Result freshResult();
    void releaseUsed();

    /// Puts the blocks of a part in their place, into @p placed; false when some of them are
    /// missing. Without @p result it is decoded in order, into @p gap, which also takes what comes
    /// before a guess is in step.
    [[nodiscard]] bool join(const JpegPart &part, Result result, Result gap,
                            std::vector<Placed> &placed);
    [[nodiscard]] bool joinGuess(const JpegPart &part, Result result, Result gap,
                                 std::vector<Placed> &placed);
    void place(Result result, std::size_t skip, std::array<std::uint32_t, MOST_COMPONENTS> shift,
               std::vector<Placed> &placed);

    JpegBandPlan m_plan;
    JpegParts m_parts;
    RowSink &m_sink;
    std::stop_token m_stop;
    int m_threads;
    std::int64_t m_blocks;

    // The joiner's: the state behind the last block that is in its place.
    JpegCursor m_front;
    std::int64_t m_frontBlock = 0;
    std::int64_t m_leftInSegment = 0; // or segments, where the part has more
    bool m_hasMissed = false;         // the last guess was of no use

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_cores;    // of each thread that doesn't wait, when it was last looked at
    std::vector<Part> m_ahead;   // each part of the scan
    std::vector<Result> m_spare; // for reuse
    std::deque<Placed> m_placed; // in order; those below the bands in work are gone
    std::vector<Slot> m_slots;
    std::vector<bool> m_isPainted; // of each band
    std::size_t m_nextPart = 0;    // to decode
    std::size_t m_joinedParts = 0;
    std::int64_t m_placedBlocks = 0;
    int m_nextBand = 0;     // to paint
    int m_paintedBands = 0; // that have nothing unpainted before them
    int m_fedBands = 0;
    int m_misses = 0;
    bool m_isJoining = false;
    bool m_isFeeding = false;
    bool m_isBroken = false;  // nothing can be placed any more
    bool m_hasFailed = false; // some thread lacked memory
};

Decode::Decode(const JpegFrame &frame, int scale, const JpegScan &scan,
               const JpegBlockReader &reader, RowSink &sink, std::stop_token stop,
               const JpegWork &work)
    : m_plan(frame, scale, work.kernels),
      m_parts(scan, reader, frame, m_plan.layout().blocks(), partBytesFor(scan, work)),
      m_sink(sink), m_stop(std::move(stop)), m_threads(threadsFor(scan, work)),
      m_blocks(m_plan.layout().blocks()), m_cores(static_cast<std::size_t>(m_threads), NO_CORE),
      m_ahead(m_parts.count()), m_slots(static_cast<std::size_t>(2 * m_threads + 2)),
      m_isPainted(static_cast<std::size_t>(m_plan.layout().mcusDown))
{}

bool Decode::run()
{
    m_sink.scaleWhereFed();
    {
        std::vector<std::jthread> helpers;
        for (std::size_t i = CALLER + 1; i < m_cores.size(); ++i) {
            try {
                helpers.emplace_back(&Decode::workGuarded, this, i);
            } catch (const std::exception &) { // no more threads or memory to be had
                break;
            }
        }
        workGuarded(CALLER);
    }
    return m_fedBands == bandCount();
}

void Decode::workGuarded(std::size_t thread)
{
    try {
        work(thread);
    } catch (const std::bad_alloc &) {
        const Lock lock(m_mutex);
        m_hasFailed = true;
        m_changed.notify_all();
    }
}

bool Decode::isOver() const
{
    return m_hasFailed || m_fedBands == bandCount() || m_stop.stop_requested();
}

/// Threads that share a core are told apart: the system leaves them there for tens of milliseconds
/// while others are idle or run what gives way. What never sleeps is seldom moved.
void Decode::spread(Lock &lock, std::size_t thread)
{
    const int core = currentCore();
    m_cores[thread] = core;
    const auto before = std::span(m_cores).first(thread);
    if (core == NO_CORE || std::ranges::find(before, core) == before.end())
        return;
    m_cores[thread] = NO_CORE;
    lock.unlock();
    leaveCore(core);
    lock.lock();
}

void Decode::work(std::size_t thread)
{
    JpegPainter painter(m_plan);
    Lock lock(m_mutex);
    while (!isOver()) {
        const bool hasDone = feedNext(lock, painter) || paintNext(lock, painter) ||
                             joinNext(lock) || decodeNext(lock);
        if (hasDone) {
            m_changed.notify_all();
            spread(lock, thread);
            continue;
        }
        m_cores[thread] = NO_CORE;
        // Damaged: what is left can't be made. Who is at work still comes back to feed it.
        if (m_isBroken)
            break;
        m_changed.wait(lock);
    }
    m_changed.notify_all();
}

Pixel *Decode::bandPixels(int band)
{
    Pixel *const target = m_sink.rowAhead(m_plan.firstRow(band));
    return target != nullptr ? target : slot(band).pixels.data();
}

bool Decode::feedNext(Lock &lock, JpegPainter &painter)
{
    const int band = m_fedBands;
    const bool isLast = band == bandCount() - 1;
    const bool isJoined = m_plan.hasSeams() && !isLast;
    if (m_isFeeding || m_paintedBands <= band + (isJoined ? 1 : 0))
        return false;
    m_isFeeding = true;
    lock.unlock();
    const int width = m_plan.layout().size.width();
    const Pixel *row = bandPixels(band);
    const int begin = m_plan.firstRow(band);
    const int end = m_plan.endRow(band);
    if (isJoined) {
        painter.joinSeam(band, slot(band).seam, slot(band + 1).seam,
                         bandPixels(band) + std::ptrdiff_t{end - begin - 1} * width,
                         bandPixels(band + 1));
    }
    for (int y = begin; y < end; ++y, row += width) {
        Pixel *const target = m_sink.nextRow();
        if (target != row)
            std::copy_n(row, width, target);
        m_sink.rowDone();
    }
    lock.lock();
    ++m_fedBands;
    m_isFeeding = false;
    return true;
}

bool Decode::paintNext(Lock &lock, JpegPainter &painter)
{
    const int band = m_nextBand;
    const std::int64_t end = m_plan.layout().blocksPerRow() * (band + 1);
    if (band == bandCount() || end > m_placedBlocks ||
        band >= m_fedBands + static_cast<int>(m_slots.size()))
        return false;
    ++m_nextBand;
    const std::int64_t begin = end - m_plan.layout().blocksPerRow();
    std::vector<JpegRun> runs;
    for (const Placed &placed : m_placed)
        if (placed.run.first < end && placed.run.first + placed.run.count > begin)
            runs.push_back(placed.run);
    lock.unlock();
    Slot &target = slot(band);
    const int width = m_plan.layout().size.width();
    if (m_sink.rowAhead(0) == nullptr)
        target.pixels.resize(static_cast<std::size_t>(width) *
                             static_cast<std::size_t>(m_plan.layout().mcuRowPixels));
    const bool isSound = painter.paint(band, runs, bandPixels(band), width, target.seam);
    lock.lock();
    if (!isSound)
        m_isBroken = true;
    m_isPainted[static_cast<std::size_t>(band)] = isSound;
    while (m_paintedBands < bandCount() && m_isPainted[static_cast<std::size_t>(m_paintedBands)])
        ++m_paintedBands;
    releaseUsed();
    return true;
}

void Decode::releaseUsed()
{
    const std::int64_t used = m_plan.layout().blocksPerRow() * m_paintedBands;
    while (!m_placed.empty() && m_placed.front().run.first + m_placed.front().run.count <= used) {
        m_spare.push_back(std::move(m_placed.front().result));
        m_placed.pop_front();
    }
}

Decode::Result Decode::freshResult()
{
    if (m_spare.empty())
        return std::make_unique<JpegPartResult>();
    Result result = std::move(m_spare.back());
    m_spare.pop_back();
    result->blocks.clear();
    result->begins.clear();
    return result;
}

bool Decode::isDecodedAhead(std::size_t part) const
{
    return !m_parts.part(part).isGuess || (m_threads > 1 && m_misses < MOST_MISSES);
}

bool Decode::decodeNext(Lock &lock)
{
    // One for each thread, and some that wait while bands are painted.
    const std::size_t most =
        std::min(m_parts.count(), m_joinedParts + static_cast<std::size_t>(m_threads) + 2);
    if (m_isBroken)
        return false;
    m_nextPart = std::max(m_nextPart, m_joinedParts + (m_isJoining ? 1 : 0));
    while (m_nextPart < most && !isDecodedAhead(m_nextPart))
        ++m_nextPart;
    if (m_nextPart >= most)
        return false;
    Part &part = m_ahead[m_nextPart];
    const JpegPart &description = m_parts.part(m_nextPart);
    ++m_nextPart;
    part.state = State::Decoding;
    Result result = freshResult();
    lock.unlock();
    m_parts.decode(description, *result);
    lock.lock();
    part.result = std::move(result);
    part.state = State::Decoded;
    return true;
}

bool Decode::joinNext(Lock &lock)
{
    // What is in its place should soon be pixels.
    const std::int64_t most =
        m_plan.layout().blocksPerRow() * (m_nextBand + static_cast<int>(m_slots.size()));
    if (m_isJoining || m_isBroken || m_joinedParts == m_parts.count() || m_placedBlocks >= most)
        return false;
    const std::size_t index = m_joinedParts;
    Part &part = m_ahead[index];
    if (part.state == State::Decoding || (part.state == State::Waiting && isDecodedAhead(index)))
        return false;
    m_isJoining = true;
    Result result = std::move(part.result);
    Result gap = freshResult();
    const bool wasMissing = result == nullptr;
    lock.unlock();
    std::vector<Placed> placed;
    const bool isSound = join(m_parts.part(index), std::move(result), std::move(gap), placed);
    const std::int64_t reached = m_frontBlock;
    lock.lock();
    m_isJoining = false;
    ++m_joinedParts;
    m_placedBlocks = reached;
    if (!wasMissing && m_hasMissed)
        ++m_misses;
    if (!isSound || (m_joinedParts == m_parts.count() && reached < m_blocks))
        m_isBroken = true;
    std::ranges::move(placed, std::back_inserter(m_placed));
    return true;
}

void Decode::place(Result result, std::size_t skip,
                   std::array<std::uint32_t, MOST_COMPONENTS> shift, std::vector<Placed> &placed)
{
    const auto there = static_cast<std::int64_t>(result->blocks.count() - skip);
    const std::int64_t count = std::min(there, m_leftInSegment);
    if (count == 0)
        return;
    const JpegRun run{.blocks = &result->blocks,
                      .skip = skip,
                      .first = m_frontBlock,
                      .count = count,
                      .shift = shift};
    placed.push_back({std::move(result), run});
    m_frontBlock += count;
    m_leftInSegment -= count;
}

bool Decode::join(const JpegPart &part, Result result, Result gap, std::vector<Placed> &placed)
{
    m_hasMissed = false;
    if (part.isGuess)
        return joinGuess(part, std::move(result), std::move(gap), placed);
    m_leftInSegment = m_parts.blocksOf(part.firstSegment);
    for (std::size_t i = 1; i < part.segments; ++i)
        m_leftInSegment += m_parts.blocksOf(part.firstSegment + i);
    const bool isSound = result->isSound;
    m_front = result->end;
    place(std::move(result), 0, {}, placed);
    return isSound && (m_leftInSegment == 0 || !part.endsSegment);
}

bool Decode::joinGuess(const JpegPart &part, Result result, Result gap, std::vector<Placed> &placed)
{
    bool isSound = true;
    if (m_leftInSegment > 0 && m_front.bit < part.end) {
        const auto met = m_parts.decodeUntilMet(part, result.get(), m_leftInSegment, m_front,
                                                gap->blocks, isSound);
        place(std::move(gap), 0, {}, placed);
        m_hasMissed = !met;
        if (met) {
            const auto predicted = m_parts.predictionsAt(result->blocks, *met);
            std::array<std::uint32_t, MOST_COMPONENTS> shift{};
            for (std::size_t i = 0; i < shift.size(); ++i)
                shift[i] = m_front.predictions[i] - predicted[i];
            m_front = result->end;
            for (std::size_t i = 0; i < shift.size(); ++i)
                m_front.predictions[i] += shift[i];
            place(std::move(result), *met, shift, placed);
        }
    }
    return isSound && (m_leftInSegment == 0 || !part.endsSegment);
}

} // namespace

bool decodeJpegScan(const JpegFrame &frame, int scale, const JpegScan &scan, RowSink &sink,
                    const std::stop_token &stop, const JpegWork &work)
{
    const auto reader = JpegBlockReader::make(frame);
    if (!reader)
        return false;
    try {
        return Decode(frame, scale, scan, *reader, sink, stop, work).run();
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace tavolin
