// A worker for tests. It speaks the protocol as it should, except where a file orders otherwise:
// the text of a file is taken as orders, one a line, and so is a profile whose pixels are to be
// converted. Orders for the time before any file are the name that the program is started under.
//
//   note PATH          appends the process's number to a file, before anything else is done
//   crash, exit N, killed, killed once PATH (that is, unless it exists)
//   hang busy, hang asleep, close lifeline, close channel
//   wait               gives up once a stop is requested, as a worker should
//   answer late        answers well after a stop is requested
//   size W H           of the picture, 16 by 16 otherwise
//   announce W H       how large it is as stored; announce forever
//   fail, lie FIELD=N  what the reply says, where FIELD is as in Reply
//   send blockI=N      sends a block of so many bytes
//   paint N            the pixels of the picture
//   in place           the picture lies behind the ring, as far as it has room there
//   trickle block      a byte of a block now and then
//   truncate reply, truncate block, stall reply, answer twice, answer forever, trickle,
//   leak descriptors   how the reply is sent
//   rows ORDER         one of these for the last request for rows

#include "worker/Channel.h"
#include "worker/Protocol.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace tavolin::worker {

namespace {

constexpr std::string_view PROGRAM_NAME = "tavolin-fake-worker";
constexpr std::uint32_t COLOR = 0xff336699;
constexpr std::uint32_t ALL_WALL_PARTS = 127;
constexpr std::uint32_t ALL_FACTS = 255;

using Orders = std::vector<std::string>;
using Blocks = std::array<std::string, BLOCKS>;

struct Size
{
    std::int32_t width = 16;
    std::int32_t height = 16;
};

Size sizeIn(const std::string &text)
{
    Size size;
    std::istringstream(text) >> size.width >> size.height;
    return size;
}

/// The lines of @p text.
Orders ordersIn(std::string_view text)
{
    Orders orders;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        orders.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return orders;
}

std::string contentOf(const Descriptor &file)
{
    std::string content(4096, '\0');
    const ssize_t count = pread(file.get(), content.data(), content.size(), 0);
    content.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    return content;
}

[[noreturn]] void sleepForever()
{
    while (true)
        pause();
}

void workForever()
{
    const volatile bool isBusy = true;
    while (isBusy) {
    }
}

/// Returns when the viewer wants a request to stop.
void awaitStop()
{
    std::uint32_t number = 0;
    Descriptor none(-1);
    if (!receiveAll(LIFELINE_DESCRIPTOR, bytesOf(number), none))
        _exit(0);
}

void sendOrEnd(std::span<const std::byte> bytes)
{
    if (!sendAll(CHANNEL_DESCRIPTOR, bytes))
        _exit(0);
}

std::span<const std::byte> bytesIn(const std::string &text)
{
    return std::as_bytes(std::span(text.data(), text.size()));
}

/// Sends @p bytes with so many copies of @p descriptor as a message may carry.
void sendWithDescriptors(std::span<const std::byte> bytes, int descriptor)
{
    std::array<int, 250> copies{};
    copies.fill(descriptor);
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof copies)> control{};
    iovec block{const_cast<std::byte *>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof copies);
    std::memcpy(CMSG_DATA(header), copies.data(), sizeof copies);
    if (sendmsg(CHANNEL_DESCRIPTOR, &message, SEND_FLAGS) != static_cast<ssize_t>(bytes.size()))
        _exit(0);
}

/// Sets the field of @p reply that @p lie names, as "width=-1".
void tell(Reply &reply, const std::string &lie)
{
    const auto equals = lie.find('=');
    const std::string field = lie.substr(0, equals);
    const std::string value = lie.substr(equals + 1);
    const double real = std::strtod(value.c_str(), nullptr);
    const auto whole = static_cast<std::int64_t>(std::strtoll(value.c_str(), nullptr, 10));
    const auto positive = static_cast<std::uint32_t>(whole);
    FactsFields &facts = reply.facts;
    if (field == "number")
        reply.number = positive;
    else if (field == "outcome")
        reply.outcome = static_cast<Outcome>(positive);
    else if (field == "width")
        reply.width = static_cast<std::int32_t>(whole);
    else if (field == "height")
        reply.height = static_cast<std::int32_t>(whole);
    else if (field == "alpha")
        reply.alpha = positive;
    else if (field == "wall")
        reply.wall = positive;
    else if (field == "landlock")
        reply.landlock = positive;
    else if (field == "changesNothing")
        reply.changesNothing = positive;
    else if (field == "place")
        reply.place = static_cast<Place>(positive);
    else if (field == "renditionWidth")
        reply.renditionWidth = static_cast<std::int32_t>(whole);
    else if (field == "renditionHeight")
        reply.renditionHeight = static_cast<std::int32_t>(whole);
    else if (field == "renditionPlace")
        reply.renditionPlace = static_cast<Place>(positive);
    else if (field == "densityUnit")
        reply.densityUnit = positive;
    else if (field == "densityX")
        reply.densityX = positive;
    else if (field == "densityY")
        reply.densityY = positive;
    else if (field == "focalLength")
        facts.focalLength = real;
    else if (field == "fNumber")
        facts.fNumber = real;
    else if (field == "exposureTime")
        facts.exposureTime = real;
    else if (field == "iso")
        facts.iso = whole;
    else if (field == "present")
        facts.present = positive;
    else if (field == "orientation")
        facts.orientation = positive;
    else if (field.starts_with("block"))
        reply.blockBytes.at(static_cast<std::size_t>(field.back() - '0')) = whole;
    else
        std::abort();
}

class FakeWorker
{
public:
    FakeWorker(std::span<std::byte> memory, Orders atBegin)
        : m_memory(memory), m_orders(std::move(atBegin))
    {}

    void answer(const Request &request, Descriptor file)
    {
        if (file.get() >= 0)
            m_file = std::move(file);
        Orders orders = m_orders;
        const std::string profile = receiveProfile(request.profileBytes);
        receiveProfile(request.monitorBytes);
        switch (request.task) {
        case Task::Begin:
            break;
        case Task::Convert:
            orders = m_orders = ordersIn(profile);
            break;
        case Task::Rows:
        case Task::ConvertRows:
            orders = ordersForRows(request);
            break;
        default:
            orders = m_orders = ordersIn(contentOf(m_file));
        }
        m_size = m_stored = {};
        m_isInPlace = false;
        if (request.task != Task::Rows)
            m_color = COLOR;
        Reply reply{.number = request.number, .outcome = Outcome::Done};
        for (const std::string &order : std::as_const(orders))
            carryOut(order, reply);
        if (request.task == Task::Display || request.task == Task::Full)
            announce(request.number);
        Blocks blocks;
        if (reply.outcome == Outcome::Done)
            fill(reply, blocks, request);
        for (std::size_t i = 0; i < blocks.size(); ++i)
            reply.blockBytes[i] = static_cast<std::int64_t>(blocks[i].size());
        for (const std::string &order : std::as_const(orders))
            distort(order, reply, blocks);
        send(orders, reply, blocks);
    }

private:
    static std::string receiveProfile(std::int64_t bytes)
    {
        std::string profile(static_cast<std::size_t>(bytes), '\0');
        Descriptor none(-1);
        if (!receiveAll(CHANNEL_DESCRIPTOR,
                        std::as_writable_bytes(std::span(profile.data(), profile.size())), none))
            _exit(0);
        return profile;
    }

    /// Those behind the word "rows", once the last of the picture are asked for.
    [[nodiscard]] Orders ordersForRows(const Request &request) const
    {
        Orders orders;
        if (request.task == Task::Rows && request.firstRow + request.rowCount < m_picture.height)
            return orders;
        for (const std::string &order : m_orders)
            if (order.starts_with("rows "))
                orders.push_back(order.substr(5));
        return orders;
    }

    /// What is done before a reply is thought of.
    void carryOut(const std::string &order, Reply &reply)
    {
        if (order.starts_with("note "))
            std::ofstream(order.substr(5), std::ios::app) << getpid() << '\n';
        else if (order == "crash")
            std::abort();
        else if (order.starts_with("exit "))
            _exit(std::atoi(order.c_str() + 5));
        else if (order == "killed")
            raise(SIGKILL);
        else if (order.starts_with("killed once ") && !std::filesystem::exists(order.substr(12))) {
            std::ofstream(order.substr(12)).put('\n');
            raise(SIGKILL);
        } else if (order == "hang busy")
            workForever();
        else if (order == "hang asleep")
            sleepForever();
        else if (order == "close lifeline" || order == "close channel") {
            close(order == "close lifeline" ? LIFELINE_DESCRIPTOR : CHANNEL_DESCRIPTOR);
            sleepForever();
        } else if (order == "fail") {
            reply.outcome = Outcome::Failed;
        } else if (order == "wait") {
            awaitStop();
            reply.outcome = Outcome::Failed;
        } else if (order == "answer late") {
            awaitStop();
            usleep(500'000);
        } else if (order.starts_with("paint ")) {
            m_color = static_cast<std::uint32_t>(std::strtoul(order.c_str() + 6, nullptr, 10));
        } else if (order == "in place") {
            m_isInPlace = true;
        } else if (order.starts_with("size ")) {
            m_size = sizeIn(order.substr(5));
        } else if (order == "announce forever") {
            while (true)
                announce(reply.number);
        } else if (order.starts_with("announce ")) {
            m_stored = sizeIn(order.substr(9));
        }
    }

    void announce(std::uint32_t number) const
    {
        const Reply reply{.number = number,
                          .outcome = Outcome::Announced,
                          .width = m_stored.width,
                          .height = m_stored.height};
        sendOrEnd(bytesOf(reply));
    }

    void fill(Reply &reply, Blocks &blocks, const Request &request)
    {
        switch (request.task) {
        case Task::Begin:
            reply.wall = ALL_WALL_PARTS;
            reply.landlock = 1;
            break;
        case Task::Display:
        case Task::Full:
            m_picture = m_size;
            reply.place = m_isInPlace ? Place::Front : Place::Elsewhere;
            if (m_isInPlace)
                std::ranges::fill(place(m_size), m_color);
            [[fallthrough]];
        case Task::PixelSize:
            reply.width = m_size.width;
            reply.height = m_size.height;
            break;
        case Task::Facts:
            reply.width = m_size.width;
            reply.height = m_size.height;
            reply.facts = {.focalLength = 50,
                           .fNumber = 2.8,
                           .exposureTime = 0.004,
                           .iso = getpid(),
                           .present = ALL_FACTS,
                           .orientation = 6};
            blocks = {"make", "model", "lens", "time"};
            break;
        case Task::Metadata:
            blocks = {"exif", "xmp", "photoshop", "profile"};
            break;
        case Task::IsSaved:
            break;
        case Task::Convert:
            m_rowWidth = request.width;
            break;
        case Task::Rows:
            if (request.rowCount > 0)
                std::ranges::fill(slot(request, m_picture.width), m_color);
            break;
        case Task::ConvertRows:
            for (std::uint32_t &pixel : slot(request, m_rowWidth))
                pixel ^= 0x00ffffff;
            break;
        }
    }

    /// What of the reply is to be wrong.
    static void distort(const std::string &order, Reply &reply, Blocks &blocks)
    {
        if (order.starts_with("send block")) {
            const auto i = static_cast<std::size_t>(order[10] - '0');
            blocks.at(i).assign(std::strtoul(order.c_str() + 12, nullptr, 10), 'x');
            reply.blockBytes.at(i) = static_cast<std::int64_t>(blocks[i].size());
        } else if (order.starts_with("lie ")) {
            tell(reply, order.substr(4));
        }
    }

    void send(const Orders &orders, Reply reply, const Blocks &blocks) const
    {
        const auto isOrdered = [&orders](std::string_view order) {
            return std::ranges::find(orders, order) != orders.end();
        };
        const auto bytes = bytesOf(std::as_const(reply));
        if (isOrdered("truncate reply") || isOrdered("stall reply")) {
            sendOrEnd(bytes.first(bytes.size() / 2));
            if (isOrdered("stall reply"))
                sleepForever();
            _exit(0);
        }
        if (isOrdered("trickle")) {
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                sendOrEnd(bytes.subspan(i, 1));
                usleep(1000);
            }
        } else if (isOrdered("leak descriptors")) {
            sendWithDescriptors(bytes, m_file.get());
        } else {
            sendOrEnd(bytes);
        }
        for (const std::string &block : blocks) {
            if (isOrdered("truncate block") && !block.empty()) {
                sendOrEnd(bytesIn(block).first(block.size() / 2));
                _exit(0);
            }
            for (const std::byte &byte : bytesIn(block)) {
                if (!isOrdered("trickle block"))
                    break;
                sendOrEnd({&byte, 1});
                usleep(5000);
            }
            sendOrEnd(bytesIn(block));
        }
        if (isOrdered("answer twice"))
            sendOrEnd(bytes);
        while (isOrdered("answer forever"))
            sendOrEnd(bytes);
    }

    [[nodiscard]] std::span<std::uint32_t> slot(const Request &request, std::int32_t width) const
    {
        const auto place = m_memory.subspan(request.slot * SLOT_BYTES, SLOT_BYTES);
        return {reinterpret_cast<std::uint32_t *>(place.data()),
                static_cast<std::size_t>(width) * static_cast<std::size_t>(request.rowCount)};
    }

    /// Where a picture of @p size lies, as far as there is room.
    [[nodiscard]] std::span<std::uint32_t> place(Size size) const
    {
        const auto behind = m_memory.subspan(RING_BYTES, PICTURE_BYTES);
        const auto pixels = static_cast<std::size_t>(
            std::max(std::int64_t{0}, std::int64_t{size.width} * size.height));
        return {reinterpret_cast<std::uint32_t *>(behind.data()),
                std::min(pixels, behind.size() / sizeof(std::uint32_t))};
    }

    std::span<std::byte> m_memory;
    Orders m_orders;       // of the latest file or profile
    Descriptor m_file{-1}; // the latest
    Size m_size;           // as ordered
    Size m_stored;         // as announced
    Size m_picture;        // whose rows can be fetched
    std::uint32_t m_color = COLOR;
    bool m_isInPlace = false;    // the picture of the latest request
    std::int32_t m_rowWidth = 0; // of what is converted
};

/// The orders in the program's name.
Orders ordersInName()
{
    const std::string name = std::filesystem::read_symlink("/proc/self/exe").filename();
    return name == PROGRAM_NAME ? Orders() : Orders{name};
}

} // namespace

} // namespace tavolin::worker

int main()
{
    using namespace tavolin::worker;
#ifdef __linux__
    // It may be asleep when the test program ends.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    void *memory =
        mmap(nullptr, MEMORY_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, MEMORY_DESCRIPTOR, 0);
    if (memory == MAP_FAILED)
        return 1;
    FakeWorker worker({static_cast<std::byte *>(memory), MEMORY_BYTES}, ordersInName());
    Request request;
    tavolin::Descriptor file(-1);
    while (receiveAll(CHANNEL_DESCRIPTOR, bytesOf(request), file))
        worker.answer(request, std::exchange(file, tavolin::Descriptor(-1)));
    _exit(0);
}
