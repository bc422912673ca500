// What it costs that files are read in another process: the same work by a worker and in this
// process.

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"
#include "platform/SerialQueue.h"
#include "worker/client/WorkerReader.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

using namespace tavolin;

constexpr QSize SENSOR(6000, 4000);
const DisplayTarget FULL_HD{.maxPixel = 1920, .area = QRectF(0, 0, 1920, 1080)};
const DisplayTarget UHD{.maxPixel = 2560, .area = QRectF(0, 0, 3840, 2160)};

/// A JPEG of 24 megapixels, whose bytes the system has in memory.
const std::filesystem::path &picture()
{
    static const QTemporaryDir folder;
    static const std::filesystem::path path = [] {
        std::filesystem::path made = folder.filePath(QStringLiteral("IMG_1.jpg")).toStdString();
        const pictures::PictureSpec spec{.size = SENSOR};
        pictures::writePicture(pictures::drawPicture(spec), spec, made);
        return made;
    }();
    return path;
}

/// Made once: starting a worker is not what is measured.
const PictureReader &reader(bool isWorker)
{
    static const InProcessReader inProcess;
    static const WorkerReader workers;
    return isWorker ? static_cast<const PictureReader &>(workers) : inProcess;
}

template <bool IsWorker, typename Work>
void repeat(benchmark::State &state, const Work &work)
{
    const PictureReader &with = reader(IsWorker);
    if (!work(with)) {
        state.SkipWithError("no picture");
        return;
    }
    for ([[maybe_unused]] const auto &_ : state)
        benchmark::DoNotOptimize(work(with));
}

template <bool IsWorker>
void displayDecode(benchmark::State &state)
{
    repeat<IsWorker>(state, [](const PictureReader &with) {
        return !with.loadDisplayPicture(picture(), FULL_HD, Urgency::Now, {}).isNull();
    });
}

template <bool IsWorker>
void displayDecodeUhd(benchmark::State &state)
{
    repeat<IsWorker>(state, [](const PictureReader &with) {
        return !with.loadDisplayPicture(picture(), UHD, Urgency::Now, {}).isNull();
    });
}

/// In the colours of a monitor that is described by a matrix, as most are.
void displayDecodeUhdForAMonitor(benchmark::State &state)
{
    DisplayTarget target = UHD;
    target.profile = displayP3Profile();
    repeat<true>(state, [&target](const PictureReader &with) {
        return !with.loadDisplayPicture(picture(), target, Urgency::Now, {}).isNull();
    });
}

/// While the next pictures are decoded ahead without a rest.
void displayDecodeWhilePrefetching(benchmark::State &state)
{
    SerialQueue prefetch("prefetch", QualityOfService::Utility);
    prefetch.post([](const std::stop_token &stop) {
        while (!stop.stop_requested())
            benchmark::DoNotOptimize(
                reader(true).loadDisplayPicture(picture(), FULL_HD, Urgency::Ahead, stop));
    });
    displayDecode<true>(state);
}

/// What takes the place of a stretched rendition once the user rests.
template <bool IsWorker>
void sharpRendition(benchmark::State &state)
{
    DisplayTarget target = UHD;
    target.exactly = {3239, 2160};
    repeat<IsWorker>(state, [&target](const PictureReader &with) {
        return !with.loadDisplayPicture(picture(), target, Urgency::Ahead, {}).isNull();
    });
}

template <bool IsWorker>
void wholeDecode(benchmark::State &state)
{
    repeat<IsWorker>(state, [](const PictureReader &with) {
        return !with.loadFullImage(picture(), KEPT, {}).isNull();
    });
}

template <bool IsWorker>
void facts(benchmark::State &state)
{
    repeat<IsWorker>(state, [](const PictureReader &with) {
        return with.readPhotoFacts(picture(), Urgency::Now, {}).has_value();
    });
}

BENCHMARK(displayDecode<false>)->Name("displayDecode/inProcess")->UseRealTime();
BENCHMARK(displayDecode<true>)->Name("displayDecode/worker")->UseRealTime();
BENCHMARK(displayDecodeWhilePrefetching)->UseRealTime();
BENCHMARK(displayDecodeUhd<false>)->Name("displayDecodeUhd/inProcess")->UseRealTime();
BENCHMARK(displayDecodeUhd<true>)->Name("displayDecodeUhd/worker")->UseRealTime();
BENCHMARK(displayDecodeUhdForAMonitor)->UseRealTime();
BENCHMARK(sharpRendition<false>)->Name("sharpRendition/inProcess")->UseRealTime();
BENCHMARK(sharpRendition<true>)->Name("sharpRendition/worker")->UseRealTime();
BENCHMARK(wholeDecode<false>)->Name("wholeDecode/inProcess")->UseRealTime();
BENCHMARK(wholeDecode<true>)->Name("wholeDecode/worker")->UseRealTime();
BENCHMARK(facts<false>)->Name("facts/inProcess")->UseRealTime();
BENCHMARK(facts<true>)->Name("facts/worker")->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // for the text on the picture
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
