#pragma once
// What the viewer tells assistive tools, read as a screen reader does: over D-Bus, by the rules of
// AT-SPI 2.

#include <QMap>
#include <QObject>
#include <QRect>
#include <QString>

#include <utility>
#include <vector>

class QDBusMessage;

namespace tavolin {

class SessionBus;

/// What an object is; the numbers of AtspiRole.
enum class AccessibleRole {
    Alert = 2,
    CheckBox = 7,
    Dialog = 16,
    Window = 23,
    Picture = 27,
    Label = 29,
    Button = 43,
    TextField = 61,
    ToolBar = 63,
    Notification = 101,
};

/// Something that is on the screen.
struct AccessibleObject
{
    QString path; ///< Tells it from every other one of its program.
    AccessibleRole role{};
    QString name;
    QString description;
    QString content; ///< What is written in a text field.
    QRect rect;      ///< Pixels of the screen.
    bool isChecked = false;
    bool hasFocus = false;
};

/// An assistive tool in the session of a test, from construction to destruction. Programs find it
/// there as they start.
class AssistiveTool : public QObject
{
    Q_OBJECT

public:
    /// @p session must outlive it.
    explicit AssistiveTool(const SessionBus &session);
    ~AssistiveTool() override;

    /// Why there can be none on this machine: the reason to skip a test. Empty when there can.
    [[nodiscard]] const QString &whyUnavailable() const { return m_whyUnavailable; }

    /// Why it does not work although there can be one. Empty when it does.
    [[nodiscard]] const QString &error() const { return m_error; }

    /// Everything that programs show, what lies above after what it covers. Leaves out what goes
    /// away while it looks.
    [[nodiscard]] std::vector<AccessibleObject> objects() const;

    /// How often the viewer has told that the name of @p object has changed, or its description.
    [[nodiscard]] int nameChanges(const AccessibleObject &object);
    [[nodiscard]] int descriptionChanges(const AccessibleObject &object);

    /// How often the viewer has done what makes a screen reader say what @p object, a notification,
    /// says: told that it has come up, or newer versions of Qt its text.
    [[nodiscard]] int announcements(const AccessibleObject &object);

private Q_SLOTS:
    void heard(const QDBusMessage &message);

private:
    [[nodiscard]] int count(const AccessibleObject &object, const QString &what);
    [[nodiscard]] QString findBus(const QString &sessionAddress);

    QString m_name; // of the connection, in this process
    QString m_whyUnavailable;
    QString m_error;
    QMap<std::pair<QString, QString>, int> m_heard; // of each path, and what
};

} // namespace tavolin
