// The second line: the facts of the picture on screen, read a moment after it has appeared.

#include "app/Viewer.h"
#include "pixels/PictureReader.h"
#include "platform/Mailbox.h"
#include "screen/TextLabel.h"

#include <chrono>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// After the last picture shown; later than the prefetch, whose decodes go first.
constexpr auto EXIF_DELAY = 250ms;

} // namespace

void Viewer::scheduleExif()
{
    m_shell.detailLabel->setText({});
    m_photoLine.exifTimer.start(EXIF_DELAY);
}

void Viewer::loadExif()
{
    const int index = m_browse.currentIndex;
    if (!isInList(index))
        return;
    m_prefetchQueue.post([reader = m_reader, url = currentUrl(), index,
                          generation = m_browse.generation, &mailbox = m_mailbox,
                          viewer = QPointer(this)](std::stop_token stop) {
        mailbox.post([info = photoInfo(reader->readPhotoFacts(url, std::move(stop))), index,
                      generation, viewer] {
            if (viewer)
                viewer->exifLoaded(info, index, generation);
        });
    });
}

void Viewer::exifLoaded(const PhotoInfo &info, int index, std::uint64_t generation)
{
    // Facts of another picture than the one on screen are of no use.
    if (generation != m_browse.generation || index != m_browse.currentIndex)
        return;
    if (m_edit.editedImage.isNull())
        m_browse.currentPixelSize = info.pixelSize;
    m_shell.detailLabel->setText(infoLine(info.segments));
}

} // namespace tavolin
