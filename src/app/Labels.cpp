// The three lines of text over the picture.

#include "app/Viewer.h"
#include "browse/InfoLine.h"
#include "editing/CropBar.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <chrono>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// How long a message about a finished command stays.
constexpr auto STATUS_TIME = 1400ms;

} // namespace

void Viewer::layoutLabels()
{
    const int width = m_shell.view->width();
    const int height = m_shell.view->height();
    m_shell.infoLabel->setGeometry(20, 16, width - 40, 22);
    m_shell.detailLabel->setGeometry(20, 42, width - 40, 18);
    // The crop bar would cover it in its usual place, and says nothing of work that goes on.
    const int bottom = m_crop.cropBar ? m_crop.cropBar->y() - 4 : height - 50;
    m_shell.statusLabel->setGeometry(0, bottom - 30, width, 30);
}

void Viewer::showStatus(const QString &text, bool autoClear)
{
    m_shell.statusLabel->setText(text);
    m_shell.statusTimer.stop();
    if (autoClear)
        m_shell.statusTimer.start(STATUS_TIME);
}

void Viewer::showInfo(const QString &text)
{
    m_shell.infoLabel->setText(text);
}

void Viewer::updateInfoText()
{
    if (!isInList(m_browse.targetIndex))
        return;
    const auto index = static_cast<std::size_t>(m_browse.targetIndex);
    showInfo(infoText(m_browse.targetIndex, static_cast<int>(m_browse.imageList.size()),
                      m_browse.imageList[index], !m_edit.editOps.empty()));
}

} // namespace tavolin
