#include "app/Accessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QString>
#include <QWidget>

namespace tavolin {

namespace {

struct WidgetRole
{
    QStringView className;
    QAccessible::Role role;
};

/// Widgets that draw themselves are nothing but a rectangle to Qt. Each sets its own name.
constexpr WidgetRole ROLES[] = {
    {u"tavolin::TextLabel", QAccessible::StaticText},
    {u"tavolin::HelpView", QAccessible::StaticText},
    {u"tavolin::ViewerView", QAccessible::Graphic},
    {u"tavolin::CropOverlayView", QAccessible::Graphic},
    {u"tavolin::CropBar", QAccessible::ToolBar},
};

/// Qt asks for each class of @p object in turn, the most derived first; null leaves it to Qt.
QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    for (const WidgetRole &entry : ROLES) {
        if (className == entry.className)
            return new QAccessibleWidget(static_cast<QWidget *>(object), entry.role);
    }
    return nullptr;
}

} // namespace

void describeWidgets()
{
    QAccessible::installFactory(makeInterface);
}

} // namespace tavolin
