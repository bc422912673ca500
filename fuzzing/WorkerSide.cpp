// The worker's side of the protocol: requests with anything in them, about a file that is a picture
// or not.

#include "decoding/SourceFile.h"
#include "Input.h"
#include "worker/Channel.h"
#include "worker/program/Service.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace tavolin;
using namespace tavolin::worker;

namespace {

/// The viewer's end of the channel.
int viewersEnd()
{
    std::array<int, 2> ends{-1, -1};
    fuzz::require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0);
    // The other end has the number that the protocol gives it.
    if (ends[0] == CHANNEL_DESCRIPTOR)
        std::swap(ends[0], ends[1]);
    else
        dup2(ends[1], CHANNEL_DESCRIPTOR);
    return fcntl(ends[0], F_DUPFD, DESCRIPTORS);
}

/// Throws away what the worker answers, until the program ends.
void drain(int viewer)
{
    std::array<std::byte, 65536> anything{};
    while (recv(viewer, anything.data(), anything.size(), 0) > 0) {
    }
}

std::span<std::byte> sharedMemory()
{
    void *memory = mmap(nullptr, MEMORY_BYTES, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    fuzz::require(memory != MAP_FAILED);
    return {static_cast<std::byte *>(memory), MEMORY_BYTES};
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const int viewer = viewersEnd();
    [[maybe_unused]] static const bool isDrained = [] {
        std::thread(drain, viewer).detach();
        return true;
    }();
    static const std::span<std::byte> memory = sharedMemory();
    static const int content = memfd_create("file", MFD_CLOEXEC);

    FuzzedDataProvider provider(data, size);
    Service service(static_cast<Role>(provider.ConsumeIntegralInRange(0, ROLES - 1)), memory);
    std::vector<Request> requests(provider.ConsumeIntegralInRange<std::size_t>(1, 6));
    for (Request &request : requests) {
        const auto bytes = provider.ConsumeBytes<std::uint8_t>(sizeof request);
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t *>(&request));
        request.task = static_cast<Task>(static_cast<std::uint32_t>(request.task) % 12);
        // Nobody asks for a picture larger than a screen.
        request.width = std::min(request.width, 300);
        request.height = std::min(request.height, 300);
        // Profiles must come as long as they were said to be; the viewer is not who lies.
        request.profileBytes = std::clamp<std::int64_t>(request.profileBytes, 0, 2000);
        request.monitorBytes = std::clamp<std::int64_t>(request.monitorBytes, 0, 2000);
    }
    const auto file = provider.ConsumeRemainingBytes<std::uint8_t>();
    if (!fuzz::isSmall(fuzz::fileOf(file.data(), file.size())) && !file.empty())
        return 0;
    fuzz::require(ftruncate(content, 0) == 0 && pwrite(content, file.data(), file.size(), 0) ==
                                                    static_cast<ssize_t>(file.size()));
    for (const Request &request : requests) {
        std::vector<std::byte> profiles(
            static_cast<std::size_t>(request.profileBytes + request.monitorBytes));
        std::transform(file.begin(),
                       file.begin() +
                           static_cast<std::ptrdiff_t>(std::min(profiles.size(), file.size())),
                       profiles.begin(), [](std::uint8_t byte) { return std::byte{byte}; });
        if (!profiles.empty())
            (void)sendAll(viewer, profiles);
        (void)service.answer(request, Descriptor(dup(content)), {});
    }
    return 0;
}
