// Saving the edited picture beside its source.

#include "app/Viewer.h"
#include "browse/InfoLine.h"
#include "fileops/Saving.h"
#include "pixels/PictureReader.h"

using namespace Qt::StringLiterals;

namespace tavolin {

void Viewer::saveEdited()
{
    if (m_edit.editedImage.isNull()) {
        showStatus(u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s, true);
        return;
    }
    const auto &source = currentUrl();
    const auto file = editedFile(source);
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        showStatus(u"❌ สร้างโฟลเดอร์ Edit ไม่ได้"_s, true);
        return;
    }
    const Image &edited = m_edit.editedImage;
    if (isSourceItself(file, source) || isInFolderOf(file, source) ||
        !saveJPEG(edited, file, SAVED_QUALITY, m_reader->sourceMetadata(source, edited.size()))) {
        showStatus(u"❌ บันทึกไม่สำเร็จ"_s, true);
        return;
    }
    m_edit.editsUnsaved = false;
    showStatus(u"💾 บันทึกแล้ว → Edit/"_s + displayName(file), true);
}

} // namespace tavolin
