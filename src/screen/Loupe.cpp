#include "screen/Loupe.h"

#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "screen/Labels.h"
#include "screen/LoupeGeometry.h"
#include "screen/Screen.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

constexpr QStringView ZOOMED = u"🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ";

} // namespace

void Loupe::zoomBegin(QPointF position)
{
    if (m_screen.isCropping() || !isInside(position, m_screen.fitRect()))
        return;
    m_zoomLastP = position;
    m_findSubject([this, gesture = ++m_gesture, position](const LoupeSubject &subject) {
        // The mouse may have been released while the subject was looked for, or the picture be in
        // a box by now.
        if (gesture == m_gesture && !m_screen.isCropping())
            magnify(subject, position);
    });
}

void Loupe::magnify(const LoupeSubject &subject, QPointF position)
{
    m_zooming = true;
    m_screen.stretch(loupeFrame(m_screen.fitRect(), subject.pixelSize, position)
                         .translated(m_zoomLastP - position));
    m_labels.showStatus(ZOOMED.toString(), false);

    dropFullImage();
    if (!subject.edited.isNull() && m_screen.hasColorsOf(subject.edited)) {
        m_screen.stretchOther(subject.edited); // in the screen's colours already
        return;
    }
    m_loadQueue.run<Image>(
        this,
        {
            .work =
                [&reader = m_reader, subject,
                 monitor = m_screen.profile()](const std::stop_token &stop) {
                    return subject.edited.isNull()
                               ? reader.loadFullImage(subject.url, monitor, stop)
                               : reader.converted(subject.edited, monitor, stop);
                },
            // Only for the gesture that asked, while its picture is still the one on screen.
            .stillApplies =
                [this, token = m_zoomLoadToken] { return m_zooming && token == m_zoomLoadToken; },
            .use =
                [this](const Image &image) {
                    if (!image.isNull() && m_screen.hasColorsOf(image))
                        m_screen.stretchOther(image);
                },
        },
        m_fullImageLoad);
}

void Loupe::dropFullImage()
{
    ++m_zoomLoadToken;
    // The next picture must not wait for a decode that nobody wants any more.
    std::exchange(m_fullImageLoad, std::stop_source()).request_stop();
    m_loadQueue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void Loupe::zoomDrag(QPointF position)
{
    if (m_zooming)
        m_screen.stretch(m_screen.imageLayer().frame.translated(position - m_zoomLastP));
    m_zoomLastP = position;
}

void Loupe::zoomEnd()
{
    ++m_gesture;
    if (!m_zooming)
        return;
    leavePicture();
    m_labels.clearStatus();
}

void Loupe::pictureArrived()
{
    ++m_gesture;
    if (!m_zooming)
        return;
    leavePicture();
    // What has been said since is not about the loupe.
    if (m_labels.statusText() == ZOOMED)
        m_labels.clearStatus();
}

void Loupe::leavePicture()
{
    m_zooming = false;
    dropFullImage();
    m_screen.unstretch();
}

} // namespace tavolin
