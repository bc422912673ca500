#include "app/Accessibility.h"

#include "screen/TextLabel.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QRect>
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
    {u"tavolin::HelpView", QAccessible::StaticText},
    {u"tavolin::ViewerView", QAccessible::Graphic},
    {u"tavolin::CropOverlayView", QAccessible::Graphic},
    {u"tavolin::CropBar", QAccessible::ToolBar},
};

/// A line of text, without the room that is there for its shadow.
class LineInterface : public QAccessibleWidget
{
public:
    explicit LineInterface(TextLabel *label)
        : QAccessibleWidget(label, QAccessible::StaticText), m_label(*label)
    {}

    QRect rect() const override
    {
        const QRect line = m_label.contentsRect();
        return {m_label.mapToGlobal(line.topLeft()), line.size()};
    }

private:
    TextLabel &m_label;
};

/// Qt asks for each class of @p object in turn, the most derived first; null leaves it to Qt.
QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className == u"tavolin::TextLabel")
        return new LineInterface(static_cast<TextLabel *>(object));
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
