#include "e2e/Accessibility.h"

#include "e2e/SessionBus.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QList>
#include <QVariant>

#include <optional>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

constexpr auto BUS = "org.a11y.Bus"_L1;
constexpr auto PROPERTIES = "org.freedesktop.DBus.Properties"_L1;
constexpr auto ACCESSIBLE = "org.a11y.atspi.Accessible"_L1;
constexpr auto COMPONENT = "org.a11y.atspi.Component"_L1;
constexpr auto TEXT = "org.a11y.atspi.Text"_L1;

/// Bits of a state: AtspiStateType.
constexpr unsigned CHECKED = 4;
constexpr unsigned FOCUSED = 12;
constexpr unsigned SHOWING = 25;

/// The coordinates of an object that are asked for: AtspiCoordType.
constexpr unsigned ON_THE_SCREEN = 0;

/// An object on the bus.
struct Reference
{
    QString program;
    QString path;
};

/// The answer's first value; empty when there is none.
std::optional<QVariant> call(const QDBusConnection &bus, const Reference &object,
                             QLatin1StringView interface, QLatin1StringView method,
                             const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(object.program, object.path,
                                                          QString(interface), QString(method));
    message.setArguments(arguments);
    const QDBusMessage reply = bus.call(message);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst();
}

std::vector<Reference> childrenOf(const QDBusConnection &bus, const Reference &object)
{
    const auto reply = call(bus, object, ACCESSIBLE, "GetChildren"_L1);
    if (!reply)
        return {};
    std::vector<Reference> children;
    const auto list = reply->value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString program;
        QDBusObjectPath path;
        list.beginStructure();
        list >> program >> path;
        list.endStructure();
        children.push_back({program, path.path()});
    }
    list.endArray();
    return children;
}

QString nameOf(const QDBusConnection &bus, const Reference &object)
{
    const auto reply = call(bus, object, PROPERTIES, "Get"_L1, {QString(ACCESSIBLE), u"Name"_s});
    return reply ? reply->value<QDBusVariant>().variant().toString() : QString();
}

/// The object without its children; empty when it is not on the screen.
std::optional<AccessibleObject> read(const QDBusConnection &bus, const Reference &object)
{
    const auto state = call(bus, object, ACCESSIBLE, "GetState"_L1);
    const auto role = call(bus, object, ACCESSIBLE, "GetRole"_L1);
    if (!state || !role)
        return {};
    const auto words = qdbus_cast<QList<unsigned>>(*state);
    const unsigned bits = words.value(0); // the others are in a second word
    if ((bits >> SHOWING & 1) == 0)
        return {};
    AccessibleObject result{.path = object.path,
                            .role = static_cast<AccessibleRole>(role->toUInt()),
                            .name = nameOf(bus, object),
                            .content = {},
                            .rect = {},
                            .isChecked = (bits >> CHECKED & 1) != 0,
                            .hasFocus = (bits >> FOCUSED & 1) != 0};
    if (const auto extents = call(bus, object, COMPONENT, "GetExtents"_L1, {ON_THE_SCREEN}))
        result.rect = qdbus_cast<QRect>(*extents);
    if (result.role == AccessibleRole::TextField) {
        if (const auto text = call(bus, object, TEXT, "GetText"_L1, {0, -1}))
            result.content = text->toString();
    }
    return result;
}

void addWithChildren(std::vector<AccessibleObject> &objects, const QDBusConnection &bus,
                     const Reference &reference)
{
    const auto object = read(bus, reference);
    if (!object)
        return;
    objects.push_back(*object);
    for (const Reference &child : childrenOf(bus, reference))
        addWithChildren(objects, bus, child);
}

} // namespace

AssistiveTool::AssistiveTool(const SessionBus &session)
    : m_name(u"AssistiveTool of "_s + session.address())
{
    const QString address = findBus(session.address());
    if (address.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::connectToBus(address, m_name);
    // Programs tell only what somebody has asked for.
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/registry"_s,
                                       u"org.a11y.atspi.Registry"_s, u"RegisterEvent"_s);
    message.setArguments({u"object:property-change:accessible-name"_s});
    if (bus.call(message).type() != QDBusMessage::ReplyMessage ||
        !bus.connect({}, {}, u"org.a11y.atspi.Event.Object"_s, u"PropertyChange"_s, this,
                     SLOT(propertyChanged(QDBusMessage))))
        m_error = u"the accessibility bus does not answer"_s;
}

AssistiveTool::~AssistiveTool()
{
    QDBusConnection::disconnectFromBus(m_name);
}

QString AssistiveTool::findBus(const QString &sessionAddress)
{
    const QString name = u"session of "_s + m_name;
    const Reference service{QString(BUS), u"/org/a11y/bus"_s};
    QString address;
    {
        const QDBusConnection session = QDBusConnection::connectToBus(sessionAddress, name);
        // Programs tell nothing to anybody as long as no tool has said that it is there.
        const QVariantList isEnabled{u"org.a11y.Status"_s, u"IsEnabled"_s,
                                     QVariant::fromValue(QDBusVariant(true))};
        QDBusMessage message = QDBusMessage::createMethodCall(service.program, service.path,
                                                              QString(PROPERTIES), u"Set"_s);
        message.setArguments(isEnabled);
        const QDBusMessage reply = session.call(message);
        if (reply.type() != QDBusMessage::ReplyMessage)
            m_error = u"there is no accessibility bus: "_s + reply.errorMessage();
        else if (const auto found = call(session, service, BUS, "GetAddress"_L1))
            address = found->toString();
    }
    QDBusConnection::disconnectFromBus(name);
    if (m_error.isEmpty() && address.isEmpty())
        m_error = u"the accessibility bus has no address"_s;
    return address;
}

std::vector<AccessibleObject> AssistiveTool::objects() const
{
    const QDBusConnection bus(m_name);
    // Programs are children of the registry, and windows of programs.
    const Reference registry{u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/accessible/root"_s};
    std::vector<AccessibleObject> result;
    for (const Reference &program : childrenOf(bus, registry)) {
        for (const Reference &window : childrenOf(bus, program))
            addWithChildren(result, bus, window);
    }
    return result;
}

int AssistiveTool::nameChanges(const AccessibleObject &object)
{
    QCoreApplication::sendPostedEvents(this); // what has arrived since
    return m_nameChanges.value(object.path);
}

void AssistiveTool::propertyChanged(const QDBusMessage &message)
{
    if (message.arguments().value(0) == u"accessible-name"_s)
        ++m_nameChanges[message.path()];
}

} // namespace tavolin
