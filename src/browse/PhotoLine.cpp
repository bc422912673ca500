#include "browse/PhotoLine.h"

#include "browse/Browser.h"
#include "browse/PhotoInfo.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "screen/Labels.h"
#include "screen/Screen.h"

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// After the last picture shown; later than the prefetch, whose decodes go first.
constexpr auto EXIF_DELAY = 250ms;

} // namespace

PhotoLine::PhotoLine(const Browser &browser, Screen &screen, Labels &labels, BackgroundQueue &queue,
                     const PictureReader &reader, std::function<bool()> isEdited)
    : m_browser(browser), m_screen(screen), m_labels(labels), m_queue(queue), m_reader(reader),
      m_isEdited(std::move(isEdited))
{
    m_exifTimer.setSingleShot(true);
    m_exifTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_exifTimer, &QTimer::timeout, this, &PhotoLine::loadExif);
    connect(&browser, &Browser::shown, this, &PhotoLine::scheduleExif);
    connect(&browser, &Browser::listChanged, this, [this] {
        if (m_browser.isCurrentShown()) // as before
            return;
        m_reading.request_stop();
        m_queue.leaveBehindUnlessEnded(DROP_PATIENCE);
    });
    connect(&browser, &Browser::noneShown, this, [this] { m_labels.showDetail({}); });
}

void PhotoLine::scheduleExif()
{
    m_reading.request_stop(); // of another picture's facts
    m_queue.leaveBehindUnlessEnded(STUCK_AFTER);
    m_labels.showDetail({});
    m_exifTimer.start(EXIF_DELAY);
}

void PhotoLine::loadExif()
{
    if (!m_browser.isCurrentShown())
        return;
    m_reading = std::stop_source();
    m_queue.run<PhotoInfo>(
        this,
        {
            .work =
                [&reader = m_reader, url = m_browser.currentUrl()](const std::stop_token &stop) {
                    return photoInfo(reader.readPhotoFacts(url, Urgency::Ahead, stop));
                },
            // Facts of another picture than the one on screen are of no use, nor are those of a
            // read that was ended.
            .stillApplies =
                [this, index = m_browser.currentIndex(), generation = m_browser.generation(),
                 reading = m_reading] {
                    return !reading.stop_requested() &&
                           m_browser.indexNow(index, generation) == m_browser.currentIndex();
                },
            .use =
                [this](const PhotoInfo &info) {
                    if (!m_isEdited())
                        m_screen.setCurrentPixelSize(info.pixelSize);
                    m_labels.showDetail(infoLine(info.segments));
                },
        },
        m_reading);
}

} // namespace tavolin
