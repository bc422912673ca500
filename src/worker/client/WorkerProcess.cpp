#include "worker/client/WorkerProcess.h"

#include "worker/Channel.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace tavolin::worker {

namespace {

/// Above all numbers that the child's descriptors get, so that none is overwritten by another.
constexpr int LEAST_DESCRIPTOR = 16;

/// @p descriptor under another number, which no other child inherits.
Descriptor movedUp(Descriptor descriptor)
{
    return Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, LEAST_DESCRIPTOR));
}

/// Both ends of a socket; neither is open where there is none to be had.
std::pair<Descriptor, Descriptor> socketPair()
{
    std::array<int, 2> ends{-1, -1};
#ifdef SOCK_CLOEXEC
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        ends = {-1, -1};
#else
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
        ends = {-1, -1};
    for (const int end : ends) {
        const int on = 1;
        fcntl(end, F_SETFD, FD_CLOEXEC);
        setsockopt(end, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    }
#endif
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// MEMORY_BYTES that two processes can map, and neither can shrink under the other.
Descriptor sharedMemory()
{
#ifdef __linux__
    Descriptor memory(memfd_create("tavolin-pixels", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (memory.get() < 0 || ftruncate(memory.get(), MEMORY_BYTES) != 0 ||
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return Descriptor(-1);
#else
    // Such an object's size can be set once.
    const std::string name = "/tavolin-pixels-" + std::to_string(getpid());
    Descriptor memory(shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600));
    shm_unlink(name.c_str());
    if (memory.get() < 0 || ftruncate(memory.get(), MEMORY_BYTES) != 0)
        return Descriptor(-1);
#endif
    return memory;
}

/// What a child is started with: its descriptors, and signals as if nobody had touched them.
class Birth
{
public:
    Birth(int channel, int lifeline, int memory)
    {
        posix_spawn_file_actions_init(&m_actions);
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            // A worker has nothing to say, and what libraries do is nobody's business; a
            // sanitizer's report is.
            if (standard != STDERR_FILENO || !IS_SANITIZED)
                posix_spawn_file_actions_addopen(&m_actions, standard, "/dev/null", O_RDWR, 0);
        }
        posix_spawn_file_actions_adddup2(&m_actions, channel, CHANNEL_DESCRIPTOR);
        posix_spawn_file_actions_adddup2(&m_actions, lifeline, LIFELINE_DESCRIPTOR);
        posix_spawn_file_actions_adddup2(&m_actions, memory, MEMORY_DESCRIPTOR);

        posix_spawnattr_init(&m_attributes);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&m_attributes, &all);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        // A key of the terminal is for the viewer, whose end is the worker's.
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                    POSIX_SPAWN_SETPGROUP);
    }
    ~Birth()
    {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    Birth(const Birth &) = delete;
    Birth &operator=(const Birth &) = delete;

    /// The child's number; empty when it could not be started.
    [[nodiscard]] std::optional<pid_t> run(int executable) const
    {
#ifdef __linux__
        const std::string path = "/proc/self/fd/" + std::to_string(executable);
#else
        std::array<char, PATH_MAX> found{};
        if (fcntl(executable, F_GETPATH, found.data()) != 0)
            return std::nullopt;
        const std::string path = found.data();
#endif
        std::string name = "tavolin-worker";
        const std::array<char *, 2> arguments{name.data(), nullptr};
        const std::array<char *, 1> environment{nullptr};
        pid_t pid = 0;
        if (posix_spawn(&pid, path.c_str(), &m_actions, &m_attributes, arguments.data(),
                        environment.data()) != 0)
            return std::nullopt;
        return pid;
    }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

std::shared_ptr<WorkerProcess> WorkerProcess::start(int executable)
{
    auto [channel, theirChannel] = socketPair();
    auto [lifeline, theirLifeline] = socketPair();
    Descriptor shared = movedUp(sharedMemory());
    theirChannel = movedUp(std::move(theirChannel));
    theirLifeline = movedUp(std::move(theirLifeline));
    const Descriptor program(fcntl(executable, F_DUPFD_CLOEXEC, LEAST_DESCRIPTOR));
    if (theirChannel.get() < 0 || theirLifeline.get() < 0 || shared.get() < 0 ||
        program.get() < 0 || fcntl(channel.get(), F_SETFL, O_NONBLOCK) != 0)
        return nullptr;
    void *memory = mmap(nullptr, MEMORY_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, shared.get(), 0);
    if (memory == MAP_FAILED)
        return nullptr;
    const Birth birth(theirChannel.get(), theirLifeline.get(), shared.get());
    const auto pid = birth.run(program.get());
    if (!pid) {
        munmap(memory, MEMORY_BYTES);
        return nullptr;
    }
    return std::shared_ptr<WorkerProcess>(new WorkerProcess(
        *pid, std::move(channel), std::move(lifeline), static_cast<std::byte *>(memory)));
}

WorkerProcess::~WorkerProcess()
{
    kill();
    reap();
    munmap(m_memory, MEMORY_BYTES);
}

std::span<std::byte> WorkerProcess::slot(int index) const
{
    return {m_memory + static_cast<std::size_t>(index) * SLOT_BYTES, SLOT_BYTES};
}

std::span<std::byte> WorkerProcess::picture() const
{
    return {m_memory + RING_BYTES, PICTURE_BYTES};
}

void WorkerProcess::requestStop(std::uint32_t number)
{
    // So few bytes fit in, unless the process has let a thousand pass.
    send(m_lifeline.get(), &number, sizeof number, SEND_FLAGS | MSG_DONTWAIT);
    {
        const std::lock_guard lock(m_mutex);
        m_mayPause = false;
    }
    resume();
}

void WorkerProcess::allowPauses()
{
    const std::lock_guard lock(m_mutex);
    m_mayPause = true;
}

void WorkerProcess::pause()
{
    const std::lock_guard lock(m_mutex);
    if (m_isReaped || !m_mayPause || m_pausedSince)
        return;
    m_pausedSince = std::chrono::steady_clock::now();
    ::kill(m_pid, SIGSTOP);
}

void WorkerProcess::resume()
{
    resumeAfter(std::chrono::milliseconds(0));
}

void WorkerProcess::resumeAfter(std::chrono::milliseconds most)
{
    const std::lock_guard lock(m_mutex);
    if (m_isReaped || !m_pausedSince || std::chrono::steady_clock::now() - *m_pausedSince < most)
        return;
    m_pausedSince.reset();
    ::kill(m_pid, SIGCONT);
}

std::chrono::nanoseconds WorkerProcess::processorTime() const
{
    timespec time{};
#ifdef __linux__
    clockid_t clock{};
    if (clock_getcpuclockid(m_pid, &clock) != 0 || clock_gettime(clock, &time) != 0)
        return {};
#endif
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool WorkerProcess::isWaitingForDisk() const
{
#ifdef __linux__
    // proc(5): the state, D for such a wait, stands behind the name, which ends with a bracket.
    std::error_code none;
    const std::filesystem::path threads = "/proc/" + std::to_string(m_pid) + "/task";
    for (const auto &thread : std::filesystem::directory_iterator(threads, none)) {
        std::ifstream file(thread.path() / "stat");
        std::string line;
        std::getline(file, line);
        const auto nameEnd = line.rfind(')');
        if (nameEnd != std::string::npos && line.compare(nameEnd, 3, ") D") == 0)
            return true;
    }
#endif
    return false;
}

bool WorkerProcess::hasNews() const
{
    pollfd channel{.fd = m_channel.get(), .events = POLLIN, .revents = 0};
    return poll(&channel, 1, 0) != 0;
}

void WorkerProcess::kill()
{
    const std::lock_guard lock(m_mutex);
    if (!m_isReaped)
        ::kill(m_pid, SIGKILL);
}

bool WorkerProcess::reap()
{
    const std::lock_guard lock(m_mutex);
    if (m_isReaped)
        return true;
    int status = 0;
    const pid_t found = waitpid(m_pid, &status, WNOHANG);
    if (found == 0)
        return false;
    if (found == m_pid) // otherwise somebody else has made the system forget its children
        m_status = status;
    // A sanitizer's report must not pass for a file that can't be decoded.
    if (IS_SANITIZED && found == m_pid && WIFEXITED(status) &&
        WEXITSTATUS(status) == SANITIZER_EXIT_CODE)
        std::abort();
    m_isReaped = true;
    return true;
}

bool WorkerProcess::hasEnded()
{
    const std::lock_guard lock(m_mutex);
    return m_isReaped;
}

std::optional<int> WorkerProcess::endingSignal(std::chrono::milliseconds atMost)
{
    constexpr auto INTERVAL = std::chrono::milliseconds(1);
    const auto latest = std::chrono::steady_clock::now() + atMost;
    while (!reap() && std::chrono::steady_clock::now() < latest)
        std::this_thread::sleep_for(INTERVAL);
    const std::lock_guard lock(m_mutex);
    return m_status && WIFSIGNALED(*m_status) ? std::optional(WTERMSIG(*m_status)) : std::nullopt;
}

} // namespace tavolin::worker
