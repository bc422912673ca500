// The neighbours of the picture on screen, decoded before they are asked for.

#include "app/Viewer.h"
#include "pixels/PictureReader.h"
#include "platform/Mailbox.h"

#include <array>
#include <chrono>
#include <cstdlib>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// After the last picture shown; shorter floods the disk while a key is held.
constexpr auto PREFETCH_DELAY = 150ms;
/// From the target, in this order.
constexpr std::array OFFSETS{+1, -1, +2, -2};
/// The reach of the cache: a result farther from the target is dropped.
constexpr int REACH = 3;

} // namespace

void Viewer::schedulePrefetch()
{
    m_prefetch.prefetchTimer.start(PREFETCH_DELAY);
}

void Viewer::prefetchNeighbors()
{
    const DisplayTarget screen = displayTarget();
    for (const int offset : OFFSETS) {
        const int index = m_browse.targetIndex + offset;
        if (!isInList(index) || m_browse.cache.get(index) ||
            !m_prefetch.inflight.insert(index).second)
            continue;
        m_prefetchQueue.post([reader = m_reader,
                              url = m_browse.imageList[static_cast<std::size_t>(index)], screen,
                              index, generation = m_browse.generation, &mailbox = m_mailbox,
                              viewer = QPointer(this)](std::stop_token stop) {
            mailbox.post([picture = reader->loadDisplayPicture(url, screen, std::move(stop)), index,
                          generation, viewer] {
                if (viewer)
                    viewer->prefetchFinished(picture, index, generation);
            });
        });
    }
}

void Viewer::prefetchFinished(const DisplayPicture &picture, int index, std::uint64_t generation)
{
    // An index of an earlier list means another picture now.
    if (generation != m_browse.generation)
        return;
    m_prefetch.inflight.erase(index);
    // The user may have moved on meanwhile.
    if (!picture.isNull() && std::abs(index - m_browse.targetIndex) <= REACH)
        m_browse.cache.set(index, picture);
}

} // namespace tavolin
