// The worker: reads what files say, for one viewer, behind a wall. Not to be started by hand.

#include "decoding/WarmUp.h"
#include "worker/Channel.h"
#include "worker/program/Service.h"
#include "worker/program/Wall.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
// The viewer must notice; and leaks can't be looked for behind the wall.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options()
{
    return "exitcode=86:detect_leaks=0:detect_stack_use_after_return=1";
}
extern "C" const char *__ubsan_default_options();
extern "C" const char *__ubsan_default_options()
{
    return "exitcode=86:halt_on_error=1:print_stacktrace=1";
}
#endif
#if defined(__SANITIZE_THREAD__)
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options()
{
    return "exitcode=86:halt_on_error=1";
}
#endif

using namespace std::chrono_literals;
using namespace tavolin;
using namespace tavolin::worker;

namespace {

/// The request under way, and the newest that is to stop: either may be told of first.
class Stops
{
public:
    [[nodiscard]] std::stop_token begin(std::uint32_t number)
    {
        const std::lock_guard lock(m_mutex);
        m_source = {};
        m_number = number;
        if (m_stopped == number)
            m_source.request_stop();
        return m_source.get_token();
    }

    void stop(std::uint32_t number)
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = number;
        if (m_number == number)
            m_source.request_stop();
    }

private:
    std::mutex m_mutex;
    std::stop_source m_source;
    std::uint32_t m_number = 0;
    std::uint32_t m_stopped = 0;
};

/// Listens for stops, and ends the process when the viewer has ended.
void listen(Stops &stops)
{
    std::uint32_t number = 0;
    Descriptor none(-1);
    while (receiveAll(LIFELINE_DESCRIPTOR, bytesOf(number), none))
        stops.stop(number);
    _exit(0);
}

/// Without a request for so long, a worker gives memory back.
constexpr std::chrono::milliseconds REST = 3s;

/// Whether the channel is silent for as long as that.
bool hasNothingToDo()
{
    pollfd channel{.fd = CHANNEL_DESCRIPTOR, .events = POLLIN, .revents = 0};
    return poll(&channel, 1, static_cast<int>(REST.count())) == 0;
}

/// The request that comes next, and its file. False when the viewer is gone.
bool receive(Request &request, Descriptor &file)
{
    return receiveAll(CHANNEL_DESCRIPTOR, bytesOf(request), file);
}

} // namespace

int main()
{
    cutLoose();
#ifdef __GLIBC__
    // One heap for all threads: further ones look at the system's settings when they shrink.
    mallopt(M_ARENA_MAX, 1);
    // What the user allows a stack would be taken from the address space, for each thread.
    constexpr std::size_t STACK_BYTES = std::size_t{8} << 20; // what systems give by default
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
#endif
    void *memory =
        mmap(nullptr, MEMORY_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, MEMORY_DESCRIPTOR, 0);
    close(MEMORY_DESCRIPTOR);
    if (memory == MAP_FAILED)
        return 1;
    warmUp();

    Request request;
    Descriptor none(-1);
    if (!receive(request, none) || request.task != Task::Begin)
        return 1;
    // Who has no full pictures needs no address space for them.
    if (request.role != Role::Full)
        munmap(static_cast<std::byte *>(memory) + RING_BYTES + PLACE_BYTES,
               PICTURE_BYTES - PLACE_BYTES);
    const Wall wall = closeWall(request.role);
    Stops stops;
    std::thread([&stops] { listen(stops); }).detach();
    if (!sendAll(CHANNEL_DESCRIPTOR,
                 bytesOf(Reply{.number = request.number,
                               .outcome = Outcome::Done,
                               .wall = wall.parts,
                               .landlock = static_cast<std::uint32_t>(wall.landlock)})))
        return 1;

    Service service(request.role,
                    {static_cast<std::byte *>(memory),
                     request.role == Role::Full ? MEMORY_BYTES : RING_BYTES + PLACE_BYTES});
    bool isViewerThere = true;
    while (isViewerThere) {
        if (hasNothingToDo())
            service.rest();
        Descriptor file(-1);
        isViewerThere = receive(request, file) &&
                        service.answer(request, std::move(file), stops.begin(request.number));
    }
    // At once: nothing is to be kept, and threads may still be busy.
    _exit(0);
}
