#pragma once
// A connection to an X server that acts as the user would: keys by their place on the keyboard, the
// mouse, and looking at the screen. Coordinates are pixels of the screen.

#include <QByteArray>
#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringView>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <vector>

struct _XDisplay;

namespace tavolin {

/// Buttons of the mouse; a wheel's notches are buttons too.
inline constexpr int LEFT_BUTTON = 1;
inline constexpr int WHEEL_UP = 4;
inline constexpr int WHEEL_DOWN = 5;

/// A window as a window manager would see it.
struct TopLevelWindow
{
    QString title;
    QRect geometry;
    bool hasKeyboard = false; ///< Keys go to it.
    unsigned long id = 0;     ///< The server's.
};

/// One thread at a time; a thread that wants to look on its own opens a connection of its own.
class XClient
{
public:
    /// Connects to @p displayName, such as ":5".
    explicit XClient(const QByteArray &displayName);

    /// When not, no other function may be called.
    [[nodiscard]] bool isOpen() const { return m_display != nullptr; }

    /// Keys are evdev codes (KEY_… in linux/input-event-codes.h): places, whatever the layout
    /// writes there. Each call returns once the server has the event.
    void pressKey(int evdevCode);
    void releaseKey(int evdevCode);

    /// Presses and releases @p evdevCode while @p heldKeys (KEY_LEFTCTRL, …) are down.
    void tapKey(int evdevCode, std::initializer_list<int> heldKeys = {});

    /// Types letters, digits and signs on an American keyboard.
    void type(QStringView text);

    /// Makes @p group of the layout (0 is the first) the one in force on every keyboard.
    void lockGroup(int group);

    /// The group in force on the keyboard that was used last.
    [[nodiscard]] int group() const;

    /// How often a program has beeped since the connection was opened.
    [[nodiscard]] int beepCount();

    /// The symbol (keysym) that @p evdevCode writes in @p group without modifiers.
    [[nodiscard]] unsigned long symbol(int evdevCode, int group) const;

    void moveMouse(QPoint position);

    void pressButton(int button);
    void releaseButton(int button);
    void click(int button);

    /// What @p rect of the screen shows; the mouse pointer is left out. Null when @p rect is not
    /// within the screen.
    [[nodiscard]] QImage screen(const QRect &rect) const;

    /// The windows on the screen, lowest first, without menus and tool tips. Only where no window
    /// manager puts them into frames.
    [[nodiscard]] std::vector<TopLevelWindow> windows() const;

    /// Asks the program to close @p window, as the button in a frame does.
    void close(const TopLevelWindow &window);

    /// Lets keys go to @p window.
    void giveKeyboard(const TopLevelWindow &window);

    /// Gives @p window another place and size, as a window manager would.
    void placeWindow(const TopLevelWindow &window, const QRect &place);

    /// Fills the screen's background.
    void paintRoot(QRgb color);

private:
    struct Close
    {
        void operator()(_XDisplay *display) const;
    };

    void sendKey(int evdevCode, bool down);
    void sendButton(int button, bool down);

    std::unique_ptr<_XDisplay, Close> m_display;
    int m_keyboardEvent = 0; // the type of what XKB tells
    int m_beepCount = 0;
    std::chrono::steady_clock::time_point m_lastTap;
};

} // namespace tavolin
