#include "worker/client/Exchange.h"

#include "pixels/Bands.h"
#include "pixels/Limits.h"
#include "pixels/Resample.h"
#include "worker/Channel.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/mman.h>

namespace tavolin::worker {

namespace {

using namespace std::chrono_literals;

/// Between two looks at the clock and the stop token.
constexpr auto TICK = 10ms;
/// A worker that neither does anything nor waits for a disk, for so long, hangs.
constexpr auto STANDSTILL = 30s;
constexpr auto LEAST_PROGRESS = 1ms;
/// For a worker to answer once it has been asked to stop.
constexpr auto STOP_GRACE = 50ms;
/// More time for each pixel of the picture: a gigapixel is worth two minutes. Somewhat more than
/// the slowest take, PNGs of noise at 16 bits.
constexpr auto TIME_FOR_MEGAPIXEL = 100ms;
constexpr std::int64_t MEGAPIXEL = 1'000'000;

/// What is copied of a large picture before its memory is given back.
constexpr int PIECE_PIXELS = 4 << 20;

/// Below this many rows a second thread costs more than it saves.
constexpr int LEAST_BAND_ROWS = 256;

/// Copies what a worker says are pixels with @p alpha, and sees to it that they are.
void takePixels(const Pixel *from, int rows, int firstRow, Alpha alpha, PixelBuffer &to)
{
    const int width = to.size().width();
    for (int y = firstRow; y < firstRow + rows; ++y, from += width) {
        if (alpha == Alpha::Opaque) {
            std::transform(from, from + width, to.row(y),
                           [](Pixel pixel) { return pixel | 0xff000000; });
        } else {
            std::copy_n(from, width, to.row(y));
            limitToAlpha(to.row(y), width);
        }
    }
}

/// A buffer whose pages are all there.
PixelBuffer touched(QSize size)
{
    constexpr int PAGE_PIXELS = 4096 / sizeof(Pixel);
    PixelBuffer buffer(size);
    for (std::int64_t i = 0; !buffer.isNull() && i < pixelCount(size); i += PAGE_PIXELS)
        buffer.row(0)[i] = 0;
    return buffer;
}

/// Gives shared @p memory back to the system, but for parts of pages at its ends.
void giveBack([[maybe_unused]] std::span<std::byte> memory)
{
#ifdef MADV_REMOVE
    static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = (reinterpret_cast<std::uintptr_t>(memory.data()) + page - 1) / page * page;
    const auto end = reinterpret_cast<std::uintptr_t>(memory.data() + memory.size()) / page * page;
    if (begin < end)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_REMOVE);
#endif
}

} // namespace

Exchange::Exchange(Worker &worker, std::chrono::nanoseconds limit, std::stop_token stop)
    : m_worker(worker), m_latest(worker.process->processorTime() + limit), m_stop(std::move(stop)),
      m_errand(worker.lastNumber + 1), m_answered(worker.lastNumber)
{
    if (m_worker.begun)
        return;
    --m_answered;
    m_worker.begun = receive();
    if (!m_worker.begun)
        breakOff();
}

void Exchange::checkClock()
{
    if (m_stop.stop_requested() && !m_stopAsked) {
        m_stopAsked = Clock::now();
        m_worker.process->requestStop(m_errand);
    }
    m_worker.process->resumeAfter(MAX_PAUSE);
    const auto now = Clock::now();
    const auto time = m_worker.process->processorTime();
    if (time - m_lastTime > LEAST_PROGRESS) {
        m_lastTime = time;
        m_lastProgress = now;
    }
    const bool hangs = now - m_lastProgress > STANDSTILL && !m_worker.process->isWaitingForDisk();
    m_isWorkerLate = time > m_latest || hangs;
    if (m_isWorkerLate || (m_stopAsked && now - *m_stopAsked > STOP_GRACE))
        breakOff();
    m_nextLook = now + TICK;
}

void Exchange::waitFor(short events)
{
    pollfd socket{.fd = m_worker.process->channel(), .events = events, .revents = 0};
    do {
        // Also while bytes come, one after the other.
        if (Clock::now() >= m_nextLook)
            checkClock();
    } while (!m_isBroken && poll(&socket, 1, static_cast<int>(TICK.count())) <= 0);
}

void Exchange::sendBytes(std::span<const std::byte> bytes, int descriptor)
{
    while (!bytes.empty() && !m_isBroken) {
        const Progress progress = sendSome(m_worker.process->channel(), bytes, descriptor);
        if (progress) {
            bytes = bytes.subspan(*progress);
            descriptor = -1;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            waitFor(POLLOUT);
        } else {
            m_isWorkerGone = m_isBroken = true;
        }
    }
}

void Exchange::receiveBytes(std::span<std::byte> bytes)
{
    while (!bytes.empty() && !m_isBroken) {
        const Progress progress = receiveSome(m_worker.process->channel(), bytes);
        if (progress && *progress > 0)
            bytes = bytes.subspan(*progress);
        else if (!progress && (errno == EAGAIN || errno == EWOULDBLOCK))
            waitFor(POLLIN);
        else
            m_isWorkerGone = m_isBroken = true;
    }
}

void Exchange::send(Request request, int descriptor, const QByteArray &profile,
                    const QByteArray &monitor)
{
    request.number = ++m_worker.lastNumber;
    request.profileBytes = profile.size();
    request.monitorBytes = monitor.size();
    sendBytes(bytesOf(std::as_const(request)), descriptor);
    sendBytes(bytesOf(profile));
    sendBytes(bytesOf(monitor));
}

std::optional<Reply> Exchange::receiveAny()
{
    Reply reply;
    receiveBytes(bytesOf(reply));
    // Twice the same answer, or one to an earlier question.
    if (!m_isBroken && reply.number != m_answered + 1)
        breakOff();
    return m_isBroken ? std::nullopt : std::optional(reply);
}

std::optional<Reply> Exchange::receive()
{
    return receive(false);
}

std::optional<Reply> Exchange::receiveFull()
{
    return receive(true);
}

std::optional<Reply> Exchange::receive(bool isFull)
{
    auto reply = receiveAny();
    if (reply && reply->outcome == Outcome::Announced && !std::exchange(m_isAnnounced, true)) {
        const QSize size(reply->width, reply->height);
        if (!size.isEmpty() && pixelCount(size) <= MAX_REDUCED_PIXELS)
            m_latest += TIME_FOR_MEGAPIXEL * pixelCount(size) / MEGAPIXEL;
        if (isFull && isWithinLimits(size) && pixelCount(size) <= MAX_KEPT_PIXELS)
            m_room = touched(size);
        reply = receiveAny();
    }
    if (!reply)
        return std::nullopt;
    ++m_answered;
    if (reply->outcome == Outcome::Done)
        return reply;
    if (reply->outcome != Outcome::Failed)
        breakOff();
    return std::nullopt;
}

QByteArray Exchange::receiveBlock(std::int64_t bytes, std::int64_t most)
{
    if (bytes < 0 || bytes > most)
        breakOff();
    if (m_isBroken || bytes == 0)
        return {};
    QByteArray block(static_cast<qsizetype>(bytes), Qt::Uninitialized);
    receiveBytes(bytesOf(block));
    return m_isBroken ? QByteArray() : block;
}

bool Exchange::passRows(Request request, QSize size, const SlotUse &fill, const SlotUse &use)
{
    const std::int64_t rowBytes = std::int64_t{size.width()} * std::int64_t{sizeof(Pixel)};
    const int rowsAtOnce = static_cast<int>(std::int64_t{SLOT_BYTES} / rowBytes);
    const auto rowsFrom = [&](int row) { return std::min(rowsAtOnce, size.height() - row); };
    int asked = 0; // pieces
    int done = 0;
    while (done * rowsAtOnce < size.height() && !m_isBroken) {
        const bool isStopped = m_stop.stop_requested();
        if (isStopped && asked == done)
            return false;
        const int slot = asked % SLOTS;
        if (const int row = asked * rowsAtOnce;
            !isStopped && row < size.height() && asked - done < SLOTS) {
            fill(m_worker.process->slot(slot), row, rowsFrom(row));
            request.slot = static_cast<std::uint32_t>(slot);
            request.firstRow = row;
            request.rowCount = rowsFrom(row);
            send(request);
            ++asked;
        } else if (receive()) {
            const int first = done * rowsAtOnce;
            use(m_worker.process->slot(done % SLOTS), first, rowsFrom(first));
            ++done;
        } else {
            breakOff();
        }
    }
    return !m_isBroken;
}

PixelBuffer Exchange::receiveRows(const Source &source)
{
    const QSize size = source.size;
    std::optional<PixelBuffer> room = std::exchange(m_room, std::nullopt);
    PixelBuffer pixels = room && pixelCount(room->size()) == pixelCount(size)
                             ? std::move(*room).reshaped(size)
                             : PixelBuffer::recycled(size);
    room.reset();
    const Request rows{.task = Task::Rows, .ofRendition = source.isRendition ? 1U : 0U};
    const auto take = [&] {
        return source.offset ? takePicture(source, pixels)
                             : passRows(
                                   rows, pixels.size(), [](std::span<std::byte>, int, int) {},
                                   [&](std::span<std::byte> slot, int firstRow, int count) {
                                       takePixels(reinterpret_cast<const Pixel *>(slot.data()),
                                                  count, firstRow, source.alpha, pixels);
                                   });
    };
    return !pixels.isNull() && take() ? std::move(pixels) : PixelBuffer(QSize());
}

void Exchange::dropRows()
{
    if (m_isBroken)
        return;
    send({.task = Task::Rows});
    if (!receive())
        breakOff();
}

bool Exchange::takePicture(const Source &source, PixelBuffer &pixels)
{
    const std::span<std::byte> place = m_worker.process->picture().subspan(*source.offset);
    const auto bytes = pixelCount(pixels.size()) * std::int64_t{sizeof(Pixel)};
    if (bytes > static_cast<std::int64_t>(place.size())) {
        breakOff();
        return false;
    }
    const int width = pixels.size().width();
    const bool isKept = pixelCount(pixels.size()) <= MAX_KEPT_PIXELS;
    const int rowsAtOnce = isKept ? pixels.size().height() : std::max(1, PIECE_PIXELS / width);
    forBands(pixels.size().height(), LEAST_BAND_ROWS, [&](int begin, int end) {
        for (int y = begin; y < end && !m_stop.stop_requested(); y += rowsAtOnce) {
            const int rows = std::min(rowsAtOnce, end - y);
            const auto *from =
                reinterpret_cast<const Pixel *>(place.data()) + std::ptrdiff_t{width} * y;
            takePixels(from, rows, y, source.alpha, pixels);
            if (!isKept)
                giveBack(place.subspan(static_cast<std::size_t>(y) *
                                           static_cast<std::size_t>(width) * sizeof(Pixel),
                                       static_cast<std::size_t>(rows) *
                                           static_cast<std::size_t>(width) * sizeof(Pixel)));
        }
    });
    return !m_stop.stop_requested();
}

PixelBuffer Exchange::convertRows(const Image &image)
{
    m_latest += TIME_FOR_MEGAPIXEL * pixelCount(image.size()) / MEGAPIXEL;
    PixelBuffer pixels(image.size());
    const bool isComplete =
        !pixels.isNull() && passRows(
                                {.task = Task::ConvertRows}, image.size(),
                                [&image](std::span<std::byte> slot, int firstRow, int rows) {
                                    auto *to = reinterpret_cast<Pixel *>(slot.data());
                                    for (int y = 0; y < rows; ++y, to += image.width())
                                        std::copy_n(image.row(firstRow + y), image.width(), to);
                                },
                                [&](std::span<std::byte> slot, int firstRow, int rows) {
                                    takePixels(reinterpret_cast<const Pixel *>(slot.data()), rows,
                                               firstRow, image.alpha(), pixels);
                                });
    return isComplete ? std::move(pixels) : PixelBuffer(QSize());
}

} // namespace tavolin::worker
