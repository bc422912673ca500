#include "screen/Labels.h"

#include "screen/OverlayGeometry.h"
#include "screen/TextLabel.h"

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// How long a message about a finished command stays.
constexpr auto STATUS_TIME = 1400ms;
/// NEON at 85 %.
constexpr QColor DETAIL_COLOR{0, 212, 255, 217};

} // namespace

Labels::Labels(QWidget &view)
    : m_view(view), m_infoLabel(new TextLabel(14, Qt::AlignLeft, &view)),
      m_detailLabel(new TextLabel(12, Qt::AlignLeft, &view)),
      m_statusLabel(new TextLabel(20, Qt::AlignHCenter, &view, TextLabel::Purpose::Message))
{
    m_detailLabel->setColor(DETAIL_COLOR);
    m_statusTimer.setSingleShot(true);
    m_statusTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_statusTimer, &QTimer::timeout, this, &Labels::clearStatus);
}

void Labels::showStatus(const QString &text, bool autoClear)
{
    if (m_waitsForKey)
        return;
    m_statusLabel->setText(text);
    m_statusTime = std::chrono::steady_clock::now();
    m_statusTimer.stop();
    if (autoClear)
        m_statusTimer.start(STATUS_TIME);
}

void Labels::showSuccess(const QString &text, std::chrono::steady_clock::time_point asked)
{
    if (m_statusTime <= asked || statusText().isEmpty() || isStatusTemporary())
        showStatus(text, true);
}

void Labels::showStatusUntilKey(const QString &text)
{
    m_waitsForKey = false; // the newest counts
    showStatus(text, false);
    m_waitsForKey = true;
}

void Labels::keyPressed()
{
    if (std::exchange(m_waitsForKey, false))
        clearStatus();
}

void Labels::clearStatus()
{
    if (!m_waitsForKey)
        m_statusLabel->setText({});
}

const QString &Labels::statusText() const
{
    return m_statusLabel->text();
}

void Labels::showInfo(const QString &text)
{
    m_infoLabel->setText(text);
    m_view.setAccessibleName(text); // the view has the keyboard, so that each step is heard
}

void Labels::showDetail(const QString &text)
{
    m_detailLabel->setText(text);
}

void Labels::layout(std::optional<int> cropBarTop)
{
    const LabelRects rects = labelRects(m_view.size(), cropBarTop);
    m_infoLabel->place(rects.info);
    m_detailLabel->place(rects.detail);
    m_statusLabel->place(rects.status);
}

void Labels::raiseStatus()
{
    m_statusLabel->raise();
}

} // namespace tavolin
