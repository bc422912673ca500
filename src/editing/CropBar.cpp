#include "editing/CropBar.h"

#include "editing/BarButton.h"
#include "editing/CropAngle.h"
#include "editing/TranslucentPanel.h"
#include "screen/OverlayGeometry.h"
#include "screen/TextLabel.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

// In points.
constexpr int MARGIN_X = 16;
constexpr int MARGIN_Y = 11;
constexpr int SPACING = 8;
/// Between groups.
constexpr int WIDE_SPACING = 14;
constexpr double CORNER_RADIUS = 14;
constexpr int FONT_SIZE = 14;
/// Of buttons that show a sign.
constexpr int SIGN_FONT_SIZE = 17;
constexpr int ANGLE_FONT_SIZE = 15;
constexpr int ANGLE_WIDTH = 64;

/// In milliseconds: how long a button is held until it repeats, and how often it does then.
constexpr int REPEAT_DELAY = 350;
constexpr int REPEAT_INTERVAL = 120;

constexpr QColor LEVEL_COLOR{255, 255, 255, 140}; // 55 %

void setTextColor(QLabel &label, const QColor &color)
{
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, color);
    label.setPalette(palette);
}

} // namespace

CropBar::CropBar(std::function<void(QPainter &)> paintBehind, QWidget *parent)
    : QWidget(parent), m_paintBehind(std::move(paintBehind))
{
    setAttribute(Qt::WA_NoMousePropagation);
    setAccessibleName(u"ครอป+หมุน"_s);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(MARGIN_X, MARGIN_Y, MARGIN_X, MARGIN_Y);
    row->setSpacing(SPACING);

    for (const RatioPreset preset : RATIO_PRESETS) {
        BarButton *button = addButton(ratioName(preset), nullptr);
        connect(button, &BarButton::clicked, this, [this, preset] { Q_EMIT ratioChosen(preset); });
        m_ratioButtons[static_cast<std::size_t>(preset)] = button;
    }
    m_ratioButtons.back() = addButton(u"Custom…"_s, &CropBar::customRatioRequested);
    for (BarButton *button : m_ratioButtons)
        button->setCheckable(true);
    row->addSpacing(WIDE_SPACING - SPACING);

    BarButton *flip = addButton(u"⇄"_s, &CropBar::flipRequested);
    flip->setFont(interfaceFont(SIGN_FONT_SIZE));
    flip->setToolTip(u"Portrait / Landscape (F)"_s);
    flip->setAccessibleName(flip->toolTip());
    addSeparator();

    addRotateButton(u"↺"_s, u"Rotate left"_s, &CropBar::rotateLeftRequested);
    m_cropAngleLabel = new QLabel(this);
    QFont angleFont = interfaceFont(ANGLE_FONT_SIZE);
    angleFont.setWeight(QFont::DemiBold);
    m_cropAngleLabel->setFont(angleFont);
    m_cropAngleLabel->setAlignment(Qt::AlignCenter);
    m_cropAngleLabel->setFixedWidth(ANGLE_WIDTH);
    row->addWidget(m_cropAngleLabel, 0, Qt::AlignVCenter);
    addRotateButton(u"↻"_s, u"Rotate right"_s, &CropBar::rotateRightRequested);
    addButton(u"Reset"_s, &CropBar::angleResetRequested);
    row->addSpacing(WIDE_SPACING - SPACING);
    addSeparator();

    addButton(u"Apply ⏎"_s, &CropBar::applyRequested)->setAccent(true);
    addButton(u"Cancel"_s, &CropBar::cancelRequested);
    refresh(0, ratioName(RatioPreset::Free));
}

void CropBar::place(QSize view)
{
    setGeometry(cropBarRect(view, sizeHint(), minimumSizeHint().width()));
}

void CropBar::refresh(double degrees, const QString &name)
{
    m_cropAngleLabel->setText(angleText(degrees));
    setTextColor(*m_cropAngleLabel, isTurned(degrees) ? ACCENT : LEVEL_COLOR);
    for (const RatioPreset preset : RATIO_PRESETS)
        m_ratioButtons[static_cast<std::size_t>(preset)]->setSelectedState(
            isSelected(preset, name));
    m_ratioButtons.back()->setSelectedState(isCustomRatio(name));
    m_panel = {}; // the picture may have been turned
    update();
}

void CropBar::paintEvent(QPaintEvent *)
{
    if (m_panel.isNull() || m_panel.devicePixelRatio() != devicePixelRatio())
        m_panel = translucentPanel(geometry(), CORNER_RADIUS, devicePixelRatio(), m_paintBehind);
    QPainter(this).drawImage(0, 0, m_panel);
}

void CropBar::moveEvent(QMoveEvent *)
{
    m_panel = {};
    update();
}

void CropBar::resizeEvent(QResizeEvent *)
{
    m_panel = {};
}

BarButton *CropBar::addButton(const QString &label, void (CropBar::*clicked)())
{
    auto *button = new BarButton(label, FONT_SIZE, this);
    if (clicked)
        connect(button, &BarButton::clicked, this, clicked);
    static_cast<QBoxLayout *>(layout())->addWidget(button, 0, Qt::AlignVCenter);
    return button;
}

BarButton *CropBar::addRotateButton(const QString &label, const QString &name,
                                    void (CropBar::*clicked)())
{
    BarButton *button = addButton(label, clicked);
    button->setFont(interfaceFont(SIGN_FONT_SIZE));
    button->setAccessibleName(name);
    button->setAutoRepeat(true);
    button->setAutoRepeatDelay(REPEAT_DELAY);
    button->setAutoRepeatInterval(REPEAT_INTERVAL);
    return button;
}

void CropBar::addSeparator()
{
    auto *row = static_cast<QBoxLayout *>(layout());
    row->addWidget(new BarSeparator(this), 0, Qt::AlignVCenter);
    row->addSpacing(WIDE_SPACING - SPACING);
}

} // namespace tavolin
