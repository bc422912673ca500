#include "editing/CropMode.h"

#include "browse/Browser.h"
#include "browse/FilenameJump.h"
#include "editing/CropAngle.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "editing/CustomRatioDialog.h"
#include "editing/Editor.h"
#include "pixels/FileExtensions.h"
#include "pixels/Resample.h"
#include "platform/KeyNames.h"
#include "screen/Labels.h"
#include "screen/Loupe.h"
#include "screen/Screen.h"

#include <QWidget>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// A larger angle shows less of the picture, enlarged: this much spare resolution delays making the
/// preview again.
constexpr double PREVIEW_HEADROOM = 1.2;

} // namespace

CropMode::CropMode(const CropNeighbors &neighbors) : m_with(neighbors)
{
    connect(&m_with.browser, &Browser::aboutToOpen, this, &CropMode::exitCrop);
    connect(&m_with.browser, &Browser::recolored, this, &CropMode::recolor);
    connect(&m_with.editor, &Editor::recolored, this, &CropMode::recolor);
}

void CropMode::enterCrop()
{
    if (!canEnter())
        return;
    m_with.browser.whenSizeIsKnown([this] { enterAfterUndos(); });
}

/// While an undo is under way, one asked for meanwhile too, the picture is about to change.
void CropMode::enterAfterUndos()
{
    m_with.editor.afterUndos([this] {
        if (m_with.editor.isUndoing())
            enterAfterUndos();
        else if (canEnter())
            beginCrop();
    });
}

bool CropMode::canEnter() const
{
    return !m_with.screen.isCropping() && m_with.browser.isCurrentShown();
}

void CropMode::beginCrop()
{
    m_with.loupe.zoomEnd();
    m_with.search.closeSearch(); // typing in it would change the picture
    m_with.browser.stayHere();   // what is seen is what is cropped
    m_with.screen.setMode(ViewMode::Cropping);
    m_cropAngle = 0;
    m_cropBase = {m_with.screen.currentThumb(), m_with.screen.imageLayer().rendition};
    m_with.screen.refreshRendition();
    buildOverlay();
    buildCropBar();
    findFullSize();
    m_with.labels.layout(cropBarTop());
    m_with.labels.raiseStatus();
    Q_EMIT entered();
}

void CropMode::findFullSize()
{
    m_isFullSizeAwaited = !m_with.editor.isEdited() && hasRawExtension(m_with.browser.currentUrl());
    if (!m_isFullSizeAwaited)
        return;
    m_with.editor.findFullSize([this](QSize size) {
        if (!m_cropOverlay || size.isEmpty()) // without it, nobody knows what will be saved
            return;
        m_isFullSizeAwaited = false;
        m_fullSize = size;
        m_cropOverlay->pixelScaleChanged();
    });
}

void CropMode::buildOverlay()
{
    m_cropOverlay = new CropOverlayView(
        {[this] { return m_with.screen.fitRect(); }, [this] { return imagePixelScale(); },
         [this] { return m_cropBar ? QRectF(m_cropBar->geometry()) : QRectF(); },
         [this] { return m_cropAngle; }},
        &m_with.view);
    connect(m_cropOverlay, &CropOverlayView::layoutChanged, this, &CropMode::editLayoutChanged);
    connect(m_cropOverlay, &CropOverlayView::ratioChanged, this, &CropMode::updateCropBar);
    if (const auto original = ratioChoice(RatioPreset::Original, m_with.screen.currentPixelSize()))
        m_cropOverlay->setInitialRatio(original->ratio, original->name);
    m_cropOverlay->resize(m_with.view.size());
    m_cropOverlay->resetToDefaultBox();
    m_cropOverlay->show();
}

void CropMode::buildCropBar()
{
    m_cropBar =
        new CropBar([this](QPainter &painter) { m_with.screen.paint(painter); }, &m_with.view);
    connect(m_cropBar, &CropBar::ratioChosen, this, &CropMode::cropBarRatio);
    connect(m_cropBar, &CropBar::customRatioRequested, this, &CropMode::cropBarCustom);
    connect(m_cropBar, &CropBar::flipRequested, this, &CropMode::cropBarFlip);
    connect(m_cropBar, &CropBar::rotateLeftRequested, this, [this] { turnBy(-ANGLE_STEP); });
    connect(m_cropBar, &CropBar::rotateRightRequested, this, [this] { turnBy(ANGLE_STEP); });
    connect(m_cropBar, &CropBar::angleResetRequested, this, &CropMode::cropBarAngleReset);
    connect(m_cropBar, &CropBar::applyRequested, this, &CropMode::applyCrop);
    connect(m_cropBar, &CropBar::cancelRequested, this, &CropMode::exitCrop);
    m_cropBar->place(m_with.view.size());
    m_cropBar->show();
    updateCropBar();
}

void CropMode::exitCrop()
{
    if (!m_with.screen.isCropping())
        return;
    const DisplayPicture base = m_cropBase;
    endCrop();
    m_with.screen.showThumb(base);
    m_with.browser.updateInfoText();
    Q_EMIT cancelled();
}

void CropMode::endCrop()
{
    if (auto *dialog = m_with.view.window()->findChild<CustomRatioDialog *>())
        dialog->close(); // it asks for a box that is no more
    delete std::exchange(m_cropOverlay, nullptr);
    m_cropBar->hide();
    std::exchange(m_cropBar, nullptr)->deleteLater(); // one of its buttons may have called
    m_with.screen.setMode(ViewMode::Browsing);
    m_cropAngle = 0;
    m_cropBase = {};
    m_previewBase = {};
    m_fullSize.reset();
    m_with.editor.dropSizeSearch();
    m_with.labels.layout(std::nullopt);
    m_with.labels.clearStatus();
}

void CropMode::applyCrop()
{
    const auto sourceSize = appliedSize();
    const auto box = m_cropOverlay && sourceSize
                         ? m_cropOverlay->boxInImagePixels(*cropWorkingSize())
                         : std::nullopt;
    if (!box) {
        m_with.labels.showStatus(u"❌ กรอบเล็กเกินไป"_s, true);
        return;
    }
    m_with.labels.showStatus(u"⏳ กำลังประมวลผล..."_s, false);
    m_with.editor.crop({*sourceSize, m_cropAngle, *box}, [this](const CropResult &result) {
        if (result.picture.isNull()) {
            m_with.labels.showStatus(u"❌ ไม่สำเร็จ"_s, true);
            if (m_with.screen.isCropping() && m_isFullSizeAwaited)
                findFullSize(); // which the crop has ended
            return;
        }
        if (m_with.screen.isCropping()) // not after Escape
            endCrop();
        m_with.editor.record(result);
        m_with.labels.showStatus(
            u"✂️ เรียบร้อย — S=บันทึก  %1=ย้อน"_s.arg(
                UNDO_KEY),
            true);
    });
}

void CropMode::cropBarRatio(RatioPreset preset)
{
    if (const auto choice = ratioChoice(preset, m_with.screen.currentPixelSize()))
        m_cropOverlay->setRatio(choice->ratio, choice->name);
}

void CropMode::cropBarCustom()
{
    QWidget *window = m_with.view.window();
    if (window->findChild<CustomRatioDialog *>()) // a held key asks again
        return;
    auto *dialog = new CustomRatioDialog(window);
    connect(dialog, &QDialog::finished, this, [this, dialog](int result) {
        if (result == QDialog::Accepted) {
            const auto ratio = parseCustomRatio(dialog->text());
            if (!ratio)
                m_with.labels.showStatus(u"❌ Invalid format (example: 16:10)"_s, true);
            else if (m_cropOverlay)
                m_cropOverlay->setRatio(ratio, dialog->text());
        }
        m_with.view.setFocus();
    });
    dialog->open();
}

void CropMode::cropBarFlip()
{
    m_cropOverlay->flipOrientation();
}

void CropMode::cropBarAngleReset()
{
    setCropAngle(0);
}

void CropMode::turnBy(double step)
{
    setCropAngle(turnedBy(m_cropAngle, step));
}

void CropMode::nudge(KeyCode arrow, bool shift)
{
    m_cropOverlay->nudge(arrow, shift);
}

void CropMode::setCropAngle(double angle)
{
    m_cropAngle = angle;
    updateCropRotation();
}

void CropMode::updateCropRotation()
{
    if (m_cropBase.isNull())
        return;
    if (isPreviewRotated(m_cropAngle))
        // In the shape that the display image gives, so that the box means the same pixels.
        m_with.screen.showThumb({rotateInscribed(previewBase(), m_cropAngle), {}},
                                inscribedPixels(m_cropBase.image.size(), m_cropAngle));
    else
        m_with.screen.showThumb({m_cropBase.image, {}});
    m_cropOverlay->refitBox();
    updateCropBar();
}

void CropMode::recolor(const DisplayPicture &base)
{
    m_cropBase = base;
    m_previewBase = {};
    updateCropRotation();
}

void CropMode::updateCropBar()
{
    m_cropBar->refresh(m_cropAngle, m_cropOverlay->ratioName());
}

const Image &CropMode::previewBase()
{
    const Image &base = m_cropBase.image;
    const double needed = neededPreviewScale();
    if (m_previewBase.isNull() || needed > m_previewScale) {
        m_previewScale = std::min(1.0, needed * PREVIEW_HEADROOM);
        m_previewBase = resampled(base, (QSizeF(base.size()) * m_previewScale).toSize());
    }
    return m_previewBase.isNull() ? base : m_previewBase;
}

double CropMode::neededPreviewScale() const
{
    return std::min(1.0,
                    previewScale(m_cropBase.image.size(), m_cropAngle,
                                 m_with.screen.imageAreaRect(), m_with.view.devicePixelRatio()));
}

std::optional<QSizeF> CropMode::appliedSize() const
{
    const auto size = m_fullSize ? m_fullSize : m_with.editor.editSourceSize();
    if (!size || m_cropBase.isNull())
        return size;
    return sizeInShapeOf(*size, m_cropBase.image.size());
}

std::optional<QSizeF> CropMode::cropWorkingSize() const
{
    const auto size = appliedSize();
    return size && isRotationApplied(m_cropAngle) ? inscribedSize(*size, m_cropAngle) : size;
}

std::optional<double> CropMode::imagePixelScale() const
{
    if (m_isFullSizeAwaited)
        return {};
    const auto size = cropWorkingSize();
    const double width = m_with.screen.fitRect().width();
    return size && width > 0 ? std::optional(size->width() / width) : std::nullopt;
}

std::optional<int> CropMode::cropBarTop() const
{
    return m_cropBar ? std::optional(m_cropBar->y()) : std::nullopt;
}

void CropMode::layout()
{
    if (!m_with.screen.isCropping())
        return;
    m_cropBar->place(m_with.view.size());
    editLayoutChanged(); // the overlay tells of another size only, not of another screen
    m_cropOverlay->resize(m_with.view.size());
}

void CropMode::editLayoutChanged()
{
    // In a larger place the rotated picture would be an enlarged one.
    if (isPreviewRotated(m_cropAngle) && neededPreviewScale() > m_previewScale)
        updateCropRotation();
    else
        m_with.screen.refreshRendition();
}

} // namespace tavolin
