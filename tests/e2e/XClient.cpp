#include "e2e/XClient.h"

#include <algorithm>
#include <cstdio>
#include <thread>

#include <linux/input-event-codes.h>

#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <X11/Xatom.h>
#include <X11/XKBlib.h>
#include <X11/Xutil.h>

namespace tavolin {

namespace {

/// An X keycode is the evdev code and this.
constexpr int EVDEV_OFFSET = 8;

/// A window can go between being listed and being asked about; Xlib's own handler would end the
/// program. Everything else is a mistake of the test, which should read about it.
int reportError(Display *display, XErrorEvent *event)
{
    if (event->error_code == BadWindow)
        return 0;
    char text[128];
    XGetErrorText(display, event->error_code, text, sizeof text);
    std::fprintf(stderr, "X error: %s (request %d)\n", text, event->request_code);
    return 0;
}

QString windowTitle(Display *display, Window window)
{
    for (const char *property : {"_NET_WM_NAME", "WM_NAME"}) {
        XTextProperty value{};
        if (XGetTextProperty(display, window, &value, XInternAtom(display, property, False)) == 0)
            continue;
        const auto title = QString::fromUtf8(QByteArray(reinterpret_cast<const char *>(value.value),
                                                        static_cast<qsizetype>(value.nitems)));
        XFree(value.value);
        return title;
    }
    return {};
}

} // namespace

XClient::XClient(const QByteArray &displayName) : m_display(XOpenDisplay(displayName.constData()))
{
    XSetErrorHandler(reportError);
    if (!m_display)
        return;
    XkbQueryExtension(m_display.get(), nullptr, &m_keyboardEvent, nullptr, nullptr, nullptr);
    XkbSelectEvents(m_display.get(), XkbUseCoreKbd, XkbBellNotifyMask, XkbBellNotifyMask);
}

void XClient::pressKey(int evdevCode)
{
    sendKey(evdevCode, true);
}

void XClient::releaseKey(int evdevCode)
{
    sendKey(evdevCode, false);
}

void XClient::tapKey(int evdevCode, std::initializer_list<int> heldKeys)
{
    for (const int key : heldKeys)
        pressKey(key);
    // A release and a press in the same millisecond would be taken for a repeat.
    std::this_thread::sleep_until(m_lastTap + std::chrono::milliseconds(2));
    pressKey(evdevCode);
    releaseKey(evdevCode);
    m_lastTap = std::chrono::steady_clock::now();
    for (const int key : heldKeys)
        releaseKey(key);
}

void XClient::type(QStringView text)
{
    struct Row
    {
        int firstKey;
        QStringView plain;
        QStringView shifted;
    };
    static constexpr Row ROWS[] = {
        {KEY_1, u"1234567890-=", u"!@#$%^&*()_+"},
        {KEY_Q, u"qwertyuiop", u"QWERTYUIOP"},
        {KEY_A, u"asdfghjkl;", u"ASDFGHJKL:"},
        {KEY_Z, u"zxcvbnm,./", u"ZXCVBNM<>?"},
    };
    for (const QChar letter : text) {
        for (const Row &row : ROWS) {
            if (const auto at = row.plain.indexOf(letter); at >= 0)
                tapKey(row.firstKey + static_cast<int>(at));
            if (const auto at = row.shifted.indexOf(letter); at >= 0)
                tapKey(row.firstKey + static_cast<int>(at), {KEY_LEFTSHIFT});
        }
    }
}

void XClient::lockGroup(int group)
{
    // The server keeps a group for each keyboard, and a keyboard's events carry its own.
    int count = 0;
    int major = 2;
    int minor = 0;
    XIQueryVersion(m_display.get(), &major, &minor);
    XIDeviceInfo *devices = XIQueryDevice(m_display.get(), XIAllDevices, &count);
    for (const XIDeviceInfo *device = devices; device < devices + count; ++device) {
        if (device->use == XIMasterKeyboard || device->use == XISlaveKeyboard)
            XkbLockGroup(m_display.get(), static_cast<unsigned>(device->deviceid),
                         static_cast<unsigned>(group));
    }
    XIFreeDeviceInfo(devices);
    XSync(m_display.get(), False);
}

int XClient::group() const
{
    XkbStateRec state{};
    XkbGetState(m_display.get(), XkbUseCoreKbd, &state);
    return state.group;
}

int XClient::beepCount()
{
    // No other events were asked for, but those of a changed keyboard come to everybody.
    while (XPending(m_display.get()) > 0) {
        XkbEvent event{};
        XNextEvent(m_display.get(), &event.core);
        if (event.type == m_keyboardEvent && event.any.xkb_type == XkbBellNotify)
            ++m_beepCount;
    }
    return m_beepCount;
}

unsigned long XClient::symbol(int evdevCode, int group) const
{
    return XkbKeycodeToKeysym(m_display.get(), static_cast<KeyCode>(evdevCode + EVDEV_OFFSET),
                              group, 0);
}

void XClient::moveMouse(QPoint position)
{
    XTestFakeMotionEvent(m_display.get(), -1, position.x(), position.y(), CurrentTime);
    XSync(m_display.get(), False);
}

void XClient::pressButton(int button)
{
    sendButton(button, true);
}

void XClient::releaseButton(int button)
{
    sendButton(button, false);
}

void XClient::click(int button)
{
    pressButton(button);
    releaseButton(button);
}

QImage XClient::screen(const QRect &rect) const
{
    XImage *image = XGetImage(m_display.get(), XDefaultRootWindow(m_display.get()), rect.x(),
                              rect.y(), static_cast<unsigned>(rect.width()),
                              static_cast<unsigned>(rect.height()), AllPlanes, ZPixmap);
    if (!image)
        return {};
    // 24 bits deep means 32 bits a pixel, the unused byte zero: what Format_RGB32 is once
    // converted.
    const QImage view(reinterpret_cast<const uchar *>(image->data), image->width, image->height,
                      image->bytes_per_line, QImage::Format_RGB32);
    QImage copy = view.copy();
    XDestroyImage(image);
    return copy;
}

std::vector<TopLevelWindow> XClient::windows() const
{
    Display *display = m_display.get();
    Window root = 0;
    Window parent = 0;
    Window *children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, XDefaultRootWindow(display), &root, &parent, &children, &count) == 0)
        return {};
    Window focused = 0;
    int revertTo = 0;
    XGetInputFocus(display, &focused, &revertTo);
    std::vector<TopLevelWindow> result;
    for (const Window *window = children; window < children + count; ++window) {
        XWindowAttributes is{};
        if (XGetWindowAttributes(display, *window, &is) == 0 || is.map_state != IsViewable ||
            is.override_redirect)
            continue;
        result.push_back({windowTitle(display, *window), QRect(is.x, is.y, is.width, is.height),
                          *window == focused, *window});
    }
    if (children)
        XFree(children);
    return result;
}

void XClient::close(const TopLevelWindow &window)
{
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window.id;
    event.xclient.message_type = XInternAtom(m_display.get(), "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] =
        static_cast<long>(XInternAtom(m_display.get(), "WM_DELETE_WINDOW", False));
    XSendEvent(m_display.get(), window.id, False, NoEventMask, &event);
    XSync(m_display.get(), False);
}

void XClient::giveKeyboard(const TopLevelWindow &window)
{
    XSetInputFocus(m_display.get(), window.id, RevertToPointerRoot, CurrentTime);
    XSync(m_display.get(), False);
}

void XClient::placeWindow(const TopLevelWindow &window, const QRect &place)
{
    XMoveResizeWindow(m_display.get(), window.id, place.x(), place.y(),
                      static_cast<unsigned>(place.width()), static_cast<unsigned>(place.height()));
    XSync(m_display.get(), False);
}

void XClient::paintRoot(QRgb color)
{
    const Window root = XDefaultRootWindow(m_display.get());
    XSetWindowBackground(m_display.get(), root, color & 0xffffff);
    XClearWindow(m_display.get(), root);
    XSync(m_display.get(), False);
}

void XClient::Close::operator()(_XDisplay *display) const
{
    XCloseDisplay(display);
}

void XClient::sendKey(int evdevCode, bool down)
{
    XTestFakeKeyEvent(m_display.get(), static_cast<unsigned>(evdevCode + EVDEV_OFFSET), down,
                      CurrentTime);
    XSync(m_display.get(), False);
}

void XClient::sendButton(int button, bool down)
{
    XTestFakeButtonEvent(m_display.get(), static_cast<unsigned>(button), down, CurrentTime);
    XSync(m_display.get(), False);
}

} // namespace tavolin
