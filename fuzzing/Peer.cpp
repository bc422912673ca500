// A worker that answers with what is in the file it is asked about: behind the first byte, replies
// as they are, each with its blocks. It puts the right number into a reply whose first byte is
// even, says that its wall stands, answers again where nothing more is asked, and ends when it has
// nothing more to say.

#include "platform/Descriptor.h"
#include "worker/Channel.h"
#include "worker/Protocol.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include <poll.h>
#include <unistd.h>

using namespace tavolin;
using namespace tavolin::worker;

namespace {

constexpr std::size_t MOST_BYTES = std::size_t{1} << 20;

std::vector<std::byte> contentOf(const Descriptor &file)
{
    std::vector<std::byte> content(MOST_BYTES);
    const auto count = pread(file.get(), content.data(), content.size(), 1);
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return content;
}

} // namespace

int main()
{
    std::vector<std::byte> answers;
    Request request;
    Descriptor file(-1);
    constexpr int PATIENCE_MS = 3;
    while (true) {
        pollfd channel{.fd = CHANNEL_DESCRIPTOR, .events = POLLIN, .revents = 0};
        const bool isAsked = poll(&channel, 1, answers.empty() ? -1 : PATIENCE_MS) > 0;
        if (isAsked && !receiveAll(CHANNEL_DESCRIPTOR, bytesOf(request), file))
            return 0;
        if (isAsked && request.task == Task::Begin) {
            const Reply begun{.number = request.number, .outcome = Outcome::Done, .wall = 127};
            if (!sendAll(CHANNEL_DESCRIPTOR, bytesOf(begun)))
                return 1;
            continue;
        }
        if (file.get() >= 0)
            answers = contentOf(std::exchange(file, Descriptor(-1)));
        if (answers.empty()) // the file has none
            return 0;
        Reply reply;
        const auto replyBytes = std::min(answers.size(), sizeof reply);
        std::memcpy(static_cast<void *>(&reply), answers.data(), replyBytes);
        if ((reply.number & 1) == 0)
            reply.number = request.number;
        // What it has of the blocks that it speaks of.
        std::size_t blockBytes = 0;
        for (const auto bytes : reply.blockBytes)
            blockBytes += static_cast<std::size_t>(
                std::clamp<std::int64_t>(bytes, 0, static_cast<std::int64_t>(answers.size())));
        const auto end = std::min(replyBytes + blockBytes, answers.size());
        if (!sendAll(CHANNEL_DESCRIPTOR, bytesOf(reply)) ||
            !sendAll(CHANNEL_DESCRIPTOR, std::span(answers).subspan(replyBytes, end - replyBytes)))
            return 0;
        answers.erase(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(end));
        if (answers.empty())
            return 0;
    }
}
