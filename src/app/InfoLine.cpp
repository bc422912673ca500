#include "app/InfoLine.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

QString displayName(const std::filesystem::path &path)
{
    QString name = QString::fromStdString(path.filename().native());
    const auto isControl = [](QChar c) {
        return c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
               c == QChar::ParagraphSeparator;
    };
    std::replace_if(name.begin(), name.end(), isControl, u' ');
    return name;
}

QString infoText(int targetIndex, int count, const std::filesystem::path &file, bool isEdited)
{
    QString text = QString::number(targetIndex + 1) + u'/' + QString::number(count) + u" | "_s +
                   displayName(file);
    if (isEdited)
        text += u"  ✏️ แก้ไขแล้ว (S=บันทึก ⌘Z=ย้อน)"_s;
    return text + u"   [H=วิธีใช้]"_s;
}

} // namespace tavolin
