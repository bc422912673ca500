#pragma once
// A viewer on the offscreen platform, with real events and a decoder that obeys the test.

#include "app/FakeDecoder.h"
#include "app/FakeTrash.h"
#include "app/LaunchOptions.h"
#include "app/Viewer.h"
#include "logic/PngFile.h"
#include "logic/TemporaryFolder.h"
#include "platform/Mailbox.h"

#include <QImage>
#include <QKeyEvent>
#include <QString>
#include <QtTest>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class QMainWindow;

namespace tavolin {

class FolderChooser;
class TextLabel;
class ViewerView;

namespace test {

/// Serves events until @p predicate says true. False when it has not after a generous time.
template <typename Predicate>
[[nodiscard]] bool waitFor(Predicate predicate)
{
    constexpr int LIMIT_MS = 20'000;
    return QTest::qWaitFor(predicate, LIMIT_MS);
}

/// Waits as waitFor() does, but serves no events.
template <typename Predicate>
[[nodiscard]] bool waitWithoutEvents(Predicate predicate)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/// Serves all that is in the event queue, and what was to happen "as soon as possible".
void serveWaitingEvents();

/// Whether @p action, done while the event loop runs, makes it end as a quit does.
[[nodiscard]] bool endsTheApplication(const std::function<void()> &action);

/// A mailbox that says how often it has delivered: each load delivers once. Lists don't count.
class CountingMailbox : public Mailbox
{
public:
    bool event(QEvent *event) override
    {
        m_isList = false;
        const bool hasDelivered = Mailbox::event(event);
        deliveries += hasDelivered && !m_isList ? 1 : 0;
        return hasDelivered;
    }

    /// Says that what is being delivered is a list.
    void noteList() { m_isList = true; }

    int deliveries = 0;

private:
    bool m_isList = false;
};

/// After the last picture shown: until its neighbours are decoded, and until its facts are read.
inline constexpr std::chrono::milliseconds PREFETCH_PAUSE{150};
inline constexpr std::chrono::milliseconds INFO_PAUSE{250};

/// Keeps those two pauses from ending before the test wants it, however slow the machine is.
class HeldPauses : public QObject
{
public:
    HeldPauses();

    /// Lets the pause of @p length end, once it has lasted that long. False when there is none.
    [[nodiscard]] bool end(std::chrono::milliseconds length);

    /// What runs the pause of @p length, once it has lasted that long; null when there is none.
    [[nodiscard]] QTimer *held(std::chrono::milliseconds length);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::chrono::milliseconds m_ending{}; // the pause that may end; 0: none
    std::map<std::chrono::milliseconds, QTimer *> m_held;
};

class ViewerFixture : public testing::Test
{
protected:
    ViewerFixture();
    ~ViewerFixture() override;

    /// Makes the viewer anew, with @p with as its reader.
    void makeViewer(const PictureReader &with);

    /// Starts the viewer with the arguments of a command line, as the program does, and waits until
    /// what they name has been listed.
    void start(std::vector<std::string> arguments);

    /// Opens @p path and waits until it has been listed.
    void open(const std::filesystem::path &path);
    [[nodiscard]] bool waitUntilOpened() const;

    /// Starts it in a window on a folder with pictures 0 to @p count − 1, at picture @p first, and
    /// waits until that is on the screen.
    [[nodiscard]] testing::AssertionResult startOnPictures(int count, int first = 0);

    /// The same without waiting.
    void startLoading(int count, int first = 0);

    /// Makes files for the pictures @p first to @p last, if any, in a new folder called @p name.
    /// The files themselves are pictures of 3x2 pixels.
    std::filesystem::path makePictures(const std::string &name, int first, int last) const;

    /// The number of the picture in the middle of the view; none if that is black.
    [[nodiscard]] std::optional<int> shownNumber() const;
    [[nodiscard]] QImage grabView() const;

    /// Waits until @p count decodes have begun, or @p count times results have been seen by the
    /// viewer. With neighbours decoded too, results may come more than one at a time.
    [[nodiscard]] bool waitForStarts(std::size_t count) const;
    [[nodiscard]] bool waitForLoads(int count) const;
    /// Lets the pause end and waits until the results of @p count decodes ahead have been seen.
    [[nodiscard]] bool prefetch(int count);

    /// Waits until the status line is @p text.
    [[nodiscard]] bool waitForStatus(const std::string &text) const;
    /// Waits until all work on files that has been asked for has ended.
    [[nodiscard]] bool waitForFileWork() const;

    /// Gives the window @p size and waits until the view has it.
    [[nodiscard]] bool resizeTo(QSize size) const;

    /// Puts another file where that of picture @p number of startOnPictures() is.
    void replaceFile(int number, const QByteArray &content) const;

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    /// Hands @p event to the view; true if somebody took it.
    bool send(QKeyEvent event) const;

    [[nodiscard]] std::string infoText() const;
    [[nodiscard]] std::string detailText() const;
    [[nodiscard]] std::string statusText() const;
    [[nodiscard]] static std::vector<FolderChooser *> openDialogs();

    test::TemporaryFolder folder;
    test::FakeDecoder decoder;
    InProcessReader reader; // for tests that want real pictures
    test::FakeTrash trash{folder / "trash"};
    CountingMailbox mailbox;
    HeldPauses pauses;
    std::unique_ptr<Viewer> viewer;
    QMainWindow *window = nullptr; // these belong to the viewer
    ViewerView *view = nullptr;
    TextLabel *infoLabel = nullptr;
    TextLabel *detailLabel = nullptr;
    TextLabel *statusLabel = nullptr;
};

/// The press of a real key with the symbol @p symbol. @p evdev and @p mac are its position; the
/// system at hand reports one of them, as its Qt does.
[[nodiscard]] QKeyEvent pressAt(quint32 evdev, quint32 mac, int symbol,
                                Qt::KeyboardModifiers modifiers = Qt::NoModifier);

} // namespace test

} // namespace tavolin
