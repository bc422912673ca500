#include "browse/SearchField.h"

#include "screen/OverlayGeometry.h"
#include "screen/TextLabel.h"

#include <QKeyEvent>

using namespace Qt::StringLiterals;

namespace tavolin {

SearchField::SearchField(QWidget *parent) : QLineEdit(parent)
{
    QFont font = interfaceFont(13);
    font.setWeight(QFont::Normal);
    setFont(font);
    setAccessibleName(u"ค้นหาชื่อไฟล์"_s);
    setPlaceholderText(u"พิมพ์ชื่อไฟล์เพื่อกระโดด… (Enter/Esc ปิด)"_s);
}

void SearchField::place(QSize view)
{
    setGeometry(searchFieldRect(view));
}

void SearchField::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Escape:
        Q_EMIT closed();
        break;
    default:
        QLineEdit::keyPressEvent(event);
    }
    event->accept(); // also what the line edit has no use for
}

void SearchField::keyReleaseEvent(QKeyEvent *event)
{
    QLineEdit::keyReleaseEvent(event);
    event->accept(); // which newer versions of Qt leave to the view
}

bool SearchField::focusNextPrevChild(bool)
{
    return false; // Tab would hand the keyboard to the view while the field stays open
}

} // namespace tavolin
