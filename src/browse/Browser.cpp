#include "browse/Browser.h"

#include "browse/ImageList.h"
#include "browse/InfoLine.h"
#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "screen/Labels.h"
#include "screen/Loupe.h"
#include "screen/Screen.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// What a decode may take that nobody waits for any more: long enough for a large picture, which
/// keeps the screen moving, and short enough that one bad file does not freeze it while a key is
/// held.
constexpr auto PATIENCE = 2s;

} // namespace

Browser::Browser(Screen &screen, Labels &labels, Loupe &loupe, const BrowserQueues &queues,
                 const PictureReader &reader, std::function<bool()> isEdited)
    : m_screen(screen), m_labels(labels), m_loupe(loupe), m_listQueue(queues.list),
      m_loadQueue(queues.load), m_reader(reader), m_isEdited(std::move(isEdited))
{
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &Browser::dropLateLoad);
}

void Browser::openPath(const std::filesystem::path &url)
{
    open([url](const std::stop_token &stop) { return listForPath(url, stop); }, true);
}

void Browser::openFolder(const std::filesystem::path &folder,
                         const std::optional<std::filesystem::path> &startAt)
{
    open([folder,
          startAt](const std::stop_token &stop) { return listForFolder(folder, startAt, stop); },
         false);
}

void Browser::open(std::function<FolderList(const std::stop_token &)> list, bool isPath)
{
    std::exchange(m_listing, std::stop_source()).request_stop();
    m_listQueue.leaveBehindUnlessEnded(DROP_PATIENCE);
    m_isOpening = true;
    m_earlySteps = 0;
    m_listQueue.run<FolderList>(
        this,
        {
            .work = std::move(list),
            // A newer one has taken its place.
            .stillApplies = [stop = m_listing] { return !stop.stop_requested(); },
            .use =
                [this, isPath](const FolderList &opened) {
                    m_isOpening = false;
                    if (opened.exists && isPath)
                        Q_EMIT aboutToOpen();
                    if (opened.exists)
                        install(opened);
                    Q_EMIT openingEnded();
                },
        },
        m_listing);
}

void Browser::install(FolderList list)
{
    if (!list.images) {
        m_labels.showStatus(u"❌ เปิดโฟลเดอร์ไม่ได้"_s, true);
        return;
    }
    Q_EMIT aboutToOpen();
    m_imageList = std::move(*list.images);
    m_isBetweenLists = !m_screen.currentThumb().isNull();
    ++m_opening;
    if (m_load)
        m_load->stop.request_stop(); // what comes of it is not shown
    m_removed.clear();
    ++m_generation;
    leavePicture();
    listHasChanged();
    m_loadQueue.leaveBehindUnlessEnded(DROP_PATIENCE);
    m_targetIndex = list.start;
    m_currentIndex = m_targetIndex;
    if (m_imageList.empty()) {
        showNothing(u"ไม่พบรูปในโฟลเดอร์นี้ — กด O เปิดใหม่"_s);
        return;
    }
    updateInfoText();
    pumpLoad();
    if (const int steps = std::exchange(m_earlySteps, 0))
        navigate(steps);
}

void Browser::removeFromList(int index)
{
    const bool isCurrent = index == m_currentIndex;
    m_imageList.erase(m_imageList.begin() + index);
    m_removed.push_back(index);
    ++m_generation;
    const int last = static_cast<int>(m_imageList.size()) - 1;
    const auto moved = [&](int at) { return clamped(at > index ? at - 1 : at, 0, last); };
    m_targetIndex = moved(isCurrent ? m_currentIndex : m_targetIndex);
    m_currentIndex = moved(m_currentIndex);
    if (isCurrent)
        leavePicture();
    listHasChanged();
    if (m_imageList.empty()) {
        showNothing(u"โฟลเดอร์ว่างแล้ว — กด O เปิดใหม่"_s);
        return;
    }
    updateInfoText();
    if (!m_isShown || m_targetIndex != m_currentIndex)
        pumpLoad();
}

std::optional<int> Browser::indexNow(int index, std::uint64_t generation) const
{
    const std::uint64_t opened = m_generation - m_removed.size();
    if (generation < opened)
        return {};
    for (auto removed = m_removed.begin() + static_cast<std::ptrdiff_t>(generation - opened);
         removed != m_removed.end(); ++removed) {
        if (*removed == index)
            return {};
        index -= *removed < index ? 1 : 0;
    }
    return index;
}

/// What is on screen is no picture of this list.
void Browser::leavePicture()
{
    forgetShown();
    m_loupe.dropFullImage();
    Q_EMIT leaving();
}

void Browser::listHasChanged()
{
    dropLateLoad();
    m_cache.clear();
    Q_EMIT listChanged();
}

void Browser::showNothing(const QString &info)
{
    m_isBetweenLists = false;
    m_labels.showInfo(info);
    m_screen.showNothing();
    Q_EMIT noneShown();
}

bool Browser::isInList(int index) const
{
    return index >= 0 && static_cast<std::size_t>(index) < m_imageList.size();
}

const std::filesystem::path &Browser::currentUrl() const
{
    return m_imageList[static_cast<std::size_t>(m_currentIndex)];
}

bool Browser::isCurrentShown() const
{
    return m_isShown && isInList(m_currentIndex) && !m_screen.currentThumb().isNull();
}

void Browser::keep(int index, const DisplayPicture &picture)
{
    if (!picture.isNull() && m_screen.hasColorsOf(picture.image) &&
        std::abs(index - m_targetIndex) <= ThumbCache::WINDOW)
        m_cache.set(index, picture);
}

void Browser::sharpen(int index, const Image &image, const Image &rendition)
{
    auto picture = m_cache.get(index);
    if (!picture || !picture->image.isSameAs(image))
        return;
    picture->rendition = rendition;
    picture->isSharp = true;
    m_cache.set(index, *picture);
    m_screen.sharpen(image, rendition);
}

void Browser::forgetShown()
{
    m_isShown = false;
    dropSizeRead();
}

void Browser::whenSizeIsKnown(std::function<void()> then)
{
    if (m_screen.currentPixelSize()) {
        then();
        return;
    }
    m_sizeWaiters.push_back(std::move(then));
    if (m_sizeWaiters.size() > 1)
        return;
    m_sizeRead = std::stop_source();
    m_loadQueue.run<std::optional<QSize>>(
        this,
        {
            .work = [&reader = m_reader,
                     url = currentUrl()](const std::stop_token &stop) -> std::optional<QSize> {
                return stop.stop_requested() ? std::nullopt : reader.readPixelSize(url);
            },
            // It is dropped with the picture on screen.
            .stillApplies = [read = m_sizeRead] { return !read.stop_requested(); },
            .use =
                [this](const std::optional<QSize> &size) {
                    if (!m_screen.currentPixelSize())
                        m_screen.setCurrentPixelSize(size);
                    for (const auto &waiter : std::exchange(m_sizeWaiters, {}))
                        waiter();
                },
        },
        m_sizeRead);
}

void Browser::dropSizeRead()
{
    m_sizeWaiters.clear();
    m_sizeRead.request_stop();
    m_loadQueue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void Browser::updateInfoText()
{
    if (!isInList(m_targetIndex))
        return;
    m_labels.showInfo(infoText(m_targetIndex, static_cast<int>(m_imageList.size()),
                               m_imageList[static_cast<std::size_t>(m_targetIndex)], m_isEdited()));
}

void Browser::navigate(int step)
{
    if (m_imageList.empty()) {
        if (m_isOpening)
            m_earlySteps += step;
        return;
    }
    jumpTo(clamped(m_targetIndex + step, 0, static_cast<int>(m_imageList.size()) - 1));
}

void Browser::jumpTo(int index)
{
    if (m_screen.isCropping() || !isInList(index) || index == m_targetIndex)
        return;
    Q_EMIT leaving();
    dropSizeRead(); // the next picture must not wait for it
    m_targetIndex = index;
    dropLateLoad();
    updateInfoText();
    pumpLoad();
}

void Browser::stayHere()
{
    if (m_targetIndex == m_currentIndex)
        return;
    m_targetIndex = m_currentIndex;
    dropLateLoad();
    updateInfoText();
}

void Browser::pumpLoad()
{
    const int target = m_targetIndex;
    if (m_load || !isInList(target))
        return;
    if (const auto picture = m_cache.get(target)) {
        display(*picture, target);
        return;
    }
    m_load = Load{.index = target, .generation = m_generation};
    m_patience.start(PATIENCE);
    m_loadQueue.run<DisplayPicture>(
        this,
        {
            .work =
                [&reader = m_reader, url = m_imageList[static_cast<std::size_t>(target)],
                 screen = m_screen.displayTarget()](const std::stop_token &stop) {
                    return reader.loadDisplayPicture(url, screen, Urgency::Now, stop);
                },
            // A picture of an earlier list would stand under a wrong name.
            .stillApplies = [this] { return loadIndex().has_value(); },
            .use = [this](const auto &picture) { loadFinished(picture, *loadIndex()); },
            .otherwise =
                [this] {
                    endLoad();
                    pumpLoad();
                },
        },
        m_load->stop);
}

void Browser::refreshColors()
{
    m_cache.clear();
    if (m_load) {
        m_load->stop.request_stop(); // what comes of it is not shown
        m_loadQueue.leaveBehindUnlessEnded(STUCK_AFTER);
    }
    if (!m_isEdited())
        pumpLoad();
}

std::optional<int> Browser::loadIndex() const
{
    return indexNow(m_load->index, m_load->generation);
}

void Browser::dropLateLoad()
{
    if (!m_load || m_patience.isActive())
        return;
    // What comes for an earlier list is not shown.
    const bool isWaitedFor = loadIndex() == m_targetIndex;
    if (isWaitedFor || m_load->stop.stop_requested())
        return;
    m_load->stop.request_stop();
    const auto left = m_load->begin + STUCK_AFTER - std::chrono::steady_clock::now();
    m_loadQueue.leaveBehindUnlessEnded(std::max<std::chrono::milliseconds>(
        DROP_PATIENCE, std::chrono::ceil<std::chrono::milliseconds>(left)));
}

void Browser::endLoad()
{
    m_load.reset();
    m_patience.stop();
}

void Browser::loadFinished(const DisplayPicture &loaded, int index)
{
    // In the colours that the monitor had when it was asked for, it is none.
    const DisplayPicture picture = m_screen.hasColorsOf(loaded.image) ? loaded : DisplayPicture();
    const bool isGivenUp = picture.isNull() && m_load->stop.stop_requested();
    endLoad();
    if (!picture.isNull())
        m_cache.set(index, picture);
    // Nothing may take the place of what lies under the box, or of what has been edited since.
    if (m_screen.isCropping() || m_isEdited()) {
        m_cache.evict(m_targetIndex);
        refreshUnderBox(picture, index, isGivenUp);
        return;
    }
    // One that the user has moved on from is shown all the same: it keeps the screen moving while a
    // key is held.
    if (!picture.isNull())
        display(picture, index);
    // One that was given up may be the target again.
    if (m_targetIndex != index || isGivenUp)
        pumpLoad();
    else if (picture.isNull())
        showUnedited();
    if (m_isBetweenLists && !m_load)
        Q_EMIT noneShown();
}

/// In crop mode a decode has ended, of @p index: has the picture under the box brought into the
/// colours of the monitor, where that is another one than before.
void Browser::refreshUnderBox(const DisplayPicture &picture, int index, bool isGivenUp)
{
    if (m_isEdited() || m_screen.hasColorsOf(m_screen.currentThumb()))
        return;
    const bool isOfBox = index == m_currentIndex;
    if (isOfBox && !picture.isNull())
        Q_EMIT recolored(picture);
    else if (!isOfBox || isGivenUp)
        pumpLoad();
}

/// Shows the picture of currentIndex() where the screen still has its edits, which are gone.
void Browser::showUnedited()
{
    if (m_isShown)
        return;
    if (const auto picture = m_cache.get(m_currentIndex))
        display(*picture, m_currentIndex);
}

void Browser::display(const DisplayPicture &picture, int index)
{
    m_currentIndex = index;
    m_isShown = true;
    m_isBetweenLists = false;
    dropSizeRead();
    m_screen.setCurrentPixelSize(picture.pixelSize);
    m_loupe.pictureArrived(); // it holds another one, in a frame of that one's shape
    m_screen.showThumb(picture);
    if (const Image &rendition = m_screen.imageLayer().rendition;
        !rendition.isSameAs(picture.rendition))
        m_cache.set(index, {picture.image, rendition, picture.pixelSize});
    m_cache.evict(m_targetIndex);
    Q_EMIT shown();
}

} // namespace tavolin
