#include "platform/XMonitors.h"

#ifndef Q_OS_MACOS // whose windows are none of an X server's

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace tavolin {

namespace {

struct Free
{
    void operator()(void *memory) const { std::free(memory); }
};
/// What the server has answered; null where that is an error.
template <typename Answer>
using Answered = std::unique_ptr<Answer, Free>;

template <typename Answer>
Answered<Answer> owned(Answer *answer)
{
    return Answered<Answer>(answer);
}

/// The bytes that were asked for; empty where the property is not there, has more or no bytes.
QByteArray bytesOf(const xcb_get_property_reply_t *property)
{
    if (!property || property->format != 8 || property->bytes_after > 0)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(property)),
            xcb_get_property_value_length(property)};
}

} // namespace

XMonitors::XMonitors()
{
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_sleepEnd = Descriptor(ends[0]);
    m_wakeEnd = Descriptor(ends[1]);
}

XMonitors::~XMonitors() = default;

void XMonitors::Disconnect::operator()(xcb_connection_t *connection) const
{
    xcb_disconnect(connection);
}

std::optional<Monitors> XMonitors::next(const std::stop_token &stop)
{
    if (m_sleepEnd.get() < 0)
        return std::nullopt;
    const bool isThere = m_connection ? waitForChange(stop) : connect();
    return isThere && !stop.stop_requested() ? read() : std::nullopt;
}

bool XMonitors::connect()
{
    int screenNumber = 0;
    m_connection.reset(xcb_connect(nullptr, &screenNumber));
    xcb_connection_t *server = m_connection.get();
    if (xcb_connection_has_error(server) != 0)
        return false;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(server));
    while (screenNumber-- > 0 && screens.rem > 1)
        xcb_screen_next(&screens);
    m_root = screens.data->root;
    // The window's own events tell of another arrangement. Whatever changes from now on is heard
    // of.
    const std::uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(server, m_root, XCB_CW_EVENT_MASK, &wanted);
    const xcb_query_extension_reply_t *randr = xcb_get_extension_data(server, &xcb_randr_id);
    if (!randr || !randr->present)
        return true;
    const auto version = owned(
        xcb_randr_query_version_reply(server, xcb_randr_query_version(server, 1, 5), nullptr));
    m_hasMonitors = version && std::pair(version->major_version, version->minor_version) >=
                                   std::pair(std::uint32_t{1}, std::uint32_t{5});
    m_firstRandrEvent = randr->first_event;
    xcb_randr_select_input(server, m_root, XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE);
    return true;
}

bool XMonitors::waitForChange(const std::stop_token &stop)
{
    const std::stop_callback wake(stop, [this] { (void)!write(m_wakeEnd.get(), "", 1); });
    std::array<pollfd, 2> awaited{
        pollfd{.fd = xcb_get_file_descriptor(m_connection.get()), .events = POLLIN, .revents = 0},
        pollfd{.fd = m_sleepEnd.get(), .events = POLLIN, .revents = 0}};
    while (!stop.stop_requested() && xcb_connection_has_error(m_connection.get()) == 0) {
        if (hasChanged())
            return true;
        poll(awaited.data(), awaited.size(), -1);
    }
    return false;
}

/// Takes all events that are there.
bool XMonitors::hasChanged()
{
    constexpr std::uint8_t SENT_BY_A_CLIENT = 0x80;
    bool result = false;
    while (const auto event = owned(xcb_poll_for_event(m_connection.get()))) {
        const auto type = static_cast<std::uint8_t>(event->response_type & ~SENT_BY_A_CLIENT);
        if (type == XCB_PROPERTY_NOTIFY) {
            const auto atom =
                reinterpret_cast<const xcb_property_notify_event_t *>(event.get())->atom;
            result = result || std::ranges::find(m_properties, atom) != m_properties.end();
        } else {
            result = result || type == XCB_CONFIGURE_NOTIFY ||
                     type == m_firstRandrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY;
        }
    }
    return result;
}

std::optional<Monitors> XMonitors::read()
{
    xcb_connection_t *server = m_connection.get();
    Monitors monitors = numbered(readMonitors());
    // All questions first: each answer comes by itself.
    std::vector<xcb_intern_atom_cookie_t> names;
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        const std::string name = profileProperty(i);
        names.push_back(
            xcb_intern_atom(server, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    }
    m_properties.clear();
    for (const auto &name : names) {
        const auto atom = owned(xcb_intern_atom_reply(server, name, nullptr));
        m_properties.push_back(atom ? atom->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    std::vector<xcb_get_property_cookie_t> profiles;
    for (const std::uint32_t property : m_properties)
        profiles.push_back(xcb_get_property(server, 0, m_root, property, XCB_GET_PROPERTY_TYPE_ANY,
                                            0, MAX_MONITOR_PROFILE_BYTES / 4));
    for (std::size_t i = 0; i < monitors.size(); ++i)
        monitors[i].profile =
            bytesOf(owned(xcb_get_property_reply(server, profiles[i], nullptr)).get());
    return xcb_connection_has_error(server) == 0 ? std::optional(monitors) : std::nullopt;
}

Monitors XMonitors::readMonitors() const
{
    const auto list = m_hasMonitors
                          ? owned(xcb_randr_get_monitors_reply(
                                m_connection.get(),
                                xcb_randr_get_monitors(m_connection.get(), m_root, 1), nullptr))
                          : nullptr;
    Monitors monitors;
    if (list)
        for (auto each = xcb_randr_get_monitors_monitors_iterator(list.get()); each.rem > 0;
             xcb_randr_monitor_info_next(&each))
            monitors.push_back({QPoint(each.data->x, each.data->y), each.data->primary != 0, {}});
    if (monitors.empty())
        monitors.push_back({});
    return monitors;
}

} // namespace tavolin

#endif
