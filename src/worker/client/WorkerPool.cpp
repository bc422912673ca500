#include "worker/client/WorkerPool.h"

#include "worker/Channel.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tavolin::worker {

namespace {

using namespace std::chrono_literals;

/// So many files at most, one process has seen: what one of them has left in it ends with them.
constexpr int MAX_FILES = 500;

/// Between the end of a process's descriptors and its own lie moments.
constexpr std::chrono::milliseconds REAP_INTERVAL = 2ms;
/// At the longest, where there is an end that does not come.
constexpr std::chrono::milliseconds MAX_INTERVAL = 1s;
/// How long the viewer's end waits for those of its workers, which have been killed.
constexpr auto LAST_WAIT = 200ms;

bool isUsable(const Worker &worker, const std::filesystem::path &folder)
{
    // What comes unasked after an answer would pass for the next one.
    const bool isQuiet = !worker.begun || !worker.process->hasNews();
    return !worker.process->hasEnded() && isQuiet && worker.files < MAX_FILES &&
           (folder.empty() || worker.folder.empty() || worker.folder == folder);
}

/// Notes that @p worker will see a file in @p folder, or none where that is empty.
void noteFile(Worker &worker, const std::filesystem::path &folder)
{
    if (folder.empty())
        return;
    worker.folder = folder;
    ++worker.files;
}

void dropEnded(std::vector<Worker> &workers)
{
    std::erase_if(workers, [](const Worker &worker) { return worker.process->hasEnded(); });
}

/// Tells a new @p worker what it is for.
void begin(Worker &worker, Role role)
{
    const Request request{.task = Task::Begin, .number = ++worker.lastNumber, .role = role};
    // The socket is empty yet. Should it fail all the same, the first exchange finds out.
    sendSome(worker.process->channel(), bytesOf(request));
}

} // namespace

WorkerPool::WorkerPool(Descriptor executable)
    : m_executable(std::move(executable)), m_orders{Role::Display}
{
    std::array<int, 2> ends{-1, -1};
    if (pipe(ends.data()) == 0) {
        m_woken = Descriptor(ends[0]);
        m_wakeUp = Descriptor(ends[1]);
    }
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    m_keeper = std::jthread([this](const std::stop_token &stop) { keep(stop); });
}

WorkerPool::~WorkerPool()
{
    m_keeper.request_stop();
    wake();
    m_keeper.join();
}

void WorkerPool::wake() const
{
    const char anything = 0;
    // A pipe that is full wakes as well.
    [[maybe_unused]] const auto written = write(m_wakeUp.get(), &anything, 1);
}

std::optional<Worker> WorkerPool::take(Role role, const std::filesystem::path &folder)
{
    std::unique_lock lock(m_mutex);
    auto &idle = m_idle[static_cast<std::size_t>(role)];
    for (const int failures = m_failures;; m_changed.wait(lock)) {
        while (!idle.empty()) {
            Worker worker = std::move(idle.back());
            idle.pop_back();
            if (isUsable(worker, folder)) {
                noteFile(worker, folder);
                noteBegin(role, worker);
                return worker;
            }
            worker.process->kill();
        }
        dropEnded(m_spares);
        if (!m_spares.empty()) {
            Worker worker = std::move(m_spares.back());
            m_spares.pop_back();
            begin(worker, role);
            noteFile(worker, folder);
            noteBegin(role, worker);
            return worker;
        }
        const auto fits = [role](const Order &order) { return !order || *order == role; };
        if (std::ranges::any_of(m_orders, fits))
            continue;
        if (m_failures != failures)
            return std::nullopt;
        m_orders.emplace_back();
        wake();
    }
}

void WorkerPool::giveBack(Role role, Worker worker)
{
    const std::lock_guard lock(m_mutex);
    noteEnd(role, worker);
    auto &idle = m_idle[static_cast<std::size_t>(role)];
    if (idle.empty())
        idle.push_back(std::move(worker));
    else
        worker.process->kill();
    orderSpare();
}

void WorkerPool::discard(Role role, Worker worker)
{
    worker.process->kill();
    const std::lock_guard lock(m_mutex);
    noteEnd(role, worker);
    orderSpare();
}

void WorkerPool::noteBegin(Role role, const Worker &worker)
{
    if (role == Role::Ahead) {
        m_ahead.push_back(worker.process);
        worker.process->allowPauses();
        // One that has been waited for in vain for long holds up nothing.
        if (m_awaited > 0 && std::chrono::steady_clock::now() - m_awaitedSince < MAX_PAUSE)
            worker.process->pause();
    } else {
        ++m_awaited;
        m_awaitedSince = std::chrono::steady_clock::now();
        for (const auto &process : m_ahead)
            process->pause();
    }
}

void WorkerPool::noteEnd(Role role, const Worker &worker)
{
    if (role == Role::Ahead) {
        std::erase(m_ahead, worker.process);
        worker.process->resume();
    } else if (--m_awaited == 0) {
        for (const auto &process : m_ahead)
            process->resume();
    }
}

void WorkerPool::orderSpare()
{
    dropEnded(m_spares);
    if (!m_spares.empty() || !m_orders.empty())
        return;
    m_orders.emplace_back();
    wake();
}

void WorkerPool::startOrdered(Processes &started)
{
    std::unique_lock lock(m_mutex);
    while (!m_orders.empty()) {
        const Order order = m_orders.front();
        lock.unlock();
        Worker worker{.process = WorkerProcess::start(m_executable.get())};
        if (worker.process) {
            started.push_back(worker.process);
            if (order)
                begin(worker, *order);
        }
        lock.lock();
        m_orders.pop_front();
        if (!worker.process)
            ++m_failures;
        else if (order)
            m_idle[static_cast<std::size_t>(*order)].push_back(std::move(worker));
        else
            m_spares.push_back(std::move(worker));
        m_changed.notify_all();
    }
}

void WorkerPool::keep(const std::stop_token &stop)
{
    Processes alive;
    Processes ending; // as those which have closed their end
    const auto reapEnded = [&ending] {
        std::erase_if(ending, [](const auto &process) { return process->reap(); });
        return ending.empty();
    };
    auto interval = REAP_INTERVAL;
    while (!stop.stop_requested()) {
        try {
            startOrdered(alive);
            waitForNews(alive, ending, interval);
        } catch (...) { // lack of memory
            giveUpOrders();
        }
        interval = reapEnded() ? REAP_INTERVAL : std::min(2 * interval, MAX_INTERVAL);
    }
    ending.insert(ending.end(), alive.begin(), alive.end());
    for (const auto &process : ending)
        process->kill();
    const auto latest = std::chrono::steady_clock::now() + LAST_WAIT;
    while (!reapEnded() && std::chrono::steady_clock::now() < latest)
        std::this_thread::sleep_for(REAP_INTERVAL);
}

void WorkerPool::giveUpOrders()
{
    const std::lock_guard lock(m_mutex);
    m_orders.clear();
    ++m_failures;
    m_changed.notify_all();
}

void WorkerPool::waitForNews(Processes &alive, Processes &ending,
                             std::chrono::milliseconds interval) const
{
    std::vector<pollfd> news{{.fd = m_woken.get(), .events = POLLIN, .revents = 0}};
    for (const auto &process : alive)
        news.push_back({.fd = process->lifeline(), .events = 0, .revents = 0});
    // One that can't die, because it waits for a disk, keeps its descriptors and is no news.
    poll(news.data(), static_cast<nfds_t>(news.size()),
         ending.empty() && m_woken.get() >= 0 ? -1 : static_cast<int>(interval.count()));
    std::array<char, 64> anything{};
    [[maybe_unused]] const auto count = read(m_woken.get(), anything.data(), anything.size());
    for (std::size_t i = alive.size(); i-- > 0;) {
        if (news[i + 1].revents == 0)
            continue;
        alive[i]->kill(); // it may have closed its end and live on
        ending.push_back(alive[i]);
        alive.erase(alive.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

} // namespace tavolin::worker
