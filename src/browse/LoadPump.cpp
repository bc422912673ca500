// The load pump: the target moves at once, one decode runs at a time, always for the newest target,
// and whatever it gives is shown.

#include "app/Viewer.h"
#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/Mailbox.h"
#include "screen/DisplayGeometry.h"
#include "screen/ViewerView.h"

#include <QMainWindow>

#include <algorithm>

namespace tavolin {

bool Viewer::isInList(int index) const
{
    return index >= 0 && static_cast<std::size_t>(index) < m_browse.imageList.size();
}

const std::filesystem::path &Viewer::currentUrl() const
{
    return m_browse.imageList[static_cast<std::size_t>(m_browse.currentIndex)];
}

void Viewer::navigate(int step)
{
    if (m_browse.imageList.empty())
        return;
    const int last = static_cast<int>(m_browse.imageList.size()) - 1;
    jumpTo(clamped(m_browse.targetIndex + step, 0, last));
}

void Viewer::jumpTo(int index)
{
    if (m_crop.cropMode || !isInList(index) || index == m_browse.targetIndex)
        return;
    resetEdits();
    m_browse.targetIndex = index;
    updateInfoText();
    pumpLoad();
}

void Viewer::pumpLoad()
{
    const int target = m_browse.targetIndex;
    if (m_browse.isLoading || !isInList(target))
        return;
    if (const auto picture = m_browse.cache.get(target)) {
        display(*picture, target);
        return;
    }
    m_browse.isLoading = true;
    m_loadQueue.post([reader = m_reader, url = m_browse.imageList[static_cast<std::size_t>(target)],
                      screen = displayTarget(), target, generation = m_browse.generation,
                      &mailbox = m_mailbox, viewer = QPointer(this)](std::stop_token stop) {
        mailbox.post([picture = reader->loadDisplayPicture(url, screen, std::move(stop)), target,
                      generation, viewer] {
            if (viewer)
                viewer->loadFinished(picture, target, generation);
        });
    });
}

void Viewer::loadFinished(const DisplayPicture &picture, int index, std::uint64_t generation)
{
    m_browse.isLoading = false;
    // A picture of an earlier list would stand under a wrong name. One that the user has moved on
    // from is shown all the same: it keeps the screen moving while a key is held.
    const bool applies = generation == m_browse.generation;
    const bool isUsable = applies && !picture.isNull();
    if (isUsable)
        m_browse.cache.set(index, picture);
    if (m_crop.cropMode) { // nothing may take the place of what lies under the box
        m_browse.cache.evict(m_browse.targetIndex);
        return;
    }
    if (isUsable)
        display(picture, index);
    if (!applies || m_browse.targetIndex != index)
        pumpLoad();
}

void Viewer::display(const DisplayPicture &picture, int index)
{
    m_browse.currentIndex = index;
    m_browse.shownGeneration = m_browse.generation;
    m_browse.currentPixelSize.reset();
    dropFullImage(); // of another picture: it must not take this one's place
    showThumb(picture);
    if (!m_shell.imageLayer.rendition.isSameAs(picture.rendition))
        m_browse.cache.set(index, {picture.image, m_shell.imageLayer.rendition});
    m_browse.cache.evict(m_browse.targetIndex);
    schedulePrefetch();
    scheduleExif();
}

void Viewer::showThumb(const DisplayPicture &picture)
{
    m_browse.currentThumb = picture.image;
    m_browse.displaySize = picture.image.size();
    m_shell.imageLayer.contents = picture.image;
    m_shell.imageLayer.rendition = picture.rendition;
    refreshRendition();
    m_shell.view->update();
}

bool Viewer::isCurrentShown() const
{
    return isInList(m_browse.currentIndex) && !m_browse.currentThumb.isNull() &&
           m_browse.shownGeneration == m_browse.generation;
}

void Viewer::refreshRendition()
{
    ImageLayer &layer = m_shell.imageLayer;
    if (layer.gravity != Gravity::ResizeAspect) // the loupe's end asks again
        return;
    layer.frame = imageAreaRect();
    const double scale = m_shell.view->devicePixelRatio();
    if (layer.contents.isNull() || isRenditionCurrent(layer, scale))
        return;
    // The window has another size than when the picture was decoded.
    layer.rendition = makeRendition(layer.contents, layer.frame, scale);
    m_shell.view->update();
}

QRectF Viewer::imageAreaRect() const
{
    return tavolin::imageAreaRect(m_shell.view->size(),
                                  m_crop.cropMode ? ViewMode::Cropping : ViewMode::Browsing);
}

QRectF Viewer::fitRect() const
{
    return tavolin::fitRect(imageAreaRect(), m_browse.displaySize.value_or(QSizeF()));
}

DisplayTarget Viewer::displayTarget() const
{
    // Whatever is decoded while cropping is shown after it.
    return {maxPixel(), tavolin::imageAreaRect(m_shell.view->size(), ViewMode::Browsing),
            m_shell.view->devicePixelRatio()};
}

int Viewer::maxPixel() const
{
    const auto scale =
        m_shell.window->screen() ? std::optional(m_shell.view->devicePixelRatio()) : std::nullopt;
    return displayLimit(m_shell.window->frameGeometry().size(), scale);
}

} // namespace tavolin
