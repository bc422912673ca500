// What the buttons of the crop bar do, and the ratio that the user types.

#include "app/Viewer.h"
#include "editing/CropAngle.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "editing/CropRatio.h"
#include "editing/CustomRatioDialog.h"
#include "screen/ViewerView.h"

#include <QMainWindow>

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::buildCropBar()
{
    auto *bar = new CropBar(
        [this](QPainter &painter) {
            paintLayer(painter, m_shell.imageLayer, m_shell.view->size(),
                       m_shell.view->devicePixelRatio());
        },
        m_shell.view);
    m_crop.cropBar = bar;
    connect(bar, &CropBar::ratioChosen, this, &Viewer::cropBarRatio);
    connect(bar, &CropBar::customRatioRequested, this, &Viewer::cropBarCustom);
    connect(bar, &CropBar::flipRequested, this, &Viewer::cropBarFlip);
    connect(bar, &CropBar::rotateLeftRequested, this, &Viewer::cropBarRotateL);
    connect(bar, &CropBar::rotateRightRequested, this, &Viewer::cropBarRotateR);
    connect(bar, &CropBar::angleResetRequested, this, &Viewer::cropBarAngleReset);
    connect(bar, &CropBar::applyRequested, this, &Viewer::cropBarApply);
    connect(bar, &CropBar::cancelRequested, this, &Viewer::cropBarCancel);
    bar->place(m_shell.view->size());
    bar->show();
    updateCropBar();
}

void Viewer::updateCropBar()
{
    m_crop.cropBar->refresh(m_crop.cropAngle, m_crop.cropOverlay->ratioName());
}

void Viewer::cropBarRatio(RatioPreset preset)
{
    if (const auto choice = ratioChoice(preset, m_browse.currentPixelSize))
        m_crop.cropOverlay->setRatio(choice->ratio, choice->name);
}

void Viewer::cropBarCustom()
{
    askCustomRatio();
}

void Viewer::cropBarFlip()
{
    m_crop.cropOverlay->flipOrientation();
}

void Viewer::cropBarRotateL()
{
    turnBy(-ANGLE_STEP);
}

void Viewer::cropBarRotateR()
{
    turnBy(ANGLE_STEP);
}

void Viewer::cropBarAngleReset()
{
    m_crop.cropAngle = 0;
    updateCropRotation();
}

void Viewer::cropBarApply()
{
    applyCrop();
}

void Viewer::cropBarCancel()
{
    exitCrop();
}

void Viewer::askCustomRatio()
{
    if (m_shell.window->findChild<CustomRatioDialog *>()) // a held key asks again
        return;
    auto *dialog = new CustomRatioDialog(m_shell.window.get());
    connect(dialog, &QDialog::finished, this, [this, dialog](int result) {
        if (result == QDialog::Accepted) {
            const auto ratio = parseCustomRatio(dialog->text());
            if (!ratio)
                showStatus(u"❌ Invalid format (example: 16:10)"_s, true);
            else if (m_crop.cropOverlay)
                m_crop.cropOverlay->setRatio(ratio, dialog->text());
        }
        m_shell.view->setFocus();
    });
    dialog->open();
}

} // namespace tavolin
