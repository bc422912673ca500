#pragma once
// One worker as the viewer sees it: a child process with a socket to talk, a line to stop it by,
// and shared memory.

#include "platform/Descriptor.h"
#include "worker/Protocol.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include <sys/types.h>

namespace tavolin::worker {

/// A process that was started. Its keeper, who reaps it, and the one thread that talks to it share
/// it. Nothing here waits for the process unless it says so.
class WorkerProcess
{
public:
    /// Starts the program that @p executable is open at, which reads no environment and has no
    /// other descriptors than the protocol's. Null when the system refuses. The process ends with
    /// the thread that calls this, at the latest.
    [[nodiscard]] static std::shared_ptr<WorkerProcess> start(int executable);

    /// Kills the process if need be; whoever reaps it must not come later.
    ~WorkerProcess();
    WorkerProcess(const WorkerProcess &) = delete;
    WorkerProcess &operator=(const WorkerProcess &) = delete;

    /// The socket of requests and replies, which does not wait.
    [[nodiscard]] int channel() const { return m_channel.get(); }
    /// Shows the process's end by an error or the end of its stream.
    [[nodiscard]] int lifeline() const { return m_lifeline.get(); }
    /// One of SLOTS, SLOT_BYTES long. The process may write there at any time.
    [[nodiscard]] std::span<std::byte> slot(int index) const;
    /// PICTURE_BYTES where a picture may lie, which the process may change at any time too.
    [[nodiscard]] std::span<std::byte> picture() const;

    /// Asks the process to give up request @p number. It does not pause any more.
    void requestStop(std::uint32_t number);

    /// Lets pause() have an effect, until a stop is asked for.
    void allowPauses();
    /// Has the process do nothing until resume().
    void pause();
    void resume();
    /// The same where it has paused for longer than @p most.
    void resumeAfter(std::chrono::milliseconds most);
    /// What the process has taken of the processors, on all cores; 0 where the system doesn't tell.
    [[nodiscard]] std::chrono::nanoseconds processorTime() const;

    /// Whether the system has one of the process's threads wait for a disk at the moment; false
    /// where it doesn't tell.
    [[nodiscard]] bool isWaitingForDisk() const;
    /// Whether there is something to be received, if only the end.
    [[nodiscard]] bool hasNews() const;

    void kill();
    /// Looks whether the process has ended, and takes it off the system's list then.
    bool reap();
    /// Whether reap() has found its end.
    [[nodiscard]] bool hasEnded();
    /// The signal that has ended the process, for whose end this waits for @p atMost; empty where
    /// it ended in another way, or has not yet.
    [[nodiscard]] std::optional<int> endingSignal(std::chrono::milliseconds atMost);

private:
    WorkerProcess(pid_t pid, Descriptor channel, Descriptor lifeline, std::byte *memory)
        : m_pid(pid), m_channel(std::move(channel)), m_lifeline(std::move(lifeline)),
          m_memory(memory)
    {}

    const pid_t m_pid;
    const Descriptor m_channel;
    const Descriptor m_lifeline;
    std::byte *const m_memory;

    std::mutex m_mutex; // guards what follows: a number that was reaped may be another's by now
    bool m_isReaped = false;
    bool m_mayPause = false;
    std::optional<std::chrono::steady_clock::time_point> m_pausedSince;
    std::optional<int> m_status; // as waitpid told
};

} // namespace tavolin::worker
