#include "platform/MonitorProfiles.h"

#ifdef Q_OS_MACOS
#include <QColorSpace>
#include <QSurfaceFormat>
#else
#include "platform/XMonitors.h"

#include <QGuiApplication>
#endif

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

Monitors numbered(Monitors monitors)
{
    std::ranges::stable_partition(monitors, &Monitor::isPrimary);
    return monitors;
}

std::string profileProperty(std::size_t number)
{
    return number == 0 ? "_ICC_PROFILE" : "_ICC_PROFILE_" + std::to_string(number);
}

const Monitor *monitorAt(const Monitors &monitors, QPoint corner)
{
    const auto found = std::ranges::find(monitors, corner, &Monitor::corner);
    if (found != monitors.end())
        return &*found;
    return monitors.empty() ? nullptr : &monitors.front();
}

MonitorProfiles::MonitorProfiles([[maybe_unused]] Mailbox &mailbox)
{
#ifdef Q_OS_MACOS
    // Windows that say nothing are in the monitor's colours.
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setColorSpace(QColorSpace(QColorSpace::SRgb));
    QSurfaceFormat::setDefaultFormat(format);
#else
    if (QGuiApplication::platformName() != u"xcb"_s)
        return;
    m_server = std::make_shared<XMonitors>();
    m_queue.emplace("monitors", QualityOfService::UserInitiated, mailbox);
    follow();
#endif
}

MonitorProfiles::~MonitorProfiles() = default;

QByteArray MonitorProfiles::profileAt(QPoint corner) const
{
    const Monitor *monitor = monitorAt(m_monitors, corner);
    return monitor ? monitor->profile : QByteArray();
}

void MonitorProfiles::follow()
{
#ifndef Q_OS_MACOS
    m_queue->run<std::optional<Monitors>>(
        this,
        {
            .work = [server = m_server](const std::stop_token &stop) { return server->next(stop); },
            // Always: there is one request at a time.
            .use =
                [this](const std::optional<Monitors> &monitors) {
                    if (!monitors) // the server has gone
                        return;
                    const bool areOthers = m_monitors != *monitors;
                    m_monitors = *monitors;
                    follow();
                    if (areOthers)
                        Q_EMIT changed();
                },
        });
#endif
}

} // namespace tavolin
