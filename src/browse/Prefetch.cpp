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
/// The same, of which there are sharp renditions.
constexpr std::array SHARP_OFFSETS{0, +1, -1};
static_assert(OFFSETS.size() == std::size_t{2} * Prefetch::REACH);

} // namespace

Prefetch::Prefetch(Browser &browser, Screen &screen, BackgroundQueue &queue,
                   const PictureReader &reader)
    : m_browser(browser), m_screen(screen), m_queue(queue), m_reader(reader)
{
    m_prefetchTimer.setSingleShot(true);
    m_prefetchTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_prefetchTimer, &QTimer::timeout, this, &Prefetch::prefetchNeighbors);
    connect(&browser, &Browser::shown, this, [this] { m_prefetchTimer.start(PREFETCH_DELAY); });
    connect(&browser, &Browser::leaving, this, &Prefetch::dropSharpening);
    connect(&browser, &Browser::listChanged, this, &Prefetch::followList);
}

void Prefetch::prefetchNeighbors()
{
    dropFarOnes();
    dropOtherColors();
    const DisplayTarget screen = m_screen.displayTarget();
    sharpen(m_browser.targetIndex());
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
    goOn();
}

bool Prefetch::sharpen(int index)
{
    const auto picture = m_browser.picture(index);
    if (!picture || m_sharpening || m_notSharpened.contains(index))
        return false;
    // The screen may have stretched it once more, as for crop mode.
    if (picture->isSharp)
        m_screen.sharpen(picture->image, picture->rendition);
    const auto target = sharpTarget(*picture, m_screen.displayTarget());
    if (!target)
        return false;
    const std::stop_source dropped = m_sharpening.emplace();
    m_queue.run<DisplayPicture>(
        this,
        {
            .work =
                [&reader = m_reader, target = *target,
                 url = m_browser.imageList()[static_cast<std::size_t>(index)]](
                    const std::stop_token &stop) {
                    return reader.loadDisplayPicture(url, target, Urgency::Ahead, stop);
                },
            // It is dropped with every step, list and size.
            .stillApplies = [dropped] { return !dropped.stop_requested(); },
            .use =
                [this, index, image = picture->image](const auto &sharp) {
                    m_sharpening.reset();
                    if (sharp.isNull())
                        m_notSharpened.insert(index);
                    else
                        m_browser.sharpen(index, image, sharp.rendition);
                    goOn();
                },
        },
        dropped);
    return true;
}

void Prefetch::dropSharpening()
{
    if (!m_sharpening)
        return;
    m_sharpening->request_stop();
    m_sharpening.reset();
    m_queue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void Prefetch::startAgain()
{
    dropSharpening();
    m_notSharpened.clear();
    if (m_browser.isCurrentShown())
        m_prefetchTimer.start(PREFETCH_DELAY);
}

/// When a decode has ended: does what is last, and says when there is no more to do.
void Prefetch::goOn()
{
    const bool isTargetShown =
        m_browser.isCurrentShown() && m_browser.currentIndex() == m_browser.targetIndex();
    if (!m_inflight.empty() || m_sharpening || m_prefetchTimer.isActive() || !isTargetShown)
        return;
    for (const int offset : SHARP_OFFSETS)
        if (sharpen(m_browser.targetIndex() + offset))
            return;
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
    dropSharpening();
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
    dropSharpening();
    m_notSharpened.clear();
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
    goOn();
}

} // namespace tavolin
