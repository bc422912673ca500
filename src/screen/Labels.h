#pragma once
// The three lines of text over the picture: where the user is, the facts of the photo, and how a
// command ended.

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <optional>

class QWidget;

namespace tavolin {

class TextLabel;

/// Owns the lines and what is on them. The widgets belong to the view that they lie in, which must
/// outlive every call.
class Labels : public QObject
{
    Q_OBJECT

public:
    explicit Labels(QWidget &view);

    /// Shows @p text on the status line, for 1.4 seconds if @p autoClear, else until replaced.
    void showStatus(const QString &text, bool autoClear);
    /// Shows @p text, which says that what was asked for at the time @p asked has been done, for as
    /// long, unless the status line has come to tell of a state that lasts. A failure takes the
    /// place of that, too: showStatus().
    void showSuccess(const QString &text, std::chrono::steady_clock::time_point asked);
    /// Shows @p text on the status line until a key is pressed; nothing takes its place before.
    void showStatusUntilKey(const QString &text);
    /// Whether such a message is there.
    [[nodiscard]] bool isStatusUntilKey() const { return m_waitsForKey; }
    /// To be told of every key before its command is carried out.
    void keyPressed();
    /// Empties the status line.
    void clearStatus();
    [[nodiscard]] const QString &statusText() const;
    /// Whether a message is going to be cleared by itself.
    [[nodiscard]] bool isStatusTemporary() const { return m_statusTimer.isActive(); }
    /// When what is on the status line was put there.
    [[nodiscard]] std::chrono::steady_clock::time_point statusTime() const { return m_statusTime; }

    /// Shows @p text on the info line, which stands at the top, and makes it the view's name for
    /// assistive tools.
    void showInfo(const QString &text);
    /// Shows @p text on the line of details below it.
    void showDetail(const QString &text);

    /// Puts the lines where they belong for the view's current size; see labelRects().
    void layout(std::optional<int> cropBarTop);
    /// Brings the status line above widgets added later.
    void raiseStatus();

private:
    QWidget &m_view;
    TextLabel *m_infoLabel;
    TextLabel *m_detailLabel;
    TextLabel *m_statusLabel;
    QTimer m_statusTimer;
    std::chrono::steady_clock::time_point m_statusTime;
    bool m_waitsForKey = false; // the status line
};

} // namespace tavolin
