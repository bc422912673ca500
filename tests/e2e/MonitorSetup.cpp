#include "e2e/MonitorSetup.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <sys/uio.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

namespace tavolin {

namespace {

struct Disconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};
struct Free
{
    void operator()(void *memory) const { std::free(memory); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

xcb_window_t rootOf(const Connection &server)
{
    return xcb_setup_roots_iterator(xcb_get_setup(server.get())).data->root;
}

xcb_atom_t atom(const Connection &server, std::string_view name)
{
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(xcb_intern_atom_reply(
        server.get(),
        xcb_intern_atom(server.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

/// Whether the server has done what @p request asked for.
bool isDone(const Connection &server, xcb_void_cookie_t request)
{
    return !std::unique_ptr<xcb_generic_error_t, Free>(xcb_request_check(server.get(), request));
}

/// A request for a monitor, with its output if it has one. libxcb 1.15 takes it to be shorter.
struct SetMonitor
{
    xcb_randr_set_monitor_request_t head;
    xcb_randr_monitor_info_t info;
    xcb_randr_output_t output;
};

xcb_void_cookie_t setMonitor(const Connection &server, SetMonitor &request)
{
    constexpr int SPARE = 2; // that the library fills
    const xcb_protocol_request_t protocol{
        .count = 1, .ext = &xcb_randr_id, .opcode = XCB_RANDR_SET_MONITOR, .isvoid = 1};
    std::array<iovec, SPARE + 1> parts{};
    parts[SPARE] = {&request, sizeof request - (request.info.nOutput == 0 ? 4U : 0U)};
    return {xcb_send_request(server.get(), XCB_REQUEST_CHECKED, parts.data() + SPARE, &protocol)};
}

} // namespace

bool setMonitorProfile(const QByteArray &displayName, int number, const QByteArray &icc)
{
    const Connection server(xcb_connect(displayName.constData(), nullptr));
    if (xcb_connection_has_error(server.get()) != 0)
        return false;
    const std::string name =
        number == 0 ? "_ICC_PROFILE" : "_ICC_PROFILE_" + std::to_string(number);
    if (icc.isEmpty())
        return isDone(
            server, xcb_delete_property_checked(server.get(), rootOf(server), atom(server, name)));
    return isDone(server, xcb_change_property_checked(
                              server.get(), XCB_PROP_MODE_REPLACE, rootOf(server),
                              atom(server, name), XCB_ATOM_CARDINAL, 8,
                              static_cast<std::uint32_t>(icc.size()), icc.constData()));
}

bool divideScreen(const QByteArray &displayName, const std::vector<QRect> &monitors)
{
    const Connection server(xcb_connect(displayName.constData(), nullptr));
    if (xcb_connection_has_error(server.get()) != 0)
        return false;
    const std::unique_ptr<xcb_randr_query_version_reply_t, Free> version(
        xcb_randr_query_version_reply(server.get(), xcb_randr_query_version(server.get(), 1, 5),
                                      nullptr));
    const std::unique_ptr<xcb_randr_get_screen_resources_current_reply_t, Free> resources(
        xcb_randr_get_screen_resources_current_reply(
            server.get(), xcb_randr_get_screen_resources_current(server.get(), rootOf(server)),
            nullptr));
    if (!version || !resources || resources->num_outputs == 0)
        return false;
    // The one output must be somebody's: else it would be a monitor of its own.
    const xcb_randr_output_t output =
        *xcb_randr_get_screen_resources_current_outputs(resources.get());
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        SetMonitor monitor{};
        monitor.head.window = rootOf(server);
        monitor.info.name = atom(server, "monitor-" + std::to_string(i));
        monitor.info.primary = i == 0 ? 1 : 0;
        monitor.info.nOutput = i == 0 ? 1 : 0;
        monitor.info.x = static_cast<std::int16_t>(monitors[i].x());
        monitor.info.y = static_cast<std::int16_t>(monitors[i].y());
        monitor.info.width = static_cast<std::uint16_t>(monitors[i].width());
        monitor.info.height = static_cast<std::uint16_t>(monitors[i].height());
        monitor.info.width_in_millimeters = monitor.info.width / 4U;
        monitor.info.height_in_millimeters = monitor.info.height / 4U;
        monitor.output = output;
        if (!isDone(server, setMonitor(server, monitor)))
            return false;
    }
    return true;
}

} // namespace tavolin
