#pragma once
// One errand of one worker: requests, replies, blocks and pixels, with an eye on the clock. What
// comes is checked here for its form, not for its sense.

#include "pixels/Image.h"
#include "worker/client/WorkerPool.h"
#include "worker/Protocol.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>

namespace tavolin::worker {

/// Made for one request and what belongs to it, on one thread. Once something has gone wrong it is
/// broken: nothing more is sent or received, and the worker must go.
class Exchange
{
public:
    /// @p limit is what the worker may take of the processors from now on, to which the size of a
    /// picture adds. Once @p stop is requested the worker is asked to give up, and has a moment to
    /// answer.
    Exchange(Worker &worker, std::chrono::nanoseconds limit, std::stop_token stop);

    /// What the worker has told of its wall; empty where it is broken already.
    [[nodiscard]] const std::optional<Reply> &begun() const { return m_worker.begun; }

    /// Sends @p request under a number of its own, with a copy of @p descriptor unless that is
    /// below 0, and @p profile and @p monitor behind it, whose lengths it tells.
    void send(Request request, int descriptor = -1, const QByteArray &profile = {},
              const QByteArray &monitor = {});
    /// The reply to the oldest request that has none yet; empty when the worker has failed at it.
    [[nodiscard]] std::optional<Reply> receive();
    /// The block of @p bytes that follows the reply; empty where the exchange breaks, which it does
    /// above @p most.
    [[nodiscard]] QByteArray receiveBlock(std::int64_t bytes, std::int64_t most);
    /// The same where a picture at full size is to come: while it is decoded its place in memory is
    /// made ready, which takes the system long.
    [[nodiscard]] std::optional<Reply> receiveFull();
    /// Where the rows of a picture are to be had.
    struct Source
    {
        QSize size; ///< Has been checked.
        Alpha alpha = Alpha::Opaque;
        std::optional<std::size_t> offset =
            {}; ///< In the place for pictures, where they lie there.
        bool isRendition = false;
    };
    /// The rows of a picture. Null when the exchange breaks, memory is lacking or a stop is
    /// requested.
    [[nodiscard]] PixelBuffer receiveRows(const Source &source);
    /// Lets the worker forget the pictures of its last reply.
    void dropRows();
    /// @p image with its pixels converted as was agreed on; null as before.
    [[nodiscard]] PixelBuffer convertRows(const Image &image);

    /// Says that the worker has answered nonsense.
    void breakOff() { m_isBroken = true; }
    /// Broken because the worker is gone.
    [[nodiscard]] bool isWorkerGone() const { return m_isWorkerGone; }
    /// Broken because the worker took longer than it may.
    [[nodiscard]] bool isWorkerLate() const { return m_isWorkerLate; }
    /// Whether every request has its reply, so that the worker is ready for another.
    [[nodiscard]] bool isFinished() const
    {
        return !m_isBroken && m_answered == m_worker.lastNumber;
    }

private:
    using Clock = std::chrono::steady_clock;

    /// What is done with one slot: @p rows rows from @p firstRow on.
    using SlotUse = std::function<void(std::span<std::byte> slot, int firstRow, int rows)>;
    /// Hands a picture of @p size over in pieces, several of them under way at a time. False where
    /// the exchange breaks or a stop is requested.
    [[nodiscard]] bool passRows(Request request, QSize size, const SlotUse &fill,
                                const SlotUse &use);

    /// Copies the picture that lies in its place to @p pixels; false where it can't be.
    [[nodiscard]] bool takePicture(const Source &source, PixelBuffer &pixels);

    [[nodiscard]] std::optional<Reply> receive(bool isFull);
    [[nodiscard]] std::optional<Reply> receiveAny();
    void sendBytes(std::span<const std::byte> bytes, int descriptor = -1);
    void receiveBytes(std::span<std::byte> bytes);
    /// Returns once the socket is ready for @p events, or breaks off.
    void waitFor(short events);
    /// Looks for a stop, at the deadline and for progress.
    void checkClock();

    Worker &m_worker;
    std::chrono::nanoseconds m_latest; // on the worker's own clock
    std::stop_token m_stop;
    std::optional<Clock::time_point> m_stopAsked;
    Clock::time_point m_nextLook;
    std::chrono::nanoseconds m_lastTime{};           // on the worker's clock …
    Clock::time_point m_lastProgress = Clock::now(); // … when it last went on
    std::uint32_t m_errand = 0;                      // number of the request that a stop is for
    std::uint32_t m_answered = 0;                    // number of the newest request with a reply
    std::optional<PixelBuffer> m_room;               // made ready for the picture to come
    bool m_isAnnounced = false;                      // how large it is
    bool m_isBroken = false;
    bool m_isWorkerGone = false;
    bool m_isWorkerLate = false;
};

} // namespace tavolin::worker
