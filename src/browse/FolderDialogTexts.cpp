#include "browse/FolderDialogTexts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tavolin {

namespace {

struct Text
{
    std::string_view english;
    QStringView thai;
};

/// In the order in which they are met, from top to bottom.
constexpr std::array TEXTS{
    Text{"Look in:", u"ที่:"},
    Text{"Back", u"ย้อนกลับ"},
    Text{"Go back", u"ย้อนกลับ"},
    Text{"Forward", u"ไปข้างหน้า"},
    Text{"Go forward", u"ไปข้างหน้า"},
    Text{"Parent Directory", u"โฟลเดอร์แม่"},
    Text{"Go to the parent directory", u"ไปที่โฟลเดอร์แม่"},
    Text{"Create New Folder", u"สร้างโฟลเดอร์ใหม่"},
    Text{"Create a New Folder", u"สร้างโฟลเดอร์ใหม่"},
    Text{"List View", u"มุมมองรายการ"},
    Text{"Change to list view mode", u"เปลี่ยนเป็นมุมมองรายการ"},
    Text{"Detail View", u"มุมมองรายละเอียด"},
    Text{"Change to detail view mode", u"เปลี่ยนเป็นมุมมองรายละเอียด"},
    Text{"Sidebar", u"แถบข้าง"},
    Text{"List of places and bookmarks", u"รายการตำแหน่งและที่คั่น"},
    Text{"Files", u"ไฟล์"},
    Text{"Computer", u"คอมพิวเตอร์"},
    Text{"My Computer", u"คอมพิวเตอร์"},
    Text{"Name", u"ชื่อ"},
    Text{"Size", u"ขนาด"},
    Text{"Type", u"ชนิด"},
    Text{"Kind", u"ชนิด"},
    Text{"Date Modified", u"วันที่แก้ไข"},
    Text{"Drive", u"ไดรฟ์"},
    Text{"Folder", u"โฟลเดอร์"},
    Text{"File Folder", u"โฟลเดอร์"},
    Text{"Unknown", u"ไม่ทราบ"},
    Text{"Directory:", u"โฟลเดอร์:"},
    Text{"File &name:", u"ชื่อ:"},
    Text{"Files of type:", u"ชนิด:"},
    Text{"Directories", u"โฟลเดอร์"},
    Text{"All Files (*)", u"ทุกไฟล์ (*)"},
    Text{"Recent Places", u"ที่เปิดล่าสุด"},
    Text{"Remove", u"นำออก"},
    Text{"&Open", u"เปิด"},
    Text{"&Choose", u"เปิด"},
    Text{"Cancel", u"ยกเลิก"},
    Text{"&Rename", u"เปลี่ยนชื่อ"},
    Text{"&Delete", u"ลบ"},
    Text{"Delete", u"ลบ"},
    Text{"Show &hidden files", u"แสดงไฟล์ที่ซ่อน"},
    Text{"&New Folder", u"โฟลเดอร์ใหม่"},
    Text{"New Folder", u"โฟลเดอร์ใหม่"},
    Text{"Find Directory", u"เลือกโฟลเดอร์"},
    Text{"Open", u"เปิด"},
    Text{"Are you sure you want to delete '%1'?", u"ลบ '%1' หรือไม่"},
    Text{"Could not delete directory.", u"ลบโฟลเดอร์ไม่ได้"},
    Text{"%1\nDirectory not found.\nPlease verify the correct directory name was given.",
         u"%1\nไม่พบโฟลเดอร์นี้"},
};

bool isOfTheDialog(std::string_view context)
{
    return context == "QFileDialog" || context == "QFileSystemModel" ||
           context == "QAbstractFileIconProvider";
}

} // namespace

QString FolderDialogTexts::translate(const char *context, const char *sourceText,
                                     const char * /*disambiguation*/, int /*n*/) const
{
    if (!context || !sourceText || !isOfTheDialog(context))
        return {};
    const auto found = std::ranges::find(TEXTS, std::string_view(sourceText), &Text::english);
    return found == TEXTS.end() ? QString() : found->thai.toString();
}

} // namespace tavolin
