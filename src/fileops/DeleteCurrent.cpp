// Rejecting a picture: it goes to the Trash in the background, then out of the list.

#include "app/Viewer.h"
#include "browse/PlainText.h"
#include "pixels/Geometry.h"
#include "platform/Mailbox.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::deleteCurrent()
{
    if (!isInList(m_browse.currentIndex))
        return;
    const auto &url = currentUrl();
    // A held key may ask again before the file has left the list.
    if (!m_deletion.underWay.insert(url).second)
        return;
    m_trashQueue.post([trash = m_trash, url, opening = m_browse.opening, &mailbox = m_mailbox,
                       viewer = QPointer(this)](const std::stop_token &) {
        mailbox.post([failure = trash(url), url, opening, viewer] {
            if (viewer)
                viewer->deletionFinished(failure, url, opening);
        });
    });
}

void Viewer::deletionFinished(const Failure &failure, const std::filesystem::path &url,
                              std::uint64_t opening)
{
    m_deletion.underWay.erase(url);
    if (failure) {
        showStatus(u"❌ ลบไม่ได้: "_s + plainText(*failure), true);
        return;
    }
    // Which picture is on screen by now is not asked, nor how many have been deleted since. A list
    // opened meanwhile loses no other picture for it, but may hold that one again.
    const auto &list = m_browse.imageList;
    const int index = opening == m_browse.opening
                          ? m_browse.currentIndex
                          : static_cast<int>(std::ranges::find(list, url) - list.begin());
    if (isInList(index)) {
        exitCrop(); // its box would be over a picture that has left, and cut the next one's file
        removeFromList(index);
    }
    if (!m_browse.imageList.empty())
        showStatus(u"🗑 ลบแล้ว"_s, true);
}

void Viewer::removeFromList(int index)
{
    m_browse.imageList.erase(m_browse.imageList.begin() + index);
    listChanged();
    // What was behind it moves up, and takes its place.
    const int last = static_cast<int>(m_browse.imageList.size()) - 1;
    const auto moved = [&](int at) { return clamped(at > index ? at - 1 : at, 0, last); };
    m_browse.targetIndex =
        moved(index == m_browse.currentIndex ? m_browse.currentIndex : m_browse.targetIndex);
    m_browse.currentIndex = moved(m_browse.currentIndex);
    if (m_browse.imageList.empty()) {
        showNothing(u"โฟลเดอร์ว่างแล้ว — กด O เปิดใหม่"_s);
        return;
    }
    updateInfoText();
    pumpLoad();
}

} // namespace tavolin
