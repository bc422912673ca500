#include "app/Accessibility.h"

#include "editing/CropOverlayView.h"
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
    {u"tavolin::CropBar", QAccessible::ToolBar},
};

/// A line of text, without the room that is there for its shadow.
class LineInterface : public QAccessibleWidget
{
public:
    explicit LineInterface(TextLabel *label)
        : QAccessibleWidget(label, label->purpose() == TextLabel::Purpose::Message
                                       ? QAccessible::Notification
                                       : QAccessible::StaticText),
          m_label(*label)
    {}

    QRect rect() const override
    {
        const QRect line = m_label.contentsRect();
        return {m_label.mapToGlobal(line.topLeft()), line.size()};
    }

private:
    TextLabel &m_label;
};

/// The crop box, which tells its size and the angle when it is asked.
class CropBoxInterface : public QAccessibleWidget
{
public:
    explicit CropBoxInterface(CropOverlayView *overlay)
        : QAccessibleWidget(overlay, QAccessible::Graphic), m_overlay(*overlay)
    {}

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Description ? m_overlay.description()
                                                : QAccessibleWidget::text(kind);
    }

private:
    const CropOverlayView &m_overlay;
};

/// Qt asks for each class of @p object in turn, the most derived first; null leaves it to Qt.
QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className == u"tavolin::TextLabel")
        return new LineInterface(static_cast<TextLabel *>(object));
    if (className == u"tavolin::CropOverlayView")
        return new CropBoxInterface(static_cast<CropOverlayView *>(object));
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
