// The edits of the picture on screen: steps over an untouched file. Undo replays all but the last.

#include "app/TextLabel.h"
#include "app/Viewer.h"
#include "app/ViewerView.h"
#include "platform/Mailbox.h"

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

const QString UNDOING = u"⏳ กำลังย้อน..."_s;

} // namespace

void Viewer::setEdited(const EditedPicture &picture)
{
    m_edit.editedImage = picture.image;
    m_edit.editsUnsaved = true;
    showEdited(picture);
}

void Viewer::showEdited(const EditedPicture &picture)
{
    zoomEnd(); // the loupe holds what the picture was before
    m_browse.currentPixelSize = picture.image.size();
    showThumb(picture.display);
    updateInfoText();
}

void Viewer::resetEdits()
{
    m_edit.editedImage = {};
    m_edit.editOps.clear();
    m_edit.editsUnsaved = false;
    ++m_edit.pictureToken;
    m_edit.undosUnderWay = 0;
}

void Viewer::undoEdit()
{
    if (m_crop.cropMode)
        return;
    if (m_edit.editOps.empty()) {
        showStatus(u"ไม่มีการแก้ไขให้ย้อน"_s, true);
        return;
    }
    m_edit.editOps.pop_back();
    ++m_edit.undosUnderWay;
    showStatus(UNDOING, false);
    m_loadQueue.post([url = m_browse.imageList[static_cast<std::size_t>(m_browse.currentIndex)],
                      steps = m_edit.editOps, screen = displayTarget(), token = m_edit.pictureToken,
                      &mailbox = m_mailbox, viewer = QPointer(this)](const std::stop_token &stop) {
        mailbox.post(
            [picture = replay(url, steps, screen, stop), stepsLeft = steps.size(), token, viewer] {
                if (viewer)
                    viewer->undoFinished(picture, stepsLeft, token);
            });
    });
}

void Viewer::undoFinished(const EditedPicture &picture, std::size_t stepsLeft, int token)
{
    // The edits of a picture that has been left are gone, and its pixels must not take the place
    // of another's.
    if (token != m_edit.pictureToken) {
        if (m_shell.statusLabel->text() == UNDOING)
            m_shell.statusLabel->setText({});
        return;
    }
    --m_edit.undosUnderWay;
    if (picture.isNull()) {
        showStatus(u"❌ ย้อนไม่สำเร็จ"_s, true);
        return;
    }
    if (stepsLeft > 0) {
        setEdited(picture);
        showStatus(
            u"↩️ ย้อนแล้ว (เหลือ %1 ขั้น)"_s.arg(stepsLeft),
            true);
        return;
    }
    m_edit.editedImage = {};
    m_edit.editsUnsaved = false;
    showEdited(picture);
    showStatus(u"↩️ กลับเป็นต้นฉบับแล้ว"_s, true);
}

} // namespace tavolin
