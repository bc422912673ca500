#include "fileops/FileWork.h"

#include "browse/Browser.h"
#include "browse/InfoLine.h"
#include "browse/PlainText.h"
#include "editing/CropMode.h"
#include "editing/Editor.h"
#include "fileops/Saving.h"
#include "pixels/PictureReader.h"
#include "platform/Background.h"
#include "platform/FileCopy.h"
#include "screen/Labels.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

FileWork::FileWork(Browser &browser, Editor &editor, CropMode &cropMode, Labels &labels,
                   BackgroundQueue &trashQueue, const PictureReader &reader, Trash trash)
    : m_browser(browser), m_editor(editor), m_cropMode(cropMode), m_labels(labels),
      m_trashQueue(trashQueue), m_reader(reader), m_trash(std::move(trash))
{}

void FileWork::copyToHL()
{
    if (!m_browser.isInList(m_browser.currentIndex()))
        return;
    const auto &source = m_browser.currentUrl();
    if (const Failure failure = copyIntoFolder(source, source.parent_path() / "HL"))
        m_labels.showStatus(u"❌ Error: "_s + plainText(*failure), true);
    else
        m_labels.showStatus(u"✅ Auto Save to HL"_s, true);
}

void FileWork::deleteCurrent()
{
    if (!m_browser.isInList(m_browser.currentIndex()))
        return;
    const auto &url = m_browser.currentUrl();
    // A held key may ask again before the file has left the list.
    if (!m_underWay.insert(url).second)
        return;
    // No answer means that memory did not suffice to ask.
    m_trashQueue.run<std::optional<Failure>>(
        this, {
                  .work = [trash = m_trash, url](const std::stop_token &) { return trash(url); },
                  .use =
                      [this, url, opening = m_browser.opening()](const auto &answer) {
                          const auto noMemory = std::make_error_code(std::errc::not_enough_memory);
                          deletionFinished(answer.value_or(failureOf(noMemory)), url, opening);
                      },
              });
}

void FileWork::deletionFinished(const Failure &failure, const std::filesystem::path &url,
                                std::uint64_t opening)
{
    m_underWay.erase(url);
    if (failure) {
        m_labels.showStatus(u"❌ ลบไม่ได้: "_s + plainText(*failure), true);
        return;
    }
    // Which picture is on screen by now is not asked, nor how many have been deleted since. A list
    // opened meanwhile loses no other picture for it, but may hold that one again.
    const auto &list = m_browser.imageList();
    const int index = opening == m_browser.opening()
                          ? m_browser.currentIndex()
                          : static_cast<int>(std::ranges::find(list, url) - list.begin());
    if (m_browser.isInList(index)) {
        // Its box would be over a picture that has left, and cut the next one's file.
        m_cropMode.exitCrop();
        m_browser.removeFromList(index);
    }
    if (!m_browser.imageList().empty())
        m_labels.showStatus(u"🗑 ลบแล้ว"_s, true);
}

void FileWork::saveEdited()
{
    if (!m_editor.isEdited()) {
        m_labels.showStatus(u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s, true);
        return;
    }
    const auto &source = m_browser.currentUrl();
    const auto file = editedFile(source);
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        m_labels.showStatus(u"❌ สร้างโฟลเดอร์ Edit ไม่ได้"_s, true);
        return;
    }
    const Image &edited = m_editor.editedImage();
    if (isSourceItself(file, source) || isInFolderOf(file, source) ||
        !saveJPEG(edited, file, SAVED_QUALITY, m_reader.sourceMetadata(source, edited.size()))) {
        m_labels.showStatus(u"❌ บันทึกไม่สำเร็จ"_s, true);
        return;
    }
    m_editor.markSaved();
    m_labels.showStatus(u"💾 บันทึกแล้ว → Edit/"_s + displayName(file), true);
}

} // namespace tavolin
