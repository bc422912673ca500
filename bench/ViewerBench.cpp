// What the main thread spends: on showing a picture, also while both queues decode, and on opening
// a huge folder. Runs on the platform that QT_QPA_PLATFORM names (offscreen without one).

#include "app/Viewer.h"
#include "browse/ImageList.h"
#include "DecodeAlone.h"
#include "decoding/Decoding.h"
#include "editing/CropOverlayView.h"
#include "editing/EditOp.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "platform/Mailbox.h"
#include "platform/SerialQueue.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QWidget>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace tavolin;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr QSize FULL_HD(1920, 1080);
constexpr QSize FOUR_K(3840, 2160);
constexpr int FILES = 100'000;
/// Long enough for the main thread to come to rest after the key, before the picture arrives.
constexpr std::chrono::milliseconds DECODE_TIME(5);

/// Runs @p benchmark on a screen of either size.
void onBothScreens(benchmark::internal::Benchmark *benchmark)
{
    for (const QSize screen : {FULL_HD, FOUR_K})
        benchmark->Args({screen.width(), screen.height()});
    benchmark->Unit(benchmark::kMillisecond);
}

QSize screenOf(const benchmark::State &state)
{
    return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
}

/// A folder of @p count empty files.
class Folder
{
public:
    explicit Folder(int count)
    {
        for (int i = 0; i < count; ++i)
            std::ofstream(path() / ("IMG_" + std::to_string(i) + ".jpg"));
    }
    [[nodiscard]] std::filesystem::path path() const { return m_folder.path().toStdString(); }

private:
    QTemporaryDir m_folder;
};

const Folder &hugeFolder()
{
    static const Folder made(FILES);
    return made;
}

/// Sees when the viewer's picture has been asked to paint itself.
class PaintWatch : public QObject
{
public:
    PaintWatch() { QCoreApplication::instance()->installEventFilter(this); }

    void reset() { m_isPainted = false; }
    [[nodiscard]] bool isPainted() const { return m_isPainted; }

    bool eventFilter(QObject *receiver, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && dynamic_cast<ViewerView *>(receiver))
            m_isPainted = true;
        return false;
    }

private:
    bool m_isPainted = false;
};

/// A viewer on a folder, as large as @p screen, whose decoder hands out pictures made beforehand,
/// so that only the main thread's part is left to measure.
class Stage : public InProcessReader
{
public:
    Stage(const std::filesystem::path &folder, QSize screen)
        : Stage(folder, screen,
                QSize(3, 2).scaled(QSize(MAX_DISPLAY_PIXELS, MAX_DISPLAY_PIXELS)
                                       .boundedTo({screen.width(), screen.width()}),
                                   Qt::KeepAspectRatio))
    {}
    Stage(const std::filesystem::path &folder, QSize screen, QSize displaySize)
    {
        const QImage drawn = pictures::drawPicture({.size = displaySize});
        PixelBuffer pixels(drawn.size());
        for (int y = 0; y < drawn.height(); ++y)
            std::memcpy(pixels.row(y), drawn.constScanLine(y),
                        static_cast<std::size_t>(drawn.bytesPerLine()));
        m_picture.image = std::move(pixels).toImage(Alpha::Opaque);
        m_picture.rendition = makeRendition(m_picture.image, QRectF({0, 0}, screen), 1);
        m_viewer.applicationDidFinishLaunching({.path = folder, .isBench = true});
        for (QWidget *window : QApplication::topLevelWidgets())
            window->setGeometry(QRect({0, 0}, screen));
        settle();
    }

    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &,
                                                    const DisplayTarget &, Urgency,
                                                    std::stop_token) const override
    {
        m_lastDecodeStart = Clock::now();
        std::this_thread::sleep_for(DECODE_TIME);
        return m_picture;
    }

    Viewer &viewer() { return m_viewer; }
    Clock::time_point lastDecodeStart() const { return m_lastDecodeStart; }

    /// Lets the viewer come to rest.
    void settle()
    {
        for (int i = 0; i < 3; ++i) {
            awaitDecode();
            QApplication::processEvents();
        }
    }

    /// Gives a decode that was asked for the time to be handed back, without running the event
    /// loop.
    static void awaitDecode() { std::this_thread::sleep_for(2 * DECODE_TIME); }

private:
    DisplayPicture m_picture;
    mutable std::atomic<Clock::time_point> m_lastDecodeStart;
    Mailbox m_mailbox;
    Viewer m_viewer{m_mailbox, *this};
};

/// Decodes a 24-megapixel file over and over on both kinds of queue.
class Decoding
{
public:
    Decoding()
    {
        const QByteArray jpeg = pictures::encodeJpeg(pictures::drawPicture({.size = {6000, 4000}}));
        std::ofstream(m_file, std::ios::binary).write(jpeg.constData(), jpeg.size());
        m_load.post([this](const std::stop_token &stop) { decode(stop); });
        m_prefetch.post([this](const std::stop_token &stop) { decode(stop); });
    }

private:
    void decode(const std::stop_token &stop) const
    {
        while (!stop.stop_requested())
            benchmark::DoNotOptimize(loadDisplayPicture(
                m_file, {.maxPixel = 1920, .area = QRectF({0, 0}, FULL_HD), .scale = 1}, stop));
    }

    Folder m_folder{0};
    std::filesystem::path m_file = m_folder.path() / "24mp.jpg";
    SerialQueue m_load{"load", QualityOfService::UserInitiated};
    SerialQueue m_prefetch{"prefetch", QualityOfService::Utility};
};

void baselineCopyOfTheScreen(benchmark::State &state)
{
    const QSize screen = screenOf(state);
    std::vector<Pixel> from(static_cast<std::size_t>(screen.width() * screen.height()), 1);
    std::vector<Pixel> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof(Pixel));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(baselineCopyOfTheScreen)->Apply(onBothScreens)->UseRealTime();

/// The main thread's time for one @p action and all that follows from it up to the painted window;
/// the worst one stands in the counter maxMs.
template <typename Before, typename Action>
void measureShowing(benchmark::State &state, Before before, Action action)
{
    PaintWatch watch;
    double longest = 0;
    for (auto _ : state) {
        before();
        watch.reset();
        const auto start = Clock::now();
        action();
        do
            QApplication::processEvents();
        while (!watch.isPainted());
        const double seconds = Seconds(Clock::now() - start).count();
        longest = std::max(longest, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["maxMs"] = longest * 1000;
}

/// From the completed decode to the painted window.
void measureNewPicture(benchmark::State &state)
{
    const Folder folder(2000);
    Stage stage(folder.path(), screenOf(state));
    measureShowing(
        state,
        [&] {
            stage.viewer().browser().navigate(+1);
            QApplication::processEvents();
            Stage::awaitDecode();
        },
        [] {});
}

void newPicture(benchmark::State &state)
{
    measureNewPicture(state);
}
BENCHMARK(newPicture)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

void newPictureWhileBothQueuesDecode(benchmark::State &state)
{
    const Decoding decoding;
    measureNewPicture(state);
}
BENCHMARK(newPictureWhileBothQueuesDecode)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

/// From the key to the painted window, when the picture is in the cache.
void cacheHit(benchmark::State &state)
{
    const Folder folder(10);
    Stage stage(folder.path(), screenOf(state));
    stage.viewer().browser().navigate(+1);
    stage.settle();
    int step = 1;
    measureShowing(
        state, [&] { step = -step; }, [&] { stage.viewer().browser().navigate(step); });
}
BENCHMARK(cacheHit)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

/// From the call to the painted window: a position that counts up, and a message as wide as the
/// screen.
void measureLabel(benchmark::State &state, const std::function<void(Labels &, int)> &change)
{
    const Folder folder(10);
    Stage stage(folder.path(), screenOf(state));
    int number = 0;
    measureShowing(
        state, [&] { ++number; }, [&] { change(stage.viewer().labels(), number); });
}

void changingTheInfoLine(benchmark::State &state)
{
    measureLabel(state, [](Labels &labels, int number) {
        labels.showInfo(u"%1/2000 | IMG_%1.jpg   [H=วิธีใช้]"_s.arg(number));
    });
}
BENCHMARK(changingTheInfoLine)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

void changingAMessageAsWideAsTheScreen(benchmark::State &state)
{
    measureLabel(state, [](Labels &labels, int number) {
        labels.showStatus(u"❌ %1 "_s.arg(number) + u"บันทึกไม่ได้ "_s.repeated(100), false);
    });
}
BENCHMARK(changingAMessageAsWideAsTheScreen)
    ->Apply(onBothScreens)
    ->UseManualTime()
    ->Iterations(300);

/// One move of the mouse in the loupe, over a picture of 24 megapixels, up to the painted window.
void measurePanning(benchmark::State &state, const QByteArray &jpeg)
{
    using namespace std::chrono_literals;
    const Folder folder(0);
    std::ofstream(folder.path() / "24mp.jpg", std::ios::binary)
        .write(jpeg.constData(), jpeg.size());
    const QSize screen = screenOf(state);
    Stage stage(folder.path(), screen);
    const QPointF middle(screen.width() / 2.0, screen.height() / 2.0);
    stage.viewer().loupe().zoomBegin(middle);
    for (const auto end = Clock::now() + 3s; Clock::now() < end;) {
        Stage::awaitDecode();
        QApplication::processEvents();
    }
    QPointF position = middle;
    double direction = 3;
    measureShowing(
        state,
        [&] {
            if (std::abs(position.x() - middle.x()) > screen.width() / 4.0)
                direction = -direction;
            position += QPointF(direction, direction / 2);
        },
        [&] { stage.viewer().loupe().zoomDrag(position); });
    stage.viewer().loupe().zoomEnd();
}

void panningTheFullPicture(benchmark::State &state)
{
    measurePanning(state, pictures::encodeJpeg(pictures::drawPicture({.size = {6000, 4000}})));
}
BENCHMARK(panningTheFullPicture)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

/// Before the full picture has been decoded; here it never is, the file ends after its header.
void panningTheStretchedPicture(benchmark::State &state)
{
    const QByteArray jpeg =
        pictures::encodeJpeg(pictures::drawPicture({.size = {6000, 4000}, .detailed = false}));
    measurePanning(state, jpeg.left(jpeg.indexOf("\xff\xda")));
}
BENCHMARK(panningTheStretchedPicture)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

/// One move of the mouse with the crop box, up to the painted window: of its corner, so that nearly
/// the whole picture changes, or of all of it. @p start is where on a screen of FULL_HD.
void measureCropDrag(benchmark::State &state, QPointF start)
{
    const Folder folder(10);
    const QSize screen = screenOf(state);
    const double enlargement = static_cast<double>(screen.width()) / FULL_HD.width();
    start *= enlargement;
    Stage stage(folder.path(), screen);
    QWidget *view = nullptr;
    for (QWidget *widget : QApplication::allWidgets()) {
        if (dynamic_cast<ViewerView *>(widget))
            view = widget;
    }
    CropOverlayView overlay({.fitRect = [&] { return stage.viewer().screen().fitRect(); },
                             .imagePixelScale = [] { return 3.7; }},
                            view);
    overlay.resize(view->size());
    overlay.show();
    const auto send = [&](QEvent::Type type, QPointF position) {
        QMouseEvent event(type, position, position, Qt::LeftButton, Qt::LeftButton, {});
        QApplication::sendEvent(&overlay, &event);
    };
    overlay.setBox({QPointF(200, 100) * enlargement, QSizeF(1500, 800) * enlargement});
    send(QEvent::MouseButtonPress, start);
    double step = 0;
    measureShowing(
        state, [&] { step = step < 300 ? step + 3.25 : 0; },
        [&] { send(QEvent::MouseMove, start + QPointF(step, step / 2)); });
}

void draggingACornerOfTheCropBox(benchmark::State &state)
{
    measureCropDrag(state, {200, 100});
}
BENCHMARK(draggingACornerOfTheCropBox)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

void movingTheCropBox(benchmark::State &state)
{
    measureCropDrag(state, {900, 500});
}
BENCHMARK(movingTheCropBox)->Apply(onBothScreens)->UseManualTime()->Iterations(300);

void press(Viewer &viewer, Qt::Key key)
{
    viewer.handleKey(QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier));
}

/// One press of a rotate key, up to the painted window: a display picture as large as they get.
void turningThePictureUnderTheCropBox(benchmark::State &state)
{
    const Folder folder(1);
    Stage stage(folder.path(), screenOf(state), {2560, 1707});
    press(stage.viewer(), Qt::Key_X);
    int turns = 0;
    measureShowing(
        state, [&] { ++turns; },
        [&] {
            const bool clockwise = turns / 20 % 2 == 0;
            press(stage.viewer(), clockwise ? Qt::Key_BracketRight : Qt::Key_BracketLeft);
        });
}
BENCHMARK(turningThePictureUnderTheCropBox)->Apply(onBothScreens)->UseManualTime()->Iterations(100);

/// From Return to the painted result: a crop with a rotation by 5° of a file of 24 megapixels. Its
/// baseline, libjpeg-turbo decoding that file and then our rotation alone, runs in the same loop.
void applyingACropWithRotation(benchmark::State &state)
{
    const Folder folder(0);
    const auto file = folder.path() / "24mp.jpg";
    const QByteArray jpeg = pictures::encodeJpeg(pictures::drawPicture({.size = {6000, 4000}}));
    std::ofstream(file, std::ios::binary).write(jpeg.constData(), jpeg.size());
    const Image whole = loadFullImage(file);

    Mailbox mailbox;
    const InProcessReader reader;
    Viewer viewer(mailbox, reader);
    viewer.applicationDidFinishLaunching({.path = {}, .isBench = true});
    for (QWidget *window : QApplication::topLevelWidgets())
        window->setGeometry(QRect({0, 0}, FULL_HD));
    const auto waitForOtherContents = [&](const Image &contents) {
        while (viewer.screen().imageLayer().contents.isSameAs(contents))
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    PaintWatch watch;
    double fastest = 1e9;
    double fastestBaseline = 1e9;
    for (auto _ : state) {
        const auto start = Clock::now();
        decodeAlone(file, 8);
        benchmark::DoNotOptimize(rotateInscribed(whole, 5));
        fastestBaseline = std::min(fastestBaseline, Seconds(Clock::now() - start).count());

        const Image before = viewer.screen().imageLayer().contents;
        viewer.browser().openPath(file);
        waitForOtherContents(before);
        press(viewer, Qt::Key_X);
        for (int i = 0; i < 10; ++i)
            press(viewer, Qt::Key_BracketRight);
        QApplication::processEvents();
        const Image preview = viewer.screen().imageLayer().contents;
        const auto applied = Clock::now();
        press(viewer, Qt::Key_Return);
        waitForOtherContents(preview);
        watch.reset();
        do
            QApplication::processEvents();
        while (!watch.isPainted());
        const double seconds = Seconds(Clock::now() - applied).count();
        fastest = std::min(fastest, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["baselineMs"] = 1000 * fastestBaseline;
    state.counters["fastestMs"] = 1000 * fastest;
    state.counters["ratio"] = fastest / fastestBaseline;
}
BENCHMARK(applyingACropWithRotation)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(15);

void baselineListingOf100000(benchmark::State &state)
{
    const std::filesystem::path folder = hugeFolder().path();
    for (auto _ : state)
        benchmark::DoNotOptimize(listFolder(folder));
}
BENCHMARK(baselineListingOf100000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// From the call to the start of the first picture's decode.
void openingOf100000(benchmark::State &state)
{
    Stage stage(hugeFolder().path(), FULL_HD);
    for (auto _ : state) {
        const auto start = Clock::now();
        stage.viewer().browser().openPath(hugeFolder().path());
        while (stage.lastDecodeStart() < start)
            QApplication::processEvents(); // the list comes
        state.SetIterationTime(Seconds(stage.lastDecodeStart() - start).count());
        stage.settle();
    }
}
BENCHMARK(openingOf100000)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
