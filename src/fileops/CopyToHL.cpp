// Picking a keeper: a copy of the picture on screen in the folder "HL" beside it.

#include "app/Viewer.h"
#include "browse/PlainText.h"
#include "platform/FileCopy.h"

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::copyToHL()
{
    if (!isInList(m_browse.currentIndex))
        return;
    const auto &source = currentUrl();
    if (const Failure failure = copyIntoFolder(source, source.parent_path() / "HL"))
        showStatus(u"❌ Error: "_s + plainText(*failure), true);
    else
        showStatus(u"✅ Auto Save to HL"_s, true);
}

} // namespace tavolin
