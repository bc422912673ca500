// Steps by wheel and trackpad.

#include "app/Viewer.h"

namespace tavolin {

void Viewer::handleScroll(const QWheelEvent &event)
{
    if (m_crop.cropMode || m_zoom.zooming || m_browse.imageList.empty() || m_search.searchField ||
        m_shell.helpView)
        return;
    if (const int step = wheelStep(m_wheel, wheelInput(event)))
        navigate(step);
}

} // namespace tavolin
