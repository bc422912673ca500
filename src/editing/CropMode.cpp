// Crop mode: a box over the picture, and an angle. Applying them works on the full picture, in the
// background.

#include "app/HelpView.h"
#include "app/Viewer.h"
#include "editing/CropAngle.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "editing/CropRatio.h"
#include "editing/CustomRatioDialog.h"
#include "pixels/PictureReader.h"
#include "pixels/Resample.h"
#include "platform/Mailbox.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QMainWindow>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// A larger angle shows less of the picture, and that larger: how far it may go on until the
/// picture that is rotated has to be made anew.
constexpr double PREVIEW_HEADROOM = 1.2;

} // namespace

void Viewer::enterCrop()
{
    // While an undo is under way the picture is about to change.
    if (m_crop.cropMode || !isCurrentShown() || m_edit.undosUnderWay > 0)
        return;
    zoomEnd();
    closeSearch();                                       // typing in it would change the picture
    if (m_browse.targetIndex != m_browse.currentIndex) { // what is seen is what is cropped
        m_browse.targetIndex = m_browse.currentIndex;
        updateInfoText();
    }
    if (!m_browse.currentPixelSize)
        m_browse.currentPixelSize = m_reader->readPixelSize(currentUrl());
    m_crop.cropMode = true;
    ++m_crop.session;
    m_crop.cropAngle = 0;
    m_crop.cropBaseThumb = m_browse.currentThumb;
    m_crop.cropBaseRendition = m_shell.imageLayer.rendition;
    refreshRendition();

    auto *overlay = new CropOverlayView(
        {[this] { return fitRect(); }, [this] { return imagePixelScale(); }}, m_shell.view);
    m_crop.cropOverlay = overlay;
    connect(overlay, &CropOverlayView::layoutChanged, this, &Viewer::editLayoutChanged);
    connect(overlay, &CropOverlayView::ratioChanged, this, &Viewer::updateCropStatus);
    if (const auto original = ratioChoice(RatioPreset::Original, m_browse.currentPixelSize))
        overlay->setInitialRatio(original->ratio, original->name);
    overlay->resize(m_shell.view->size());
    overlay->resetToDefaultBox();
    overlay->show();
    buildCropBar();
    layoutLabels();
    m_shell.statusLabel->raise();
    if (m_shell.helpView)
        m_shell.helpView->raise();
}

void Viewer::exitCrop()
{
    if (!m_crop.cropMode)
        return;
    const DisplayPicture base{m_crop.cropBaseThumb, m_crop.cropBaseRendition};
    endCrop();
    showThumb(base);
    updateInfoText();
}

void Viewer::endCrop()
{
    if (auto *dialog = m_shell.window->findChild<CustomRatioDialog *>())
        dialog->close(); // it asks for a box that is no more
    delete std::exchange(m_crop.cropOverlay, nullptr);
    m_crop.cropBar->hide();
    std::exchange(m_crop.cropBar, nullptr)->deleteLater(); // one of its buttons may have called
    dropEditJobs();
    m_crop.cropMode = false;
    m_crop.cropAngle = 0;
    m_crop.cropBaseThumb = {};
    m_crop.cropBaseRendition = {};
    m_crop.previewBase = {};
    layoutLabels();
    m_shell.statusLabel->setText({});
}

void Viewer::handleCropKey(std::optional<KeyCode> key, bool shift)
{
    if (!key)
        return;
    const double step = shift ? COARSE_ANGLE_STEP : ANGLE_STEP;
    switch (*key) {
    case KeyCode::F:
        m_crop.cropOverlay->flipOrientation();
        break;
    case KeyCode::H:
        toggleHelp();
        break;
    case KeyCode::X:
    case KeyCode::Return:
    case KeyCode::KeypadEnter:
        applyCrop();
        break;
    case KeyCode::Digit1:
        cropBarRatio(RatioPreset::Free);
        break;
    case KeyCode::Digit2:
        cropBarRatio(RatioPreset::Original);
        break;
    case KeyCode::Digit3:
        cropBarRatio(RatioPreset::Square);
        break;
    case KeyCode::Digit4:
        cropBarRatio(RatioPreset::FourByThree);
        break;
    case KeyCode::Digit5:
        cropBarRatio(RatioPreset::SixteenByNine);
        break;
    case KeyCode::Digit6:
        askCustomRatio();
        break;
    case KeyCode::RightBracket:
        turnBy(step);
        break;
    case KeyCode::LeftBracket:
        turnBy(-step);
        break;
    case KeyCode::Escape:
        if (m_shell.helpView)
            toggleHelp();
        else
            exitCrop();
        break;
    case KeyCode::Left:
    case KeyCode::Right:
    case KeyCode::Down:
    case KeyCode::Up:
        m_crop.cropOverlay->nudge(*key, shift);
        break;
    default:
        break;
    }
}

void Viewer::turnBy(double step)
{
    m_crop.cropAngle = turnedBy(m_crop.cropAngle, step);
    updateCropRotation();
}

void Viewer::updateCropRotation()
{
    const Image &base = m_crop.cropBaseThumb;
    if (base.isNull())
        return;
    if (isPreviewRotated(m_crop.cropAngle))
        showThumb({rotateInscribed(previewBase(), m_crop.cropAngle), {}});
    else
        showThumb({base, {}});
    m_crop.cropOverlay->refitBox();
    updateCropBar();
}

const Image &Viewer::previewBase()
{
    const Image &base = m_crop.cropBaseThumb;
    const double needed = neededPreviewScale();
    if (m_crop.previewBase.isNull() || needed > m_crop.previewScale) {
        m_crop.previewScale = std::min(1.0, needed * PREVIEW_HEADROOM);
        m_crop.previewBase = resampled(base, (QSizeF(base.size()) * m_crop.previewScale).toSize());
    }
    return m_crop.previewBase.isNull() ? base : m_crop.previewBase;
}

double Viewer::neededPreviewScale() const
{
    return std::min(1.0, previewScale(m_crop.cropBaseThumb.size(), m_crop.cropAngle,
                                      imageAreaRect(), m_shell.view->devicePixelRatio()));
}

void Viewer::applyCrop()
{
    const auto sourceSize = appliedSize();
    const auto box = m_crop.cropOverlay && sourceSize
                         ? m_crop.cropOverlay->boxInImagePixels(*cropWorkingSize())
                         : std::nullopt;
    if (!box) {
        showStatus(u"❌ กรอบเล็กเกินไป"_s, true);
        return;
    }
    showStatus(u"⏳ กำลังประมวลผล..."_s, false);
    m_loadQueue.post(stoppable(
        m_edit.jobs, [reader = m_reader, url = currentUrl(), edited = m_edit.editedImage,
                      request = CropRequest{*sourceSize, m_crop.cropAngle, *box},
                      screen = displayTarget(), session = m_crop.session, &mailbox = m_mailbox,
                      viewer = QPointer(this)](const std::stop_token &stop) {
            const Image base = edited.isNull() ? reader->loadFullImage(url, stop) : edited;
            mailbox.post([result = cropPicture(base, request, screen, stop), session, viewer] {
                if (viewer)
                    viewer->cropFinished(result, session);
            });
        }));
}

void Viewer::cropFinished(const CropResult &result, int session)
{
    // A crop that has been left, by Escape, by an earlier result or with its picture, is abandoned:
    // what it was cut from is no longer what is on screen.
    if (!m_crop.cropMode || session != m_crop.session)
        return;
    if (result.picture.isNull()) {
        showStatus(u"❌ ไม่สำเร็จ"_s, true);
        return;
    }
    m_edit.editOps.insert(m_edit.editOps.end(), result.steps.begin(), result.steps.end());
    endCrop();
    setEdited(result.picture);
    showStatus(u"✂️ เรียบร้อย — S=บันทึก  ⌘Z=ย้อน"_s,
               true);
}

std::optional<QSizeF> Viewer::editSourceSize() const
{
    if (!m_edit.editedImage.isNull())
        return m_edit.editedImage.size();
    return m_browse.currentPixelSize;
}

std::optional<QSizeF> Viewer::appliedSize() const
{
    const auto size = editSourceSize();
    if (!size || m_crop.cropBaseThumb.isNull())
        return size;
    return sizeInShapeOf(*size, m_crop.cropBaseThumb.size());
}

std::optional<QSizeF> Viewer::cropWorkingSize() const
{
    const auto size = appliedSize();
    return size && isRotationApplied(m_crop.cropAngle) ? inscribedSize(*size, m_crop.cropAngle)
                                                       : size;
}

std::optional<double> Viewer::imagePixelScale() const
{
    const auto size = cropWorkingSize();
    const double width = fitRect().width();
    return size && width > 0 ? std::optional(size->width() / width) : std::nullopt;
}

void Viewer::updateCropStatus()
{
    if (m_crop.cropMode)
        updateCropBar();
}

void Viewer::editLayoutChanged()
{
    if (!m_crop.cropMode)
        return;
    // In a larger place the rotated picture would be an enlarged one.
    if (isPreviewRotated(m_crop.cropAngle) && neededPreviewScale() > m_crop.previewScale)
        updateCropRotation();
    else
        refreshRendition();
}

} // namespace tavolin
