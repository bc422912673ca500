#include "editing/Editor.h"

#include "browse/Browser.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "screen/Labels.h"
#include "screen/Loupe.h"
#include "screen/Screen.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

constexpr QStringView UNDOING = u"⏳ กำลังย้อน...";

} // namespace

Editor::Editor(Browser &browser, Screen &screen, Labels &labels, Loupe &loupe,
               BackgroundQueue &loadQueue, const PictureReader &reader)
    : m_browser(browser), m_screen(screen), m_labels(labels), m_loupe(loupe),
      m_loadQueue(loadQueue), m_reader(reader)
{
    connect(&browser, &Browser::leaving, this, &Editor::resetEdits);
}

void Editor::setEdited(const EditedPicture &picture)
{
    m_editedImage = picture.image;
    m_editsUnsaved = true;
    showEdited(picture);
}

void Editor::showEdited(const EditedPicture &picture)
{
    m_loupe.zoomEnd(); // the loupe holds what the picture was before
    m_screen.setCurrentPixelSize(picture.image.size());
    m_screen.showThumb(picture.display);
    m_browser.updateInfoText();
    // The monitor may be another one than when this was asked for.
    if (m_screen.hasColorsOf(picture.display.image))
        return;
    if (isEdited())
        refreshColors();
    else
        m_browser.refreshColors();
}

void Editor::refreshColors()
{
    if (!isEdited())
        return;
    m_loadQueue.run<DisplayPicture>(
        this,
        {
            .work =
                [&reader = m_reader, image = m_editedImage,
                 screen = m_screen.displayTarget()](const std::stop_token &stop) {
                    return shownPicture(reader, image, screen, stop);
                },
            // Another picture may be edited by now, or the same one further.
            .stillApplies = [this, image = m_editedImage] { return m_editedImage.isSameAs(image); },
            .use = [this](const DisplayPicture &picture) { showRecolored(picture); },
        },
        m_jobs);
}

void Editor::showRecolored(const DisplayPicture &picture)
{
    // With yet another monitor, this has been asked for once more.
    if (picture.isNull() || !m_screen.hasColorsOf(picture.image))
        return;
    if (m_screen.isCropping()) {
        Q_EMIT recolored(picture);
        return;
    }
    m_loupe.zoomEnd(); // it holds the picture in the colours of before
    m_screen.showThumb(picture);
}

void Editor::resetEdits()
{
    if (isEdited())
        m_browser.forgetShown(); // until the next one, the screen shows what no file holds
    m_editedImage = {};
    m_editOps.clear();
    m_editsUnsaved = false;
    ++m_pictureToken;
    ++m_stepsToken;
    m_undosUnderWay = 0;
    m_afterUndos.clear();
    dropEditJobs();
    Q_EMIT editsDropped();
}

void Editor::dropEditJobs()
{
    // The next picture must not wait for work that nobody wants any more.
    std::exchange(m_jobs, std::stop_source()).request_stop();
    dropCrop();
    dropSizeSearch();
    m_loadQueue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void Editor::dropCrop()
{
    std::exchange(m_cropping, std::stop_source()).request_stop();
    m_cropUnderWay.reset();
}

void Editor::dropSizeSearch()
{
    std::exchange(m_sizeSearch, std::stop_source()).request_stop();
}

void Editor::crop(const CropRequest &request, std::function<void(const CropResult &)> use)
{
    if (m_cropUnderWay == request)
        return;
    dropCrop(); // what the user wants is what was asked for last
    dropSizeSearch();
    m_cropUnderWay = request;
    m_loadQueue.run<CropResult>(
        this,
        {
            .work =
                [&reader = m_reader, url = m_browser.currentUrl(), edited = m_editedImage, request,
                 screen = m_screen.displayTarget()](const std::stop_token &stop) {
                    return cropPicture(
                        reader, edited.isNull() ? reader.loadFullImage(url, KEPT, stop) : edited,
                        request, screen, stop);
                },
            // Of another picture, or of what has been edited or undone since, it is of no use.
            .stillApplies = whileUnchanged(m_cropping.get_token()),
            .use =
                [this, use = std::move(use)](const CropResult &result) {
                    m_cropUnderWay.reset();
                    use(result);
                },
            .otherwise =
                [this, stop = m_cropping.get_token()] {
                    if (!stop.stop_requested())
                        m_cropUnderWay.reset();
                },
        },
        m_cropping);
}

std::function<bool()> Editor::whileUnchanged(const std::stop_token &stop) const
{
    return [this, stop, token = m_stepsToken, index = m_browser.currentIndex(),
            generation = m_browser.generation()] {
        return !stop.stop_requested() && token == m_stepsToken && m_browser.isCurrentShown() &&
               m_browser.indexNow(index, generation) == m_browser.currentIndex();
    };
}

void Editor::findFullSize(std::function<void(QSize)> use)
{
    dropSizeSearch();
    m_loadQueue.run<QSize>(
        this,
        {
            .work =
                [&reader = m_reader, url = m_browser.currentUrl()](const std::stop_token &stop) {
                    return reader.loadFullImage(url, KEPT, stop).size();
                },
            .stillApplies = whileUnchanged(m_sizeSearch.get_token()),
            .use = std::move(use),
        },
        m_sizeSearch);
}

void Editor::record(const CropResult &result)
{
    dropEditJobs();
    ++m_stepsToken;
    m_editOps.insert(m_editOps.end(), result.steps.begin(), result.steps.end());
    setEdited(result.picture);
}

void Editor::undoEdit()
{
    if (m_screen.isCropping())
        return;
    if (m_editOps.empty()) {
        m_labels.showStatus(u"ไม่มีการแก้ไขให้ย้อน"_s, true);
        return;
    }
    m_editOps.pop_back();
    ++m_stepsToken;
    ++m_undosUnderWay;
    m_labels.showStatus(UNDOING.toString(), false);
    m_loadQueue.run<EditedPicture>(
        this,
        {
            .work =
                [&reader = m_reader, url = m_browser.currentUrl(), steps = m_editOps,
                 screen = m_screen.displayTarget()](const std::stop_token &stop) {
                    return replay(reader, reader.loadFullImage(url, KEPT, stop), steps, screen,
                                  stop);
                },
            // The edits of a picture that has been left are gone, and its pixels must not take the
            // place of another's.
            .stillApplies = [this, token = m_pictureToken] { return token == m_pictureToken; },
            .use = [this, undo = Undo{m_editOps.size(), std::chrono::steady_clock::now()}](
                       const EditedPicture &picture) { undoFinished(undo, picture); },
            .otherwise =
                [this] {
                    if (m_labels.statusText() == UNDOING)
                        m_labels.clearStatus();
                },
        },
        m_jobs);
}

void Editor::undoFinished(const Undo &undo, const EditedPicture &picture)
{
    showUndone(undo, picture);
    --m_undosUnderWay;
    for (Waiting &waiting : m_afterUndos)
        --waiting.undos;
    while (!m_afterUndos.empty() && m_afterUndos.front().undos == 0) {
        const auto command = std::move(m_afterUndos.front().command);
        m_afterUndos.pop_front(); // what it does may forget the rest
        command();
    }
}

void Editor::afterUndos(std::function<void()> command)
{
    if (isUndoing())
        m_afterUndos.push_back({m_undosUnderWay, std::move(command)});
    else
        command();
}

void Editor::showUndone(const Undo &undo, const EditedPicture &picture)
{
    if (picture.isNull()) {
        m_labels.showStatus(u"❌ ย้อนไม่สำเร็จ"_s, true);
        return;
    }
    if (undo.stepsLeft > 0) {
        setEdited(picture);
        tellUndone(undo, u"↩️ ย้อนแล้ว (เหลือ %1 ขั้น)"_s.arg(
                             undo.stepsLeft));
        return;
    }
    m_editedImage = {};
    m_editsUnsaved = false;
    showEdited(picture);
    tellUndone(undo, u"↩️ กลับเป็นต้นฉบับแล้ว"_s);
}

void Editor::tellUndone(const Undo &undo, const QString &text)
{
    if (m_labels.statusText() == UNDOING) // of the next one
        m_labels.showStatus(text, true);
    else
        m_labels.showSuccess(text, undo.asked);
}

void Editor::markSaved(const Image &saved)
{
    if (m_editedImage.isSameAs(saved))
        m_editsUnsaved = false;
}

std::optional<QSize> Editor::editSourceSize() const
{
    return isEdited() ? m_editedImage.size() : m_screen.currentPixelSize();
}

} // namespace tavolin
