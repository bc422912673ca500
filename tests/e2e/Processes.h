#pragma once
// What the system tells of processes that a test has not started itself.

#include <QtGlobal>

#include <chrono>
#include <optional>
#include <vector>

#include <sys/types.h>

namespace tavolin {

/// One process, as long as it is there and no other has its number.
struct Process
{
    pid_t pid = 0;
    quint64 started =
        0; ///< In ticks since the system's start: tells it from others of that number.

    bool operator==(const Process &) const = default;
};

/// Every child of @p parent that the system still lists.
[[nodiscard]] std::vector<Process> childrenOf(pid_t parent);

/// Whether @p process is there, and not just listed until somebody asks how it has ended.
[[nodiscard]] bool isAlive(const Process &process);

/// Whether it has ended and nobody has asked how.
[[nodiscard]] bool isZombie(const Process &process);

/// What @p process has taken of the processors, on all cores; 0 when it has gone.
[[nodiscard]] std::chrono::nanoseconds processorTime(const Process &process);

/// Memory of the process @p pid, and its share of what it has in common with others: KiB. Empty
/// when it has gone, or the system does not tell.
[[nodiscard]] std::optional<qint64> proportionalKiB(pid_t pid);

/// Sends @p signal to @p process, if it is alive.
void sendSignal(const Process &process, int signal);

} // namespace tavolin
