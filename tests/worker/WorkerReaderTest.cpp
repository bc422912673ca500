// The client with a worker that does what files tell it (see FakeWorker.cpp).

#include "worker/client/WorkerReader.h"

#include "e2e/WaitUntil.h"
#include "logic/Printing.h"
#include "logic/TemporaryFolder.h"
#include "platform/RegularFile.h"
#include "Processes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/wait.h>

namespace tavolin {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace test;
using worker::IS_SANITIZED;

const fs::path FAKE_WORKER = FAKE_WORKER_PROGRAM;

/// What the fake worker paints.
constexpr Pixel COLOR = 0xff336699;
constexpr int LIMIT = 1000;

testing::AssertionResult isPainted(const Image &image, QSize size)
{
    if (image.size() != size)
        return testing::AssertionFailure() << image.width() << 'x' << image.height();
    for (int y = 0; y < size.height(); ++y)
        if (std::any_of(image.row(y), image.row(y) + size.width(),
                        [](Pixel pixel) { return pixel != COLOR; }))
            return testing::AssertionFailure() << "another colour in row " << y;
    return testing::AssertionSuccess();
}

/// Reaps what has ended.
bool hasNoChild()
{
    pid_t child = 0;
    do
        child = waitpid(-1, nullptr, WNOHANG);
    while (child > 0);
    return child < 0 && errno == ECHILD;
}

/// Every test must leave neither a child nor a word.
class HostileWorker : public testing::Test
{
protected:
    void SetUp() override
    {
        // A sanitizer's report is to be seen.
        if (!IS_SANITIZED)
            testing::internal::CaptureStderr();
        m_reader = std::make_unique<WorkerReader>(FAKE_WORKER);
    }

    void TearDown() override
    {
        m_reader.reset();
        // On a busy machine a child can take longer to end than the reader waits for it.
        EXPECT_TRUE(waitUntil(hasNoChild));
        if (!IS_SANITIZED) {
            EXPECT_EQ(testing::internal::GetCapturedStderr(), said);
        }
    }

    [[nodiscard]] const WorkerReader &reader() const { return *m_reader; }
    void endReader() { m_reader.reset(); }
    void setReader(const fs::path &program) { m_reader = std::make_unique<WorkerReader>(program); }

    /// A file that tells a worker to follow @p orders.
    [[nodiscard]] fs::path file(const std::string &orders = {}, const std::string &name = "a.jpg")
    {
        return folder.write(name, QByteArray::fromStdString(orders));
    }

    /// A file in a folder of its own.
    [[nodiscard]] fs::path fileElsewhere(const std::string &elsewhere) const
    {
        fs::create_directories(folder / elsewhere);
        return folder.write(elsewhere + "/b.jpg");
    }

    [[nodiscard]] Image thumbnail(const fs::path &path, std::stop_token stop = {}) const
    {
        return reader().loadThumbnail(path, LIMIT, Urgency::Now, std::move(stop));
    }
    [[nodiscard]] Image full(const fs::path &path, std::stop_token stop = {}) const
    {
        return reader().loadFullImage(path, QByteArray(), std::move(stop));
    }

    /// The worker that answers for facts.
    [[nodiscard]] pid_t pidForFacts(const fs::path &path) const
    {
        const auto facts = reader().readPhotoFacts(path, Urgency::Ahead, {});
        return facts ? static_cast<pid_t>(facts->metadata.iso.value_or(0)) : 0;
    }

    /// The order to note the worker's number, which noted() tells.
    [[nodiscard]] std::string note(const std::string &name = "note") const
    {
        return "note " + (folder / name).string() + '\n';
    }
    [[nodiscard]] std::vector<pid_t> noted(const std::string &name = "note") const
    {
        std::ifstream notes(folder / name);
        return {std::istream_iterator<pid_t>(notes), {}};
    }
    [[nodiscard]] bool isNoted(const std::string &name = "note") const
    {
        return waitUntil([&] { return !noted(name).empty(); });
    }

    const TemporaryFolder folder;
    std::string said;            ///< What is expected on standard error.
    std::stop_source stopSource; ///< Of the picture under way.

private:
    std::unique_ptr<WorkerReader> m_reader;
};

/// Orders, and a name for them.
struct Misdeed
{
    const char *name;
    std::string orders;

    friend void PrintTo(const Misdeed &misdeed, std::ostream *out) { *out << misdeed.orders; }
};

template <typename Named>
std::string nameOf(const testing::TestParamInfo<Named> &info)
{
    return info.param.name;
}

TEST_F(HostileWorker, FailureIsToldToWhoWatches)
{
    std::vector<WorkerFailure> failures;
    WorkerReader watched(FAKE_WORKER);
    watched.watchFailures(
        [&failures](const WorkerFailure &failure) { failures.push_back(failure); });
    const auto failureAt = [&](const std::string &orders) {
        failures.clear();
        EXPECT_TRUE(watched.loadThumbnail(file(orders), LIMIT).isNull()) << orders;
        return failures.size() == 1 ? failures.front() : WorkerFailure{.isLate = true};
    };
    EXPECT_EQ(failureAt("crash").signal, SIGABRT);
    EXPECT_EQ(failureAt("killed").signal, SIGKILL);
    EXPECT_TRUE(failureAt("exit 0").hasEnded);
    EXPECT_EQ(failureAt("exit 0").signal, std::nullopt);
    EXPECT_FALSE(failureAt("lie width=-1").hasEnded);
    EXPECT_FALSE(failureAt("lie width=-1").isLate);
    failureAt("fail");
    EXPECT_TRUE(failures.empty()) << "it has said itself that it can't";
}

TEST_F(HostileWorker, IsGoodWithoutOrders)
{
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
    EXPECT_TRUE(isPainted(full(file("size 700 900")), {700, 900}));
    EXPECT_EQ(reader().readPixelSize(file("size 30 20")), QSize(30, 20));
}

// --- Pictures

class PictureOfAHostileWorker : public HostileWorker, public testing::WithParamInterface<Misdeed>
{};

TEST_P(PictureOfAHostileWorker, IsNullForTheScreenAndTheNextIsGood)
{
    EXPECT_TRUE(thumbnail(file(GetParam().orders)).isNull());
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
}

TEST_P(PictureOfAHostileWorker, IsNullAtFullSizeAndTheNextIsGood)
{
    EXPECT_TRUE(full(file(GetParam().orders)).isNull());
    EXPECT_TRUE(isPainted(full(file()), {16, 16}));
}

INSTANTIATE_TEST_SUITE_P(
    Misdeeds, PictureOfAHostileWorker,
    testing::Values(
        Misdeed{"Failure", "fail"}, Misdeed{"Crash", "crash"}, Misdeed{"ExitWithSuccess", "exit 0"},
        Misdeed{"ExitWithFailure", "exit 3"}, Misdeed{"ClosedLifeline", "close lifeline"},
        Misdeed{"ClosedChannel", "close channel"}, Misdeed{"TruncatedReply", "truncate reply"},
        Misdeed{"TruncatedBlock", "send block0=100\ntruncate block"},
        Misdeed{"TwoAnswers", "answer twice"}, Misdeed{"EndlessAnswers", "answer forever"},
        Misdeed{"EndlessAnnouncements", "announce forever"}, Misdeed{"NumberZero", "lie number=0"},
        Misdeed{"NumberOfAnEarlierRequest", "lie number=1"},
        Misdeed{"LargestNumber", "lie number=4294967295"},
        Misdeed{"SecondAnnouncement", "lie outcome=2"}, Misdeed{"UnknownOutcome", "lie outcome=3"},
        Misdeed{"LargestOutcome", "lie outcome=4294967295"}, Misdeed{"NoWidth", "lie width=0"},
        Misdeed{"NegativeWidth", "lie width=-1"}, Misdeed{"LeastWidth", "lie width=-2147483648"},
        Misdeed{"LargestWidth", "lie width=2147483647"},
        Misdeed{"WidthAboveTheLimit", "lie width=200001\nlie height=1"},
        Misdeed{"NoHeight", "lie height=0"}, Misdeed{"NegativeHeight", "lie height=-1"},
        Misdeed{"LargestHeight", "lie height=2147483647"},
        Misdeed{"HeightAboveTheLimit", "lie height=200001\nlie width=1"},
        Misdeed{"TooManyPixels", "lie width=30001\nlie height=10000"},
        Misdeed{"LargestSides", "lie width=2147483647\nlie height=2147483647"},
        Misdeed{"UnknownAlpha", "lie alpha=2"}, Misdeed{"LargestAlpha", "lie alpha=4294967295"},
        Misdeed{"AlphaThatIsGoodInItsLastByte", "lie alpha=256"},
        Misdeed{"NegativeProfile", "lie block0=-1"},
        Misdeed{"LeastProfile", "lie block0=-9223372036854775808"},
        Misdeed{"ProfileAboveTheLimit", "send block0=16777217"},
        Misdeed{"LargestProfile", "lie block0=9223372036854775807"},
        Misdeed{"ProfileThatIsNotForRgb", "send block0=200"},
        Misdeed{"MoreInPlaceThanThereIsRoom", "in place\nsize 30001 10000"},
        Misdeed{"FailureAtTheRows", "rows fail"}, Misdeed{"CrashAtTheRows", "rows crash"},
        Misdeed{"CrashAtTheLastRows", "size 600 600\nrows crash"},
        Misdeed{"FailureAtTheLastRows", "size 600 600\nrows fail"},
        Misdeed{"TwoAnswersAtTheRows", "size 600 600\nrows answer twice\nrows fail"},
        Misdeed{"NumberAtTheRows", "size 600 600\nrows lie number=3"},
        Misdeed{"TruncatedReplyAtTheRows", "rows truncate reply"}),
    nameOf<Misdeed>);

class LastingMisdeed : public HostileWorker, public testing::WithParamInterface<Misdeed>
{};

TEST_P(LastingMisdeed, EndsWithAStopAndTheWorker)
{
    constexpr auto LONG = 8s; // less than the processor time that a worker has
    std::chrono::steady_clock::time_point stopped;
    std::thread stopper([&] {
        EXPECT_TRUE(isNoted());
        stopped = std::chrono::steady_clock::now();
        stopSource.request_stop();
    });
    // The stop must not come before the misdeed.
    const bool isAtTheRows = GetParam().orders.find("rows") != std::string::npos;
    const std::string orders = (isAtTheRows ? "rows " : "") + note() + GetParam().orders;
    EXPECT_TRUE(thumbnail(file(orders), stopSource.get_token()).isNull());
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - stopped, LONG);
    ASSERT_EQ(noted().size(), 1);
    EXPECT_TRUE(waitUntil([&] { return !isRunning(noted()[0]); }));
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
}

INSTANTIATE_TEST_SUITE_P(
    Misdeeds, LastingMisdeed,
    testing::Values(Misdeed{"Asleep", "hang asleep"}, Misdeed{"Busy", "hang busy"},
                    Misdeed{"LateAnswer", "answer late"},
                    Misdeed{"AByteNowAndThen", "send block0=100000\ntrickle block"},
                    Misdeed{"HalfAReply", "stall reply"},
                    Misdeed{"HalfAReplyAtTheLastRows", "size 600 600\nrows stall reply"},
                    Misdeed{"AsleepAtTheRows", "rows hang asleep"},
                    Misdeed{"BusyAtTheLastRows", "size 600 600\nrows hang busy"}),
    nameOf<Misdeed>);

TEST_F(HostileWorker, PictureAboveTheLimitThatWasAskedForIsNull)
{
    EXPECT_TRUE(thumbnail(file("size 1001 1")).isNull());
    EXPECT_TRUE(thumbnail(file("size 1 1001")).isNull());
    EXPECT_TRUE(isPainted(thumbnail(file("size 1000 1")), {1000, 1}));
}

TEST_F(HostileWorker, PictureOfOnePixelComes)
{
    EXPECT_TRUE(isPainted(thumbnail(file("size 1 1\nannounce 1 1")), {1, 1}));
    EXPECT_TRUE(isPainted(full(file("size 1 1\nannounce 1 1")), {1, 1}));
}

TEST_F(HostileWorker, PictureInPlaceIsTaken)
{
    EXPECT_TRUE(isPainted(thumbnail(file("in place\nsize 1000 700")), {1000, 700}));
    EXPECT_TRUE(isPainted(full(file("in place\nsize 2560 2560")), {2560, 2560}));
    EXPECT_TRUE(isPainted(full(file("in place\nsize 65536 100")), {65536, 100}));
    EXPECT_TRUE(isPainted(full(file("in place\nsize 8000 8000")), {8000, 8000}));
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
}

TEST_F(HostileWorker, PictureInPlaceIsOpaqueOrHasColorsBelowItsAlpha)
{
    EXPECT_TRUE(isPainted(thumbnail(file("in place\npaint 3368601")), {16, 16}));  // 0x00336699
    const Image image = thumbnail(file("in place\nlie alpha=1\npaint 285212671")); // 0x10ffffff
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.row(15)[15], 0x10101010);
}

TEST_F(HostileWorker, OpaquePictureIsOpaqueWhateverItPaints)
{
    EXPECT_TRUE(isPainted(thumbnail(file("paint 3368601")), {16, 16})); // 0x00336699
}

TEST_F(HostileWorker, ColoursAboveTheirAlphaAreBroughtUnderIt)
{
    const Image image = thumbnail(file("lie alpha=1\npaint 285212671")); // 0x10ffffff
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.row(0)[0], 0x10101010U);
}

TEST_F(HostileWorker, DisplayPictureIsNullWhenItCrashes)
{
    const DisplayTarget target{.maxPixel = LIMIT, .area = QRectF(0, 0, 100, 100)};
    EXPECT_TRUE(reader().loadDisplayPicture(file("crash"), target, Urgency::Ahead, {}).isNull());
    EXPECT_FALSE(reader().loadDisplayPicture(file(), target, Urgency::Ahead, {}).isNull());
}

TEST_F(HostileWorker, RenditionComesThroughTheRingOrFromItsPlace)
{
    const DisplayTarget target{.maxPixel = LIMIT, .area = QRectF(0, 0, 100, 100)};
    const std::string size = "size 600 300\nlie renditionWidth=100\nlie renditionHeight=50\n";
    const auto load = [&](const std::string &orders) {
        return reader().loadDisplayPicture(file(orders), target, Urgency::Ahead, {});
    };
    const DisplayPicture passed = load(size);
    EXPECT_TRUE(isPainted(passed.image, {600, 300}));
    EXPECT_TRUE(isPainted(passed.rendition, {100, 50}));
    const DisplayPicture inPlace = load(size + "in place\nlie renditionPlace=1");
    EXPECT_TRUE(isPainted(inPlace.image, {600, 300}));
    EXPECT_TRUE(isPainted(inPlace.rendition, {100, 50}));
    EXPECT_EQ(load(size + "lie renditionPlace=2").rendition.size(), QSize(100, 50));
    EXPECT_TRUE(isPainted(load(size + "lie renditionPlace=3").rendition, {100, 50}));
}

TEST_F(HostileWorker, RenditionOfAnotherSizeThanTheScreenNeedsIsNoAnswer)
{
    const DisplayTarget target{.maxPixel = LIMIT, .area = QRectF(0, 0, 100, 100)};
    for (const char *size : {"101 50", "100 51", "0 50", "100 0", "-1 -1", "2147483647 50",
                             "600 300", "2147483647 2147483647", "-2147483648 -2147483648"}) {
        std::istringstream numbers(size);
        std::string width;
        std::string height;
        numbers >> width >> height;
        const auto orders =
            file("size 600 300\nlie renditionWidth=" + width + "\nlie renditionHeight=" + height);
        EXPECT_TRUE(reader().loadDisplayPicture(orders, target, Urgency::Ahead, {}).isNull())
            << size;
    }
    EXPECT_FALSE(reader().loadDisplayPicture(file(), target, Urgency::Ahead, {}).isNull());
}

TEST_F(HostileWorker, PictureOfAnotherSizeThanExactlyThatIsNoAnswer)
{
    const DisplayTarget target{
        .maxPixel = LIMIT, .area = QRectF(0, 0, 1200, 900), .exactly = {1200, 600}};
    const auto load = [&](const char *size) {
        return reader().loadDisplayPicture(file(size), target, Urgency::Ahead, {});
    };
    EXPECT_TRUE(load("size 1200 601").isNull());
    EXPECT_TRUE(load("size 1201 600").isNull());
    EXPECT_TRUE(load("size 600 1200").isNull());
    EXPECT_TRUE(isPainted(load("size 1200 600").rendition, {1200, 600}));
}

TEST_F(HostileWorker, AnnouncedSizeOfNonsenseDoesNoHarm)
{
    for (const char *size : {"-1 -1", "0 5", "2147483647 2147483647", "-2147483648 1"})
        EXPECT_TRUE(isPainted(thumbnail(file(std::string("announce ") + size)), {16, 16})) << size;
}

TEST_F(HostileWorker, WhatNobodyAsksForInAReplyIsIgnored)
{
    EXPECT_TRUE(isPainted(thumbnail(file("lie wall=0\nlie landlock=7\nlie changesNothing=1\n"
                                         "lie iso=-1\nlie present=4294967295\nlie block1=5\n"
                                         "lie block2=-1\nlie block3=9223372036854775807")),
                          {16, 16}));
}

TEST_F(HostileWorker, SlowReplyIsPutTogether)
{
    EXPECT_TRUE(isPainted(thumbnail(file("trickle\nrows trickle")), {16, 16}));
}

TEST_F(HostileWorker, LeakedDescriptorsAreClosed)
{
    const fs::path leaked = file("leak descriptors\nrows leak descriptors");
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(isPainted(thumbnail(leaked), {16, 16}));
    const auto open = openFilesOf();
    EXPECT_EQ(std::ranges::count(open, leaked.string()), 0);
}

TEST_F(HostileWorker, FileIsClosedInTheEnd)
{
    const fs::path path = file();
    EXPECT_FALSE(thumbnail(path).isNull());
    const auto open = openFilesOf();
    EXPECT_EQ(std::ranges::count(open, path.string()), 0);
}

// --- Its end

TEST_F(HostileWorker, FileThatItCrashesAtIsNotTriedAgain)
{
    EXPECT_TRUE(thumbnail(file(note() + "crash")).isNull());
    EXPECT_EQ(noted().size(), 1);
}

TEST_F(HostileWorker, FileAtWhichItWasKilledIsTriedAgain)
{
    const std::string once = "killed once " + (folder / "once").string();
    EXPECT_TRUE(isPainted(thumbnail(file(note() + once)), {16, 16}));
    EXPECT_EQ(noted().size(), 2);
}

TEST_F(HostileWorker, FileAtWhichItWasKilledTwiceHasFailed)
{
    EXPECT_TRUE(thumbnail(file(note() + "killed")).isNull());
    EXPECT_EQ(noted().size(), 2);
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
}

TEST_F(HostileWorker, KilledWhileItIsIdleDoesNoHarm)
{
    const pid_t first = pidForFacts(file());
    ASSERT_GT(first, 0);
    kill(first, SIGKILL);
    const pid_t second = pidForFacts(file());
    EXPECT_GT(second, 0);
    EXPECT_NE(second, first);
}

TEST_F(HostileWorker, StopBeforeTheStartAsksNobody)
{
    stopSource.request_stop();
    EXPECT_TRUE(thumbnail(file(note()), stopSource.get_token()).isNull());
    EXPECT_TRUE(noted().empty());
}

// The moment that it has to answer can be too short on a busy machine.
TEST_F(HostileWorker, ThatGivesUpWhenItIsAskedToIsKept)
{
    bool isKept = false;
    for (int attempt = 0; attempt < 10 && !isKept; ++attempt) {
        const std::string name = "note" + std::to_string(attempt);
        std::stop_source stop;
        const std::jthread stopper([&] {
            EXPECT_TRUE(isNoted(name));
            stop.request_stop();
        });
        EXPECT_FALSE(
            reader().readPhotoFacts(file(note(name) + "wait"), Urgency::Ahead, stop.get_token()));
        ASSERT_EQ(noted(name).size(), 1);
        isKept = pidForFacts(file()) == noted(name)[0];
    }
    EXPECT_TRUE(isKept);
}

TEST_F(HostileWorker, ThatIsBusyIsEndedByItsProcessorTime)
{
    EXPECT_FALSE(reader().readPhotoFacts(file(note() + "hang busy"), Urgency::Ahead, {}));
    ASSERT_EQ(noted().size(), 1);
    EXPECT_TRUE(waitUntil([&] { return !isRunning(noted()[0]); }));
    EXPECT_GT(pidForFacts(file()), 0);
}

TEST_F(HostileWorker, LeavesNoZombie)
{
    for (const char *orders :
         {"crash", "exit 0", "close channel", "close lifeline", "lie width=-1"})
        EXPECT_TRUE(thumbnail(file(orders)).isNull());
    EXPECT_TRUE(waitUntil([] {
        const auto children = childrenOf();
        return std::ranges::all_of(children, isRunning);
    }));
}

// So at least once in a while on a busy machine.
TEST_F(HostileWorker, IsReapedWithTheReadersEnd)
{
    bool isReaped = false;
    for (int attempt = 0; attempt < 10 && !isReaped; ++attempt) {
        setReader(FAKE_WORKER);
        EXPECT_FALSE(thumbnail(file()).isNull());
        EXPECT_FALSE(full(file()).isNull());
        endReader();
        isReaped = childrenOf().empty();
    }
    EXPECT_TRUE(isReaped);
}

// --- Facts

struct FactsLie
{
    const char *name;
    const char *orders;
    PhotoMetadata expected;
    Orientation orientation = Orientation::Turn90;

    friend void PrintTo(const FactsLie &lie, std::ostream *out) { *out << lie.orders; }
};

/// The fake worker's own, but for the number of the process.
PhotoMetadata honest()
{
    PhotoMetadata facts;
    facts.pixelSize = QSize(16, 16);
    facts.make = QStringLiteral("make");
    facts.model = QStringLiteral("model");
    facts.lensModel = QStringLiteral("lens");
    facts.focalLength = 50;
    facts.fNumber = 2.8;
    facts.exposureTime = 0.004;
    facts.iso = 100;
    facts.dateTimeOriginal = QStringLiteral("time");
    return facts;
}

template <typename Field, typename Value>
PhotoMetadata honestBut(Field PhotoMetadata::*field, Value value)
{
    PhotoMetadata facts = honest();
    facts.*field = value;
    return facts;
}

class FactsOfAHostileWorker : public HostileWorker, public testing::WithParamInterface<FactsLie>
{};

TEST_P(FactsOfAHostileWorker, KeepWhatMakesSense)
{
    const fs::path path = file(std::string("lie iso=100\n") + GetParam().orders);
    const auto facts = reader().readPhotoFacts(path, Urgency::Ahead, {});
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->metadata, GetParam().expected);
    EXPECT_EQ(facts->orientation, GetParam().orientation);
    EXPECT_EQ(facts->fileBytes, fs::file_size(path));
}

INSTANTIATE_TEST_SUITE_P(
    Lies, FactsOfAHostileWorker,
    testing::Values(
        FactsLie{"None", "", honest()},
        FactsLie{"FocalLengthIsNoNumber", "lie focalLength=nan",
                 honestBut(&PhotoMetadata::focalLength, std::nullopt)},
        FactsLie{"FNumberIsInfinite", "lie fNumber=inf",
                 honestBut(&PhotoMetadata::fNumber, std::nullopt)},
        FactsLie{"ExposureTimeIsMinusInfinity", "lie exposureTime=-inf",
                 honestBut(&PhotoMetadata::exposureTime, std::nullopt)},
        FactsLie{"IsoIsTheLeastNumber", "lie iso=-9223372036854775808",
                 honestBut(&PhotoMetadata::iso, std::numeric_limits<qint64>::min())},
        FactsLie{"NoWidth", "lie width=0", honestBut(&PhotoMetadata::pixelSize, std::nullopt)},
        FactsLie{"NegativeHeight", "lie height=-1",
                 honestBut(&PhotoMetadata::pixelSize, std::nullopt)},
        FactsLie{"OrientationZero", "lie orientation=0", honest(), Orientation::Upright},
        FactsLie{"Orientation99", "lie orientation=99", honest(), Orientation::Upright},
        FactsLie{"OrientationThatIsGoodInItsLastByte", "lie orientation=262", honest(),
                 Orientation::Upright},
        FactsLie{"BitsOfNothing", "lie present=4294967295", honest()},
        FactsLie{"BitWithoutText", "send block1=0",
                 honestBut(&PhotoMetadata::model, QStringLiteral(""))},
        FactsLie{"TextWithoutBit", "lie present=127",
                 honestBut(&PhotoMetadata::dateTimeOriginal, std::nullopt)},
        FactsLie{"LongestText", "send block0=12288",
                 honestBut(&PhotoMetadata::make, QString(12288, QLatin1Char('x')))}),
    nameOf<FactsLie>);

TEST_F(HostileWorker, HasNoFactsToTellWhenALengthIsNonsense)
{
    for (const char block : {'0', '1', '2', '3'}) {
        for (const char *length : {"-1", "12289", "9223372036854775807", "-9223372036854775808"}) {
            const std::string lie = std::string("lie block") + block + '=' + length;
            EXPECT_FALSE(reader().readPhotoFacts(file(lie), Urgency::Ahead, {})) << lie;
        }
        EXPECT_GT(pidForFacts(file()), 0);
    }
}

TEST_F(HostileWorker, HasNoFactsToTellWhenItsTextIsCut)
{
    EXPECT_FALSE(reader().readPhotoFacts(file("truncate block"), Urgency::Ahead, {}));
    EXPECT_FALSE(reader().readPhotoFacts(file("crash"), Urgency::Ahead, {}));
    EXPECT_FALSE(reader().readPhotoFacts(file("fail"), Urgency::Ahead, {}));
    EXPECT_GT(pidForFacts(file()), 0);
}

TEST_F(HostileWorker, ThatAnswersTwiceSpoilsOneRequestAtMost)
{
    EXPECT_GT(pidForFacts(file("answer twice")), 0);
    (void)pidForFacts(file()); // may get the second answer
    EXPECT_GT(pidForFacts(file()), 0);
}

TEST_F(HostileWorker, SizeOfNonsenseIsNone)
{
    for (const char *size :
         {"0 5", "5 0", "-1 5", "-2147483648 -2147483648", "16777217 5", "5 2147483647"})
        EXPECT_EQ(reader().readPixelSize(file(std::string("size ") + size)), std::nullopt) << size;
    EXPECT_EQ(reader().readPixelSize(file("crash")), std::nullopt);
    EXPECT_EQ(reader().readPixelSize(file("size 5 7")), QSize(5, 7));
}

// --- What a saved picture carries

TEST_F(HostileWorker, MetadataComeInFull)
{
    const auto metadata = reader().sourceMetadata(
        file("send block0=65527\nsend block1=65504\nsend block2=65519"), {10, 10});
    ASSERT_TRUE(metadata);
    EXPECT_EQ(metadata->exif, QByteArray(65527, 'x'));
    EXPECT_EQ(metadata->xmp, QByteArray(65504, 'x'));
    EXPECT_EQ(metadata->photoshop, QByteArray(65519, 'x'));
    EXPECT_EQ(metadata->defaultProfile, QByteArray("profile"));
    EXPECT_TRUE(metadata->comments.empty());
    const auto commented = reader().sourceMetadata(file("send block7=65533"), {10, 10});
    ASSERT_TRUE(commented);
    EXPECT_EQ(commented->comments, std::vector<QByteArray>{QByteArray(65533, 'x')});
}

TEST_F(HostileWorker, MetadataThatNoSegmentHoldsAreNone)
{
    for (const char *lie :
         {"send block0=65528", "send block1=65505", "send block2=65520", "send block3=16777217",
          "lie block0=-1", "lie block1=-1", "lie block2=-1", "lie block3=-9223372036854775808",
          "lie block3=9223372036854775807", "send block4=65534", "lie block7=-1", "truncate block",
          "crash", "fail", "lie number=0"})
        EXPECT_FALSE(reader().sourceMetadata(file(lie), {10, 10})) << lie;
    EXPECT_TRUE(reader().sourceMetadata(file(), {10, 10}));
}

TEST_F(HostileWorker, DensityThatMakesNoSenseIsNone)
{
    const auto density = [this](const char *orders) {
        return reader().sourceMetadata(file(orders), {10, 10}).value_or(JpegMetadata()).density;
    };
    EXPECT_EQ(density("lie densityUnit=2\nlie densityX=65535"), (PixelDensity{2, 65535, 1}));
    for (const char *lie : {"lie densityUnit=3", "lie densityX=0", "lie densityY=65536"})
        EXPECT_EQ(density(lie), PixelDensity()) << lie;
}

TEST_F(HostileWorker, PictureIsNoneOfOursUnlessItSaysSo)
{
    const auto isSaved = [this](const char *orders) {
        const auto opened = openRegularFile(file(orders));
        return opened && reader().isSavedByViewer(opened->descriptor.get());
    };
    EXPECT_TRUE(isSaved(""));
    for (const char *lie : {"fail", "crash", "lie number=0", "truncate reply", "lie outcome=7"})
        EXPECT_FALSE(isSaved(lie)) << lie;
}

TEST_F(HostileWorker, ThatHasSeenThePictureIsNotAskedWhetherAnotherIsOurs)
{
    EXPECT_FALSE(full(file(note())).isNull());
    const auto opened = openRegularFile(file(note(), "edited.jpg"));
    ASSERT_TRUE(opened);
    EXPECT_TRUE(reader().isSavedByViewer(opened->descriptor.get()));
    const auto workers = noted();
    EXPECT_EQ(std::set(workers.begin(), workers.end()).size(), 2U);
}

// --- Colours

/// A picture whose profile gives orders, so large that it takes several pieces.
Image imageWithOrders(const std::string &orders)
{
    PixelBuffer buffer({600, 600});
    for (int y = 0; y < 600; ++y)
        std::fill_n(buffer.row(y), 600, 0xff000000 | static_cast<Pixel>(y));
    return std::move(buffer).toImage(Alpha::Opaque, QByteArray::fromStdString(orders));
}

// The fake worker's conversion makes a negative.
TEST_F(HostileWorker, ConvertsEveryRow)
{
    const Image image = reader().converted(imageWithOrders("a profile"), {}, {});
    ASSERT_EQ(image.size(), QSize(600, 600));
    EXPECT_TRUE(image.iccProfile().isEmpty());
    for (int y = 0; y < 600; ++y) {
        EXPECT_EQ(image.row(y)[0], 0xffffffff - static_cast<Pixel>(y)) << y;
        EXPECT_EQ(image.row(y)[599], 0xffffffff - static_cast<Pixel>(y)) << y;
    }
}

TEST_F(HostileWorker, ConvertsForAMonitor)
{
    const QByteArray monitor("of a monitor");
    const Image image = reader().converted(imageWithOrders("a profile"), monitor, {});
    ASSERT_EQ(image.size(), QSize(600, 600));
    EXPECT_EQ(image.iccProfile(), monitor);
    EXPECT_EQ(image.row(1)[0], 0xfffffffe);
    const Image same = reader().converted(imageWithOrders("lie changesNothing=1"), monitor, {});
    EXPECT_EQ(same.iccProfile(), monitor);
}

// The reader knows the profile that the picture is in: it has sent it.
TEST_F(HostileWorker, PictureForAMonitorIsInItsColors)
{
    DisplayTarget target{.maxPixel = LIMIT, .area = QRectF(0, 0, 16, 16)};
    target.profile = "of a monitor";
    const auto picture = reader().loadDisplayPicture(file(), target, Urgency::Now, {});
    EXPECT_TRUE(isPainted(picture.rendition, {16, 16}));
    EXPECT_EQ(picture.image.iccProfile(), target.profile);
    EXPECT_EQ(picture.rendition.iccProfile(), target.profile);
    const Image whole = reader().loadFullImage(file("size 70 90"), target.profile, {});
    EXPECT_TRUE(isPainted(whole, {70, 90}));
    EXPECT_EQ(whole.iccProfile(), target.profile);
}

TEST_F(HostileWorker, PictureForAMonitorHasNoOtherProfile)
{
    DisplayTarget target{.maxPixel = LIMIT, .area = QRectF(0, 0, 16, 16)};
    target.profile = "of a monitor";
    const auto path = file("send block0=200");
    EXPECT_TRUE(reader().loadDisplayPicture(path, target, Urgency::Now, {}).isNull());
    EXPECT_TRUE(reader().loadFullImage(path, target.profile, {}).isNull());
    EXPECT_FALSE(reader().loadDisplayPicture(file(), target, Urgency::Now, {}).isNull());
}

TEST_F(HostileWorker, ConversionThatChangesNothingKeepsThePixels)
{
    const Image image = imageWithOrders("lie changesNothing=1");
    const Image same = reader().converted(image, {}, {});
    EXPECT_TRUE(same.isSameAs(image));
    EXPECT_TRUE(same.iccProfile().isEmpty());
}

TEST_F(HostileWorker, ConversionThatFailsIsNull)
{
    for (const char *orders :
         {"fail", "crash", "killed", "exit 0", "truncate reply", "lie number=0", "answer twice",
          "answer forever", "rows crash", "rows fail", "rows truncate reply"}) {
        EXPECT_TRUE(reader().converted(imageWithOrders(orders), {}, {}).isNull()) << orders;
        EXPECT_FALSE(reader().converted(imageWithOrders("a profile"), {}, {}).isNull()) << orders;
    }
}

TEST_F(HostileWorker, ConversionThatHangsEndsWithAStop)
{
    for (const char *orders : {"hang asleep", "rows hang busy"}) {
        std::stop_source stop;
        const std::jthread stopper([&] {
            EXPECT_TRUE(isNoted(orders));
            stop.request_stop();
        });
        EXPECT_TRUE(reader()
                        .converted(imageWithOrders(note(orders) + orders), {}, stop.get_token())
                        .isNull());
        EXPECT_FALSE(reader().converted(imageWithOrders("a profile"), {}, {}).isNull()) << orders;
    }
}

TEST_F(HostileWorker, IsNotAskedAboutPicturesWithoutProfile)
{
    const Image image = imageWithOrders({});
    EXPECT_TRUE(reader().converted(image, {}, {}).isSameAs(image));
    EXPECT_TRUE(reader().converted({}, {}, {}).isNull());
}

// --- Which worker gets what

TEST_F(HostileWorker, StaysForAFolder)
{
    const pid_t first = pidForFacts(file());
    EXPECT_GT(first, 0);
    EXPECT_EQ(pidForFacts(file({}, "another.jpg")), first);
}

TEST_F(HostileWorker, IsReplacedForAnotherFolder)
{
    const pid_t first = pidForFacts(file());
    const pid_t second = pidForFacts(fileElsewhere("elsewhere"));
    EXPECT_GT(second, 0);
    EXPECT_NE(second, first);
    EXPECT_TRUE(waitUntil([first] { return !isRunning(first); }));
}

TEST_F(HostileWorker, KeepsNoOtherKindOfWorkWaiting)
{
    const fs::path good = file({}, "good.jpg");
    std::stop_source stop;
    {
        const std::jthread display([&] {
            EXPECT_TRUE(thumbnail(file(note("display") + "hang asleep", "1.jpg"), stop.get_token())
                            .isNull());
        });
        const std::jthread full1([&] {
            EXPECT_TRUE(
                full(file(note("full") + "hang asleep", "2.jpg"), stop.get_token()).isNull());
        });
        const std::jthread ahead([&] {
            EXPECT_TRUE(reader()
                            .loadThumbnail(file(note("ahead") + "hang asleep", "3.jpg"), LIMIT,
                                           Urgency::Ahead, stop.get_token())
                            .isNull());
        });
        EXPECT_TRUE(isNoted("display"));
        EXPECT_TRUE(isNoted("full"));
        EXPECT_TRUE(isNoted("ahead"));
        EXPECT_GT(pidForFacts(good), 0);
        EXPECT_TRUE(isPainted(full(good), {16, 16}));
        EXPECT_TRUE(isPainted(thumbnail(good), {16, 16}));
        EXPECT_EQ(reader().readPixelSize(good), QSize(16, 16));
        EXPECT_TRUE(reader().sourceMetadata(good, {10, 10}));
        stop.request_stop();
    }
    EXPECT_TRUE(isPainted(thumbnail(good), {16, 16}));
}

/// One that works ahead on what takes long, until its end.
class WorkerAhead : public HostileWorker
{
protected:
    /// A thread that waits for a picture which takes until @p stop.
    [[nodiscard]] std::jthread work(Urgency urgency, const std::string &orders,
                                    const std::stop_source &stop)
    {
        return work(urgency, orders, stop, urgency == Urgency::Now ? "now" : "ahead");
    }
    [[nodiscard]] std::jthread work(Urgency urgency, const std::string &orders,
                                    const std::stop_source &stop, const std::string &name)
    {
        const fs::path path = file(note(name) + orders, name + ".jpg");
        std::jthread thread([this, path, urgency, stop] {
            EXPECT_TRUE(reader().loadThumbnail(path, LIMIT, urgency, stop.get_token()).isNull());
        });
        EXPECT_TRUE(isNoted(name));
        return thread;
    }

    [[nodiscard]] bool pauses(bool wanted = true) const
    {
        return waitUntil(
            [&] { return (statusOf(noted("ahead").back(), "State:") == "T") == wanted; });
    }

    std::stop_source now;
    std::stop_source ahead;
};

TEST_F(WorkerAhead, PausesWhileAPictureIsWaitedFor)
{
    const std::jthread behind = work(Urgency::Ahead, "wait", ahead);
    EXPECT_TRUE(pauses(false));
    {
        const std::jthread waited = work(Urgency::Now, "wait", now);
        EXPECT_TRUE(pauses());
        now.request_stop();
    }
    EXPECT_TRUE(pauses(false));
    ahead.request_stop();
}

TEST_F(WorkerAhead, GoesOnWhenThatPictureTakesLong)
{
    const std::jthread behind = work(Urgency::Ahead, "wait", ahead);
    const std::jthread waited = work(Urgency::Now, "wait", now);
    EXPECT_TRUE(pauses());
    EXPECT_TRUE(pauses(false));
    now.request_stop();
    ahead.request_stop();
}

TEST_F(WorkerAhead, PausesBehindNothingThatHasBeenWaitedForLong)
{
    const std::jthread waited = work(Urgency::Now, "wait", now);
    const std::jthread behind = work(Urgency::Ahead, "wait", ahead);
    EXPECT_TRUE(waitUntil([waiting = std::chrono::steady_clock::now()] {
        return std::chrono::steady_clock::now() - waiting > worker::MAX_PAUSE;
    }));
    std::atomic<bool> hasPaused = false;
    const std::jthread watcher([&hasPaused](const std::stop_token &stop) {
        while (!stop.stop_requested() && !hasPaused)
            hasPaused = std::ranges::any_of(
                childrenOf(), [](pid_t child) { return statusOf(child, "State:") == "T"; });
    });
    {
        const std::jthread next = work(Urgency::Ahead, "wait", ahead, "next");
        EXPECT_FALSE(hasPaused);
        now.request_stop();
        ahead.request_stop();
    }
}

TEST_F(WorkerAhead, HearsOfAStopWhileItPauses)
{
    const fs::path good = file();
    bool isKept = false; // the moment that it has can be too short, as above
    for (int attempt = 0; attempt < 10 && !isKept; ++attempt) {
        now = ahead = std::stop_source();
        std::jthread behind = work(Urgency::Ahead, "wait", ahead);
        const std::jthread waited = work(Urgency::Now, "wait", now);
        EXPECT_TRUE(pauses());
        ahead.request_stop();
        behind.join();
        isKept = pidForFacts(good) == noted("ahead").back();
        now.request_stop();
    }
    EXPECT_TRUE(isKept);
}

TEST_F(HostileWorker, AnswersManyThreads)
{
    std::vector<std::jthread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([this, i] {
            const std::string name = std::to_string(i);
            for (int round = 0; round < 20; ++round) {
                const bool isGood = (i + round) % 3 != 0;
                const Image image = thumbnail(file(isGood ? "size 300 300" : "crash", name));
                EXPECT_EQ(image.isNull(), !isGood);
                EXPECT_GT(pidForFacts(file({}, name)), 0);
            }
        });
    }
}

// --- The program

class WorkerProgram : public HostileWorker
{
protected:
    /// A copy of the fake worker, whose name is an order for its beginning.
    [[nodiscard]] fs::path copyNamed(const std::string &order) const
    {
        fs::copy_file(FAKE_WORKER, folder / order);
        return folder / order;
    }

    void expectNothing()
    {
        EXPECT_TRUE(thumbnail(file()).isNull());
        EXPECT_TRUE(full(file()).isNull());
        EXPECT_FALSE(reader().readPhotoFacts(file(), Urgency::Ahead, {}));
        EXPECT_FALSE(reader().readPixelSize(file()));
        EXPECT_FALSE(reader().sourceMetadata(file(), {10, 10}));
        EXPECT_TRUE(reader().converted(imageWithOrders("a profile"), {}, {}).isNull());
        EXPECT_EQ(reader().aboutWall(), "");
        said = "No picture can be read: tavolin-worker can't be started\n";
    }
};

TEST_F(WorkerProgram, ThatIsMissingReadsNothing)
{
    setReader(folder / "absent");
    expectNothing();
}

TEST_F(WorkerProgram, ThatMayNotBeRunReadsNothing)
{
    setReader(folder.write("text", "true\n"));
    expectNothing();
}

TEST_F(WorkerProgram, ThatIsNoProgramReadsNothing)
{
    const fs::path path = folder.write("text", "true\n");
    fs::permissions(path, fs::perms::owner_all);
    setReader(path);
    expectNothing();
}

TEST_F(WorkerProgram, ThatIsAFolderReadsNothing)
{
    setReader(folder.path());
    expectNothing();
}

TEST_F(WorkerProgram, ThatEndsAtOnceReadsNothing)
{
    setReader("/bin/true");
    expectNothing();
}

TEST_F(WorkerProgram, ThatCrashesBeforeAnyFileReadsNothing)
{
    setReader(copyNamed("crash"));
    expectNothing();
}

TEST_F(WorkerProgram, ThatNeverBeginsEndsWithAStop)
{
    setReader(copyNamed("hang asleep"));
    std::stop_source stop;
    auto result =
        std::async(std::launch::async, [&] { return thumbnail(file(), stop.get_token()); });
    EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout);
    stop.request_stop();
    EXPECT_TRUE(result.get().isNull());
}

TEST_F(WorkerProgram, OfAnotherNumberReadsNothing)
{
    setReader(copyNamed("lie number=7"));
    expectNothing();
}

TEST_F(WorkerProgram, ThatIsReplacedOnDiskIsStillRun)
{
    const fs::path program = copyNamed("tavolin-fake-worker");
    setReader(program);
    EXPECT_GT(pidForFacts(file()), 0);
    fs::copy_file("/bin/true", folder / "other");
    fs::rename(folder / "other", program);
    for (const char *elsewhere : {"1", "2", "3", "4"})
        EXPECT_GT(pidForFacts(fileElsewhere(elsewhere)), 0);
}

TEST_F(WorkerProgram, ThatIsDeletedIsStillRun)
{
    const fs::path program = copyNamed("tavolin-fake-worker");
    setReader(program);
    fs::remove(program);
    for (const char *elsewhere : {"1", "2", "3", "4"})
        EXPECT_GT(pidForFacts(fileElsewhere(elsewhere)), 0);
}

TEST_F(WorkerProgram, TellsOfAWholeWall)
{
    EXPECT_EQ(reader().aboutWall(), "memory, processor time, descriptors, no core file, "
                                    "no new privileges, Landlock 1, seccomp");
}

TEST_F(WorkerProgram, WithoutPartsOfTheWallIsTalkedAboutOnce)
{
    // All but Landlock.
    setReader(copyNamed("lie wall=95"));
    said = "The wall around the decoders stands without: Landlock (has: memory, processor time, "
           "descriptors, no core file, no new privileges, seccomp)\n";
    EXPECT_TRUE(isPainted(thumbnail(file()), {16, 16}));
    EXPECT_TRUE(isPainted(full(file()), {16, 16}));
}

} // namespace

} // namespace tavolin
