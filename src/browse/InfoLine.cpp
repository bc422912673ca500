#include "browse/InfoLine.h"

#include "browse/PlainText.h"
#include "platform/KeyNames.h"

#include <QList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// @p name so that what is written from right to left in it does not change places with what
/// stands beside it.
QString isolated(const QString &name)
{
    constexpr QChar FIRST_STRONG_ISOLATE(0x2068);
    constexpr QChar POP_DIRECTIONAL_ISOLATE(0x2069);
    const auto letters = name.toUcs4();
    const bool hasRightToLeft = std::ranges::any_of(letters, [](char32_t letter) {
        const auto direction = QChar::direction(letter);
        return direction == QChar::DirR || direction == QChar::DirAL;
    });
    return hasRightToLeft ? FIRST_STRONG_ISOLATE + name + POP_DIRECTIONAL_ISOLATE : name;
}

} // namespace

QString displayName(const std::filesystem::path &path)
{
    return plainText(QString::fromStdString(path.filename().native()));
}

QString infoText(int targetIndex, int count, const std::filesystem::path &file, bool isEdited)
{
    QString text = QString::number(targetIndex + 1) + u'/' + QString::number(count) + u" | "_s +
                   isolated(displayName(file));
    if (isEdited)
        text +=
            u"  ✏️ แก้ไขแล้ว (S=บันทึก %1=ย้อน)"_s.arg(
                UNDO_KEY);
    return text + u"   [H=วิธีใช้]"_s;
}

} // namespace tavolin
