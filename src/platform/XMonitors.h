#pragma once
// What an X server tells of its monitors.

#include "platform/Descriptor.h"
#include "platform/MonitorProfiles.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

struct xcb_connection_t;

namespace tavolin {

/// A connection of its own to the server that the environment names: whoever asks waits for the
/// answer. One thread at a time.
class XMonitors
{
public:
    XMonitors();
    ~XMonitors();
    XMonitors(const XMonitors &) = delete;
    XMonitors &operator=(const XMonitors &) = delete;

    /// The monitors by their numbers, with their profiles: at once the first time, later when
    /// something about them may have changed. Empty when there is no such server, or it has gone,
    /// and soon after a stop is requested.
    [[nodiscard]] std::optional<Monitors> next(const std::stop_token &stop);

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t *connection) const;
    };

    [[nodiscard]] bool connect();
    [[nodiscard]] bool waitForChange(const std::stop_token &stop);
    [[nodiscard]] bool hasChanged();
    [[nodiscard]] std::optional<Monitors> read();
    [[nodiscard]] Monitors readMonitors() const;

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::uint32_t m_root = 0;
    bool m_hasMonitors = false; // by RandR 1.5; else there is one
    std::uint8_t m_firstRandrEvent = 0;
    std::vector<std::uint32_t> m_properties; // atoms, by the monitors' numbers
    Descriptor m_wakeEnd{-1};                // of a pipe that a stop ends the waiting by …
    Descriptor m_sleepEnd{-1};               // … and its other end
};

} // namespace tavolin
