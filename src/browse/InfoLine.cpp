#include "browse/InfoLine.h"

#include "browse/PlainText.h"
#include "platform/KeyNames.h"

using namespace Qt::StringLiterals;

namespace tavolin {

QString displayName(const std::filesystem::path &path)
{
    return plainText(QString::fromStdString(path.filename().native()));
}

QString infoText(int targetIndex, int count, const std::filesystem::path &file, bool isEdited)
{
    QString text = QString::number(targetIndex + 1) + u'/' + QString::number(count) + u" | "_s +
                   displayName(file);
    if (isEdited)
        text +=
            u"  ✏️ แก้ไขแล้ว (S=บันทึก %1=ย้อน)"_s.arg(
                UNDO_KEY);
    return text + u"   [H=วิธีใช้]"_s;
}

} // namespace tavolin
