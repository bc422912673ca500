#pragma once
// An X server of a test's own: a virtual screen with the XTEST extension, on a display number that
// nobody else has.

#include <QByteArray>
#include <QProcess>
#include <QRect>
#include <QRgb>
#include <QString>
#include <QTemporaryDir>

namespace tavolin {

/// What is on the virtual screen where no window is. No picture and no window of ours has it, so
/// a window that does not cover the screen is noticed.
inline constexpr QRgb ROOT_COLOR = 0xffb000b0;

/// The virtual screen, in pixels, unless another size is wanted.
inline constexpr QRect SCREEN_RECT{0, 0, 1920, 1080};

/// Runs from construction to destruction. There is no window manager.
class XServer
{
public:
    /// Starts a server whose keyboard has the XKB @p layout ("us", "th", "us,th") and @p option, if
    /// any ("grp:alt_shift_toggle"), and whose screen has @p size. Waits until it can be used; on
    /// failure error() says why.
    explicit XServer(const QString &layout = QStringLiteral("us"), const QString &option = {},
                     QSize size = SCREEN_RECT.size());
    ~XServer();
    XServer(const XServer &) = delete;
    XServer &operator=(const XServer &) = delete;

    /// Why no server can be started on this machine: the reason to skip a test. Empty when one can.
    [[nodiscard]] static QString whyUnavailable();

    /// Empty when the server is running.
    [[nodiscard]] const QString &error() const { return m_error; }

    /// The display, such as ":5".
    [[nodiscard]] const QByteArray &displayName() const { return m_displayName; }

private:
    bool startServer(QSize size);
    bool setLayout(const QString &layout, const QString &option);

    QTemporaryDir m_folder;
    QProcess m_process;
    QByteArray m_displayName;
    QString m_error;
};

} // namespace tavolin
