#pragma once
// The colour profiles of the monitors, where it is for programs to bring their pictures into the
// colours of one: under X11. A Wayland compositor and macOS do that themselves, with windows that
// are in sRGB. On the main thread; nobody here reads what a profile says.

#include "platform/Background.h"

#include <QByteArray>
#include <QObject>
#include <QPoint>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavolin {

class XMonitors;

/// A larger profile counts as none: those of monitors have some kilobytes, with tables about 1 MB.
inline constexpr std::uint32_t MAX_MONITOR_PROFILE_BYTES = std::uint32_t{4} << 20;

/// One monitor.
struct Monitor
{
    QPoint corner; ///< Its upper left one, in pixels of the desktop.
    bool isPrimary = false;
    QByteArray profile; ///< Empty: none.

    friend bool operator==(const Monitor &, const Monitor &) = default;
};

using Monitors = std::vector<Monitor>;

/// @p monitors by the numbers that their profiles have ("ICC Profiles in X", 0.4): the primary one
/// is the first, the others follow in the X server's order.
[[nodiscard]] Monitors numbered(Monitors monitors);

/// The property of the root window with the profile of monitor @p number, from 0.
[[nodiscard]] std::string profileProperty(std::size_t number);

/// The monitor of @p monitors whose corner is @p corner, else the first; null where there are none.
[[nodiscard]] const Monitor *monitorAt(const Monitors &monitors, QPoint corner);

/// Knows the profiles, and tells when they have changed. Made when there is an application object
/// and no window yet.
class MonitorProfiles : public QObject
{
    Q_OBJECT

public:
    /// Begins to ask, in the background, if the windows are those of an X server.
    explicit MonitorProfiles(Mailbox &mailbox);
    ~MonitorProfiles() override;

    /// The profile of the monitor at @p corner, in pixels of the desktop; empty where it has none,
    /// or none is known.
    [[nodiscard]] QByteArray profileAt(QPoint corner) const;

Q_SIGNALS:
    /// Profiles, or the monitors, are others than before.
    void changed();

private:
    void follow();

    Monitors m_monitors;
    std::shared_ptr<XMonitors> m_server;
    std::optional<BackgroundQueue> m_queue; // where there is a server
};

} // namespace tavolin
