#include "app/ViewerFixture.h"

#include "browse/FolderChooser.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QPixmap>

#include <cstdio>

using namespace std::chrono_literals;

namespace tavolin::test {

namespace {

/// The file name of picture @p number: three digits, so that names sort as numbers do.
std::string fileName(int number)
{
    char name[16];
    std::snprintf(name, sizeof name, "%03d.jpg", number);
    return name;
}

/// A picture of 3x2 pixels, whatever the name of the file says.
QByteArray smallFile()
{
    QImage image(3, 2, QImage::Format_RGB32);
    image.fill(Qt::black);
    return pngFile(image);
}

} // namespace

void serveWaitingEvents()
{
    bool isServed = false;
    QTimer::singleShot(0, qApp, [&isServed] { isServed = true; });
    ASSERT_TRUE(waitFor([&isServed] { return isServed; }));
}

bool endsTheApplication(const std::function<void()> &action)
{
    constexpr int GIVEN_UP = 1;
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &limit, [] { QCoreApplication::exit(GIVEN_UP); });
    limit.start(std::chrono::seconds(20));
    QTimer::singleShot(0, &limit, action);
    return QApplication::exec() == 0;
}

HeldPauses::HeldPauses()
{
    qApp->installEventFilter(this);
}

bool HeldPauses::end(std::chrono::milliseconds length)
{
    m_ending = length;
    return waitFor([this] { return m_ending.count() == 0; });
}

QTimer *HeldPauses::held(std::chrono::milliseconds length)
{
    m_held.clear();
    return waitFor([&] { return m_held.contains(length); }) ? m_held[length] : nullptr;
}

bool HeldPauses::eventFilter(QObject *watched, QEvent *event)
{
    // An event that a worker has posted is not to be read here: see Mailbox.
    auto *timer = qobject_cast<QTimer *>(watched);
    if (!timer || event->type() != QEvent::Timer)
        return false;
    const auto length = timer->intervalAsDuration();
    if (length != PREFETCH_PAUSE && length != INFO_PAUSE)
        return false;
    if (length == m_ending) {
        m_ending = 0ms;
        return false;
    }
    m_held[length] = timer; // which doesn't see its event, so it goes on, and comes again
    return true;
}

ViewerFixture::ViewerFixture()
{
    makeViewer(decoder);
}

ViewerFixture::~ViewerFixture()
{
    trash.openGate(); // the viewer's end waits for the move that is under way
}

void ViewerFixture::makeViewer(const PictureReader &with)
{
    viewer = std::make_unique<Viewer>(mailbox, with, trash.trash());
    QObject::connect(&viewer->browser(), &Browser::openingEnded, &mailbox,
                     [this] { mailbox.noteList(); });
}

void ViewerFixture::open(const std::filesystem::path &path)
{
    viewer->browser().openPath(path);
    EXPECT_TRUE(waitUntilOpened());
}

bool ViewerFixture::waitUntilOpened() const
{
    return waitFor([this] { return !viewer->browser().isOpening(); });
}

void ViewerFixture::start(std::vector<std::string> arguments)
{
    std::vector<char *> pointers;
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    viewer->applicationDidFinishLaunching(readLaunchOptions(pointers));
    ASSERT_TRUE(waitUntilOpened());

    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *candidate = qobject_cast<QMainWindow *>(widget))
            window = candidate;
    }
    ASSERT_NE(window, nullptr);
    view = window->findChild<ViewerView *>();
    ASSERT_NE(view, nullptr);
    std::vector<TextLabel *> labels;
    for (QWidget *child : view->findChildren<QWidget *>()) {
        if (auto *label = dynamic_cast<TextLabel *>(child))
            labels.push_back(label);
    }
    ASSERT_EQ(labels.size(), 3U);
    infoLabel = labels[0];
    detailLabel = labels[1];
    statusLabel = labels[2];
}

testing::AssertionResult ViewerFixture::startOnPictures(int count, int first)
{
    startLoading(count, first);
    if (!waitForLoads(1))
        return testing::AssertionFailure() << "the first picture is not loaded";
    if (shownNumber() != first)
        return testing::AssertionFailure() << "the first picture is not shown";
    return testing::AssertionSuccess();
}

void ViewerFixture::startLoading(int count, int first)
{
    const auto pictures = makePictures("pictures", 0, count - 1);
    start({"--bench", pictures / fileName(first)});
}

std::filesystem::path ViewerFixture::makePictures(const std::string &name, int first,
                                                  int last) const
{
    const QByteArray content = smallFile();
    std::filesystem::create_directory(folder / name);
    for (int number = first; number <= last; ++number)
        folder.write(name + '/' + fileName(number), content);
    return folder / name;
}

std::optional<int> ViewerFixture::shownNumber() const
{
    const QImage image = grabView();
    const QRgb pixel = image.pixel(image.width() / 2, image.height() / 2);
    if (pixel == qRgb(0, 0, 0))
        return {};
    const auto number = numberOf(pixel);
    EXPECT_TRUE(number) << "neither black nor one of the pictures";
    return number;
}

QImage ViewerFixture::grabView() const
{
    return view->grab().toImage();
}

bool ViewerFixture::waitForStarts(std::size_t count) const
{
    return waitFor([&] { return decoder.started().size() == count; });
}

bool ViewerFixture::waitForLoads(int count) const
{
    return waitFor([&] { return mailbox.deliveries == count; });
}

bool ViewerFixture::prefetch(int count)
{
    decoder.closeGate();
    if (!pauses.end(PREFETCH_PAUSE))
        return false;
    // One by one, as results that come together are seen together.
    for (int i = 0; i < count; ++i) {
        const int seen = mailbox.deliveries;
        decoder.letOneThrough();
        if (!waitForLoads(seen + 1))
            return false;
    }
    decoder.openGate();
    return true;
}

bool ViewerFixture::waitForStatus(const std::string &text) const
{
    return waitFor([&] { return statusText() == text; });
}

bool ViewerFixture::waitForFileWork() const
{
    return waitFor([&] { return viewer->fileWork().jobs().isEmpty(); });
}

bool ViewerFixture::resizeTo(QSize size) const
{
    window->resize(size);
    return waitFor([&] { return view->size() == size; });
}

void ViewerFixture::replaceFile(int number, const QByteArray &content) const
{
    folder.write("pictures/" + fileName(number), content);
}

void ViewerFixture::press(Qt::Key key, Qt::KeyboardModifiers modifiers) const
{
    QTest::keyClick(view, key, modifiers);
}

bool ViewerFixture::send(QKeyEvent event) const
{
    QCoreApplication::sendEvent(view, &event);
    return event.isAccepted();
}

std::string ViewerFixture::infoText() const
{
    return infoLabel->text().toStdString();
}

std::string ViewerFixture::detailText() const
{
    return detailLabel->text().toStdString();
}

std::string ViewerFixture::statusText() const
{
    return statusLabel->text().toStdString();
}

std::vector<FolderChooser *> ViewerFixture::openDialogs()
{
    std::vector<FolderChooser *> dialogs;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        auto *dialog = qobject_cast<FolderChooser *>(widget);
        if (dialog && dialog->isVisible())
            dialogs.push_back(dialog);
    }
    return dialogs;
}

QKeyEvent pressAt(quint32 evdev, quint32 mac, int symbol, Qt::KeyboardModifiers modifiers)
{
#ifdef Q_OS_MACOS
    Q_UNUSED(evdev);
    return {QEvent::KeyPress, symbol, modifiers, 1, mac, 0};
#else
    Q_UNUSED(mac);
    return {QEvent::KeyPress, symbol, modifiers, evdev + 8, 0x61, 0};
#endif
}

} // namespace tavolin::test
