// The edits of the picture on screen: steps over an untouched file. Undo replays all but the last.

#include "app/Viewer.h"
#include "pixels/PictureReader.h"
#include "platform/Mailbox.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QMessageBox>

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

constexpr QStringView UNDOING = u"⏳ กำลังย้อน...";

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
    if (!m_edit.editedImage.isNull())
        m_browse.shownGeneration = 0; // until the next one, the screen shows what no file holds
    m_edit.editedImage = {};
    m_edit.editOps.clear();
    m_edit.editsUnsaved = false;
    if (m_shell.quitQuestion)
        m_shell.quitQuestion->close(); // it asks about these edits
    ++m_edit.pictureToken;
    m_edit.undosUnderWay = 0;
    dropEditJobs();
}

void Viewer::dropEditJobs()
{
    // The next picture must not wait for work that nobody wants any more.
    std::exchange(m_edit.jobs, std::stop_source()).request_stop();
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
    showStatus(UNDOING.toString(), false);
    m_loadQueue.post(stoppable(m_edit.jobs, [reader = m_reader, url = currentUrl(),
                                             steps = m_edit.editOps, screen = displayTarget(),
                                             token = m_edit.pictureToken, &mailbox = m_mailbox,
                                             viewer = QPointer(this)](const std::stop_token &stop) {
        mailbox.post([picture = replay(reader->loadFullImage(url, stop), steps, screen, stop),
                      stepsLeft = steps.size(), token, viewer] {
            if (viewer)
                viewer->undoFinished(picture, stepsLeft, token);
        });
    }));
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
