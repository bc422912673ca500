#include "fileops/FileWork.h"

#include "browse/Browser.h"
#include "browse/ImageList.h"
#include "browse/InfoLine.h"
#include "browse/PlainText.h"
#include "editing/CropMode.h"
#include "editing/Editor.h"
#include "fileops/Saving.h"
#include "pixels/PictureReader.h"
#include "platform/FileCopy.h"
#include "screen/Labels.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// Work that is done by then says nothing before it is done.
constexpr auto SLOW_TIME = 300ms;

constexpr QStringView COPYING = u"⏳ กำลังคัดลอก...";
constexpr QStringView SAVING = u"⏳ กำลังบันทึก...";
constexpr QStringView DELETING = u"⏳ กำลังลบ...";

QStringView textOf(FileJobKind kind)
{
    switch (kind) {
    case FileJobKind::Pick:
        return COPYING;
    case FileJobKind::Save:
        return SAVING;
    case FileJobKind::Deletion:
        return DELETING;
    }
    return {};
}

} // namespace

FileWork::FileWork(Browser &browser, Editor &editor, CropMode &cropMode, Labels &labels,
                   Mailbox &mailbox, const PictureReader &reader, Trash trash)
    : m_browser(browser), m_editor(editor), m_cropMode(cropMode), m_labels(labels),
      m_reader(reader), m_trash(std::move(trash)), m_jobs(mailbox)
{
    m_slowness.setSingleShot(true);
    m_slowness.setTimerType(Qt::PreciseTimer);
    connect(&m_slowness, &QTimer::timeout, this, &FileWork::tellOfWork);
}

bool FileWork::canAct() const
{
    return m_browser.isInList(m_browser.currentIndex()) && !m_browser.isBetweenLists();
}

void FileWork::copyToHL()
{
    if (!canAct())
        return;
    add(
        FileJobKind::Pick, {},
        [source = m_browser.currentUrl()](const Progress &progress) {
            return copyIntoFolder(source, source.parent_path() / "HL", progress);
        },
        [this, asked = Clock::now()](const Failure &failure) {
            if (failure)
                m_labels.showStatus(u"❌ Error: "_s + plainText(*failure), true);
            else
                m_labels.showSuccess(u"✅ Auto Save to HL"_s, asked);
        });
}

void FileWork::deleteCurrent()
{
    if (!canAct())
        return;
    const auto &url = m_browser.currentUrl();
    add(
        FileJobKind::Deletion, {}, [trash = m_trash, url](const Progress &) { return trash(url); },
        [this, asked = Deletion{url, m_browser.currentIndex(), m_browser.opening()}](
            const Failure &failure) {
            if (m_areDeletionsHeld)
                m_heldDeletions.push_back([=, this] { deletionFinished(failure, asked); });
            else
                deletionFinished(failure, asked);
        });
}

void FileWork::letDeletionsGo()
{
    m_areDeletionsHeld = false;
    for (const auto &finish : std::exchange(m_heldDeletions, {}))
        finish();
}

void FileWork::deletionFinished(const Failure &failure, const Deletion &asked)
{
    if (failure) {
        m_labels.showStatus(u"❌ ลบไม่ได้: "_s + plainText(*failure), true);
        return;
    }
    // Which picture is on screen by now is not asked, nor how many have been deleted since. A list
    // opened meanwhile loses no other picture for it, but may hold that one again.
    const int current = m_browser.currentIndex();
    const auto index = asked.opening == m_browser.opening()
                           ? current
                           : indexOf(asked.url, m_browser.imageList(), asked.index);
    if (index && m_browser.isInList(*index)) {
        // Its box would be over a picture that has left, and cut the next one's file.
        if (*index == current)
            m_cropMode.exitCrop();
        m_browser.removeFromList(*index);
    }
    if (!m_browser.imageList().empty())
        m_labels.showStatus(u"🗑 ลบแล้ว"_s, true);
}

void FileWork::saveEdited()
{
    m_editor.afterUndos([this] {
        if (!m_editor.isEdited()) {
            m_labels.showStatus(u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s, true);
            return;
        }
        const auto &source = m_browser.currentUrl();
        const Image &edited = m_editor.editedImage();
        add(
            FileJobKind::Save, edited,
            [&reader = m_reader, &saves = m_saves, edited, source](const Progress &progress) {
                return saveEdit(reader, saves, edited, source, progress);
            },
            [this, edited, source, asked = Clock::now(),
             token = m_editor.pictureToken()](const Failure &failure) {
                if (!failure) {
                    m_editor.markSaved(edited);
                    m_labels.showSuccess(u"💾 บันทึกแล้ว → Edit/"_s + displayName(editedFile(source)),
                                         asked);
                } else if (token == m_editor.pictureToken() && !m_labels.isStatusUntilKey()) {
                    m_labels.showStatus(u"❌ "_s + *failure, true);
                } else { // the edit is lost, and nobody may be looking here any more
                    tellOfLostSave(*failure, source);
                }
            });
    });
}

void FileWork::add(FileJobKind kind, Image edited, std::function<Failure(const Progress &)> work,
                   std::function<void(const Failure &)> tellResult)
{
    m_jobs.add({kind, m_browser.currentUrl(), std::move(edited), std::move(work),
                [this, kind, tellResult = std::move(tellResult)](const Failure &failure) {
                    if (isStatusOfWork())
                        m_labels.clearStatus();
                    tellResult(failure);
                    Q_EMIT ended(kind, !failure);
                }});
    if (!m_slowness.isActive())
        m_slowness.start(SLOW_TIME);
}

/// Says what takes long, unless something newer is on the status line.
void FileWork::tellOfWork()
{
    if (m_jobs.isEmpty())
        return;
    const auto asked = m_jobs.oldestTime();
    const auto left = SLOW_TIME - (Clock::now() - asked);
    if (left > 0ms) {
        m_slowness.start(std::chrono::ceil<std::chrono::milliseconds>(left));
        return;
    }
    if (m_labels.statusTime() <= asked || m_labels.statusText().isEmpty() || isStatusOfWork())
        m_labels.showStatus(textOf(m_jobs.oldestKind()).toString(), false);
    m_slowness.start(SLOW_TIME);
}

/// Says until a key that the edit of @p source could not be saved, together with those of which
/// that is being said.
void FileWork::tellOfLostSave(const QString &failure, const std::filesystem::path &source)
{
    if (!m_labels.isStatusUntilKey())
        m_lostSaves.clear();
    std::erase_if(m_lostSaves, [&source](const LostSave &lost) { return lost.source == source; });
    m_lostSaves.push_back({failure, source});
    const bool isOneReason = std::ranges::all_of(
        m_lostSaves, [&failure](const LostSave &lost) { return lost.failure == failure; });
    QString names = displayName(m_lostSaves.front().source);
    if (m_lostSaves.size() == 2)
        names += u", "_s + displayName(source);
    else if (m_lostSaves.size() > 2) // the line has no room for more
        names = QString::number(m_lostSaves.size()) + u" ภาพ"_s;
    m_labels.showStatusUntilKey(u"❌ "_s + (isOneReason ? failure : NOT_SAVED.toString()) + u": "_s +
                                names);
}

bool FileWork::isStatusOfWork() const
{
    const QString &text = m_labels.statusText();
    return text == COPYING || text == SAVING || text == DELETING;
}

} // namespace tavolin
