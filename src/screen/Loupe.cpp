// The loupe: the picture at 100 % while the mouse is held. What is on screen is stretched at once;
// the full picture takes its place when it has been decoded.

#include "app/Viewer.h"
#include "pixels/Color.h"
#include "pixels/Geometry.h"
#include "pixels/PictureReader.h"
#include "platform/Mailbox.h"
#include "screen/LoupeGeometry.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::zoomBegin(QPointF position)
{
    const QRectF fitted = fitRect();
    if (m_crop.cropMode || !isCurrentShown() || !isInside(position, fitted))
        return;
    if (!m_browse.currentPixelSize)
        m_browse.currentPixelSize = m_reader->readPixelSize(currentUrl());
    if (!m_browse.currentPixelSize)
        return;

    m_zoom.zooming = true;
    m_zoom.zoomLastP = position;
    m_shell.imageLayer.gravity = Gravity::Resize;
    setZoomFrame(loupeFrame(fitted, *m_browse.currentPixelSize, position));
    showStatus(u"🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ"_s, false);

    dropFullImage();
    const Image &edited = m_edit.editedImage;
    if (!edited.isNull() && edited.iccProfile().isEmpty()) { // in the screen's colours already
        m_shell.imageLayer.contents = edited;
        return;
    }
    m_loadQueue.post(
        stoppable(m_zoom.fullImageLoad, [reader = m_reader, url = currentUrl(), edited,
                                         token = m_zoom.zoomLoadToken, &mailbox = m_mailbox,
                                         viewer = QPointer(this)](const std::stop_token &stop) {
            const Image full = edited.isNull() ? reader->loadFullImage(url, stop) : edited;
            mailbox.post([image = toSrgb(full, stop), token, viewer] {
                if (viewer)
                    viewer->showFullImage(image, token);
            });
        }));
}

void Viewer::dropFullImage()
{
    ++m_zoom.zoomLoadToken;
    // The next picture must not wait for a decode that nobody wants any more.
    std::exchange(m_zoom.fullImageLoad, std::stop_source()).request_stop();
}

void Viewer::showFullImage(const Image &image, int token)
{
    // Only for the gesture that asked, while the picture it asked for is still the one on screen.
    if (image.isNull() || !m_zoom.zooming || token != m_zoom.zoomLoadToken)
        return;
    m_shell.imageLayer.contents = image;
    m_shell.view->update();
}

void Viewer::zoomDrag(QPointF position)
{
    if (!m_zoom.zooming)
        return;
    setZoomFrame(m_shell.imageLayer.frame.translated(position - m_zoom.zoomLastP));
    m_zoom.zoomLastP = position;
}

void Viewer::zoomEnd()
{
    if (!m_zoom.zooming)
        return;
    m_zoom.zooming = false;
    dropFullImage();
    m_shell.imageLayer.gravity = Gravity::ResizeAspect;
    m_shell.imageLayer.contents = m_browse.currentThumb;
    refreshRendition();
    m_shell.view->update();
    m_shell.statusLabel->setText({});
}

void Viewer::setZoomFrame(const QRectF &frame)
{
    m_shell.imageLayer.frame = frame;
    m_shell.view->update();
}

} // namespace tavolin
