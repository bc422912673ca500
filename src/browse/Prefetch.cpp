#include "browse/Prefetch.h"

#include "browse/Browser.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "screen/Screen.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// After the last picture shown; shorter floods the disk while a key is held.
constexpr auto PREFETCH_DELAY = 150ms;
/// From the target, in this order.
constexpr std::array OFFSETS{+1, -1, +2, -2};
static_assert(OFFSETS.size() == std::size_t{2} * Prefetch::REACH);

} // namespace

Prefetch::Prefetch(Browser &browser, const Screen &screen, BackgroundQueue &queue,
                   const PictureReader &reader)
    : m_browser(browser), m_screen(screen), m_queue(queue), m_reader(reader)
{
    m_prefetchTimer.setSingleShot(true);
    m_prefetchTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_prefetchTimer, &QTimer::timeout, this, &Prefetch::prefetchNeighbors);
    connect(&browser, &Browser::shown, this, [this] { m_prefetchTimer.start(PREFETCH_DELAY); });
    connect(&browser, &Browser::listChanged, this, &Prefetch::followList);
}

void Prefetch::prefetchNeighbors()
{
    dropFarOnes();
    dropOtherColors();
    const DisplayTarget screen = m_screen.displayTarget();
    for (const int offset : OFFSETS) {
        const int index = m_browser.targetIndex() + offset;
        if (!m_browser.isInList(index) || m_browser.isReady(index) || m_inflight.contains(index))
            continue;
        const std::stop_source dropped = m_inflight[index];
        m_queue.run<DisplayPicture>(
            this,
            {
                .work =
                    [&reader = m_reader, screen,
                     url = m_browser.imageList()[static_cast<std::size_t>(index)]](
                        const std::stop_token &stop) {
                        return reader.loadDisplayPicture(url, screen, Urgency::Ahead, stop);
                    },
                // An index of an earlier list means another picture now, or none.
                .stillApplies =
                    [this, index, generation = m_generation] {
                        return m_browser.indexNow(index, generation).has_value();
                    },
                .use =
                    [this, index, generation = m_generation, dropped](const auto &picture) {
                        prefetchFinished(picture, *m_browser.indexNow(index, generation), dropped);
                    },
            },
            dropped);
    }
    tellIfRested();
}

void Prefetch::tellIfRested()
{
    const bool isTargetShown =
        m_browser.isCurrentShown() && m_browser.currentIndex() == m_browser.targetIndex();
    if (m_inflight.empty() && !m_prefetchTimer.isActive() && isTargetShown)
        Q_EMIT rested();
}

void Prefetch::dropFarOnes()
{
    for (auto &[index, stop] : m_inflight)
        if (std::abs(index - m_browser.targetIndex()) > ThumbCache::WINDOW)
            stop.request_stop();
    m_queue.leaveBehindUnlessEnded(STUCK_AFTER);
}

/// Forgets those for a monitor that the window is not on any more.
void Prefetch::dropOtherColors()
{
    if (m_profile == m_screen.profile())
        return;
    m_profile = m_screen.profile();
    for (auto &[index, stop] : std::exchange(m_inflight, {}))
        stop.request_stop();
    m_queue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void Prefetch::followList()
{
    const auto before = std::exchange(m_inflight, {});
    for (auto [index, stop] : before) {
        if (const auto now = m_browser.indexNow(index, m_generation))
            m_inflight.emplace(*now, stop);
        else
            stop.request_stop();
    }
    m_generation = m_browser.generation();
    m_queue.leaveBehindUnlessEnded(DROP_PATIENCE);
    if (m_browser.isCurrentShown()) // as it was before
        m_prefetchTimer.start(PREFETCH_DELAY);
}

void Prefetch::prefetchFinished(const DisplayPicture &picture, int index,
                                const std::stop_source &prefetch)
{
    // Another one may have been started for it.
    if (const auto found = m_inflight.find(index);
        found != m_inflight.end() && found->second == prefetch)
        m_inflight.erase(found);
    m_browser.keep(index, picture);
    tellIfRested();
}

} // namespace tavolin
