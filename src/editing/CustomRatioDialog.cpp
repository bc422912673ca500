#include "editing/CustomRatioDialog.h"

#include "screen/DarkPalette.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

// In points.
constexpr QSize FIELD_SIZE(140, 24);
/// Beside a window's title: an icon and three buttons, as desktops make them.
constexpr int TITLE_BAR_EXTRAS = 150;

} // namespace

CustomRatioDialog::CustomRatioDialog(QWidget *parent) : QDialog(parent)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(u"Custom Ratio"_s);
    setPalette(darkPalette());

    auto *message = new QLabel(u"Custom Ratio"_s, this);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);
    auto *explanation = new QLabel(u"Enter as width:height, e.g. 16:10"_s, this);

    // Narrower, its title would be cut, to which Qt adds the program's name.
    const QString title = windowTitle() + u" — "_s + QGuiApplication::applicationDisplayName();
    explanation->setMinimumWidth(QFontMetrics(bold).horizontalAdvance(title) + TITLE_BAR_EXTRAS);

    m_field = new QLineEdit(u"16:10"_s, this);
    m_field->setFixedSize(FIELD_SIZE);
    m_field->setAccessibleName(message->text());
    m_field->selectAll();
    m_field->setFocus();

    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(u"OK"_s, QDialogButtonBox::AcceptRole)->setDefault(true);
    buttons->addButton(u"Cancel"_s, QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *column = new QVBoxLayout(this);
    column->setSizeConstraint(QLayout::SetFixedSize);
    for (QWidget *widget : {static_cast<QWidget *>(message), static_cast<QWidget *>(explanation),
                            static_cast<QWidget *>(m_field), static_cast<QWidget *>(buttons)})
        column->addWidget(widget);
}

QString CustomRatioDialog::text() const
{
    return m_field->text();
}

} // namespace tavolin
