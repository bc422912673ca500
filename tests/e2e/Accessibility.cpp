#include "e2e/Accessibility.h"

#include "e2e/SessionBus.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
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

QDBusPendingCall ask(const QDBusConnection &bus, const Reference &object,
                     QLatin1StringView interface, QLatin1StringView method,
                     const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(object.program, object.path,
                                                          QString(interface), QString(method));
    message.setArguments(arguments);
    return bus.asyncCall(message);
}

/// Waits for the answer and returns its first value; empty when there is none.
std::optional<QVariant> answer(QDBusPendingCall call)
{
    call.waitForFinished();
    const QDBusMessage reply = call.reply();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst();
}

/// All that there is to know about an object, asked at once: where the processor is busy, it is the
/// waiting that takes time.
struct Questions
{
    Questions(const QDBusConnection &bus, const Reference &asked)
        : object(asked), children(ask(bus, object, ACCESSIBLE, "GetChildren"_L1)),
          state(ask(bus, object, ACCESSIBLE, "GetState"_L1)),
          role(ask(bus, object, ACCESSIBLE, "GetRole"_L1)),
          name(ask(bus, object, PROPERTIES, "Get"_L1, {QString(ACCESSIBLE), u"Name"_s})),
          description(
              ask(bus, object, PROPERTIES, "Get"_L1, {QString(ACCESSIBLE), u"Description"_s})),
          extents(ask(bus, object, COMPONENT, "GetExtents"_L1, {ON_THE_SCREEN}))
    {}

    Reference object;
    QDBusPendingCall children;
    QDBusPendingCall state;
    QDBusPendingCall role;
    QDBusPendingCall name;
    QDBusPendingCall description;
    QDBusPendingCall extents;
};

std::vector<Questions> askChildren(const QDBusConnection &bus, const QDBusPendingCall &children)
{
    const auto reply = answer(children);
    if (!reply)
        return {};
    std::vector<Questions> result;
    const auto list = reply->value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString program;
        QDBusObjectPath path;
        list.beginStructure();
        list >> program >> path;
        list.endStructure();
        result.emplace_back(bus, Reference{program, path.path()});
    }
    list.endArray();
    return result;
}

/// The object without its children; empty when it is not on the screen.
std::optional<AccessibleObject> read(const QDBusConnection &bus, const Questions &asked)
{
    const auto state = answer(asked.state);
    const auto role = answer(asked.role);
    const auto name = answer(asked.name);
    const auto description = answer(asked.description);
    const auto extents = answer(asked.extents);
    if (!state || !role || !name || !description || !extents)
        return {};
    const unsigned bits = qdbus_cast<QList<unsigned>>(*state).value(0); // a second word has others
    if ((bits >> SHOWING & 1) == 0)
        return {};
    AccessibleObject result{.path = asked.object.path,
                            .role = static_cast<AccessibleRole>(role->toUInt()),
                            .name = name->value<QDBusVariant>().variant().toString(),
                            .description = description->value<QDBusVariant>().variant().toString(),
                            .content = {},
                            .rect = qdbus_cast<QRect>(*extents),
                            .isChecked = (bits >> CHECKED & 1) != 0,
                            .hasFocus = (bits >> FOCUSED & 1) != 0};
    if (result.role == AccessibleRole::TextField) {
        if (const auto text = answer(ask(bus, asked.object, TEXT, "GetText"_L1, {0, -1})))
            result.content = text->toString();
    }
    return result;
}

void addWithChildren(std::vector<AccessibleObject> &objects, const QDBusConnection &bus,
                     const Questions &asked)
{
    const auto object = read(bus, asked);
    if (!object)
        return;
    objects.push_back(*object);
    for (const Questions &child : askChildren(bus, asked.children))
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
    const Reference registry{u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/registry"_s};
    for (const QString &event : {u"object:property-change:accessible-name"_s,
                                 u"object:property-change:accessible-description"_s,
                                 u"object:state-changed:showing"_s, u"object:announcement"_s}) {
        // Programs tell only what somebody has asked for.
        QDBusPendingCall asking =
            ask(bus, registry, "org.a11y.atspi.Registry"_L1, "RegisterEvent"_L1, {event});
        asking.waitForFinished();
        if (asking.isError())
            m_error = u"the accessibility bus does not answer"_s;
    }
    for (const QString &signal : {u"PropertyChange"_s, u"StateChanged"_s, u"Announcement"_s}) {
        if (!bus.connect({}, {}, u"org.a11y.atspi.Event.Object"_s, signal, this,
                         SLOT(heard(QDBusMessage))))
            m_error = u"the accessibility bus can't be listened to"_s;
    }
}

AssistiveTool::~AssistiveTool()
{
    QDBusConnection::disconnectFromBus(m_name);
}

QString AssistiveTool::findBus(const QString &sessionAddress)
{
    const QString name = u"session of "_s + m_name;
    QString address;
    {
        const QDBusConnection session = QDBusConnection::connectToBus(sessionAddress, name);
        const Reference service{QString(BUS), u"/org/a11y/bus"_s};
        // Programs tell nothing to anybody as long as no tool has said that it is there.
        QDBusPendingCall enable =
            ask(session, service, PROPERTIES, "Set"_L1,
                {u"org.a11y.Status"_s, u"IsEnabled"_s, QVariant::fromValue(QDBusVariant(true))});
        enable.waitForFinished();
        if (enable.isError())
            m_whyUnavailable = u"there is no accessibility bus: "_s + enable.error().message();
        else if (const auto found = answer(ask(session, service, BUS, "GetAddress"_L1)))
            address = found->toString();
        else
            m_error = u"the accessibility bus has no address"_s;
    }
    QDBusConnection::disconnectFromBus(name);
    return address;
}

std::vector<AccessibleObject> AssistiveTool::objects() const
{
    const QDBusConnection bus(m_name);
    // Programs are children of the registry, and windows of programs.
    const Reference registry{u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/accessible/root"_s};
    std::vector<AccessibleObject> result;
    for (const Questions &program :
         askChildren(bus, ask(bus, registry, ACCESSIBLE, "GetChildren"_L1))) {
        for (const Questions &window : askChildren(bus, program.children))
            addWithChildren(result, bus, window);
    }
    return result;
}

int AssistiveTool::nameChanges(const AccessibleObject &object)
{
    return count(object, u"accessible-name"_s);
}

int AssistiveTool::descriptionChanges(const AccessibleObject &object)
{
    return count(object, u"accessible-description"_s);
}

int AssistiveTool::announcements(const AccessibleObject &object)
{
    return count(object, u"showing"_s) + count(object, u"Announcement"_s);
}

int AssistiveTool::count(const AccessibleObject &object, const QString &what)
{
    QCoreApplication::sendPostedEvents(this); // what has arrived since
    return m_heard.value({object.path, what});
}

void AssistiveTool::heard(const QDBusMessage &message)
{
    const QString detail = message.arguments().value(0).toString();
    const bool isEnd = message.member() == u"StateChanged"_s && message.arguments().value(1) == 0;
    if (!isEnd)
        ++m_heard[{message.path(),
                   message.member() == u"Announcement"_s ? message.member() : detail}];
}

} // namespace tavolin
