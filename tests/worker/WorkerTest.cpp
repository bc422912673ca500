// The worker as it is installed: what it reads is what this process reads, and it can't do more.

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "decoding/HeicFile.h"
#include "decoding/TestPictures.h"
#include "decoding/TestProfiles.h"
#include "e2e/ChildProcess.h"
#include "e2e/WaitUntil.h"
#include "logic/PngFile.h"
#include "logic/Printing.h"
#include "logic/TemporaryFolder.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"
#include "platform/RegularFile.h"
#include "Processes.h"
#include "Samples.h"
#include "worker/client/WorkerReader.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

namespace fs = std::filesystem;
using namespace test;
using namespace Qt::StringLiterals;
using pictures::fourQuarters;
using worker::IS_SANITIZED;

const fs::path WORKER = WORKER_PROGRAM;
const DisplayTarget TARGET{.maxPixel = 300, .area = QRectF(0, 0, 200, 200), .scale = 1.5};
/// One whose renditions are smaller than the display image, so that workers make them.
const DisplayTarget SMALL_TARGET{.maxPixel = 300, .area = QRectF(0, 0, 160, 90), .scale = 1.5};
constexpr QSize SIZE(500, 340);

/// A picture as a file.
struct Picture
{
    const char *name; ///< Of the test.
    const char *file;
    std::function<QByteArray()> bytes;

    friend void PrintTo(const Picture &picture, std::ostream *out) { *out << picture.file; }
};

QByteArray encoded(const char *extension, int orientation = 1,
                   const pictures::WriteOptions &options = {})
{
    const pictures::PictureSpec spec{.size = SIZE, .orientation = orientation};
    return pictures::encodePicture(pictures::drawPicture(spec), spec, extension, options);
}

QByteArray heic()
{
    return canEncodeHeic() ? encodeHeic(fourQuarters(SIZE), {.orientation = 6,
                                                             .iccProfile = displayP3Profile(),
                                                             .exif = pictures::exifBlock(6)})
                           : QByteArray();
}

/// One of each kind; empty where it can't be written here.
const std::vector<Picture> &allPictures()
{
    static const std::vector<Picture> PICTURES{
        {"Jpeg", "a.jpg", [] { return encoded(".jpg"); }},
        {"TurnedJpeg", "b.jpg", [] { return encoded(".jpg", 6); }},
        {"MirroredProgressiveJpeg", "c.jpg",
         [] { return encoded(".jpg", 5, {.progressive = true}); }},
        {"AdobeRgbJpeg", "d.jpg",
         [] { return encoded(".jpg", 1, {.iccProfile = adobeRgbProfile()}); }},
        {"CmykJpeg", "e.jpg",
         [] {
             return pictures::encodeJpeg(fourQuarters(SIZE), {.color = pictures::JpegColor::Cmyk,
                                                              .iccProfile = redInkProfile()});
         }},
        {"ClearPng", "f.png", [] { return pngFile(clearQuarters()); }},
        {"TurnedPng", "g.png",
         [] { return encoded(".png", 8, {.iccProfile = displayP3Profile()}); }},
        {"GreyTiff", "h.tif",
         [] { return encoded(".tif", 3, {.grey = true, .iccProfile = linearGreyProfile()}); }},
        {"WebP", "i.webp", [] { return encoded(".webp", 7); }},
        {"Bmp", "j.bmp", [] { return encoded(".bmp"); }},
        {"Dng", "k.dng", [] { return encoded(".dng", 6); }},
        {"DngThatIsDeveloped", "l.tif", [] { return encoded(".dng"); }},
        {"Heic", "m.heic", heic},
        {"DamagedJpeg", "n.jpg",
         [] { return encoded(".jpg").first(5000) + QByteArray(3000, '\x55'); }},
        {"CutPng", "o.png", [] { return encoded(".png").first(9000); }},
        {"NoPicture", "p.jpg", [] { return QByteArray("a text"); }},
    };
    return PICTURES;
}

testing::AssertionResult isSame(const Image &actual, const Image &expected)
{
    if (actual.isNull() != expected.isNull())
        return testing::AssertionFailure() << (actual.isNull() ? "null" : "not null");
    if (actual.isNull())
        return testing::AssertionSuccess();
    if (actual.alpha() != expected.alpha())
        return testing::AssertionFailure() << "another alpha";
    if (actual.iccProfile() != expected.iccProfile())
        return testing::AssertionFailure() << "another profile";
    return looksLike(actual, expected);
}

void expectSameFacts(const std::optional<PhotoFacts> &actual,
                     const std::optional<PhotoFacts> &expected, const fs::path &path)
{
    ASSERT_EQ(actual.has_value(), expected.has_value()) << path;
    if (!actual)
        return;
    EXPECT_EQ(actual->metadata, expected->metadata) << path;
    EXPECT_EQ(actual->fileBytes, expected->fileBytes) << path;
    EXPECT_EQ(actual->orientation, expected->orientation) << path;
}

void expectSameMetadata(const std::optional<JpegMetadata> &actual,
                        const std::optional<JpegMetadata> &expected, const fs::path &path)
{
    ASSERT_EQ(actual.has_value(), expected.has_value()) << path;
    if (!actual)
        return;
    EXPECT_EQ(actual->exif, expected->exif) << path;
    EXPECT_EQ(actual->xmp, expected->xmp) << path;
    EXPECT_EQ(actual->photoshop, expected->photoshop) << path;
    EXPECT_EQ(actual->defaultProfile, expected->defaultProfile) << path;
    EXPECT_EQ(actual->comments, expected->comments) << path;
    EXPECT_EQ(actual->density, expected->density) << path;
}

// --- What it reads

class WorkerReads : public testing::TestWithParam<Picture>
{
protected:
    void SetUp() override
    {
        const QByteArray bytes = GetParam().bytes();
        if (bytes.isEmpty())
            GTEST_SKIP() << "this libheif was built without an encoder for HEVC";
        m_path = m_folder.write(GetParam().file, bytes);
    }

    [[nodiscard]] const fs::path &path() const { return m_path; }

    const WorkerReader worker{WORKER};
    const InProcessReader here;

private:
    TemporaryFolder m_folder;
    fs::path m_path;
};

TEST_P(WorkerReads, TheSameDisplayPicture)
{
    for (const Urgency urgency : {Urgency::Now, Urgency::Ahead}) {
        for (const DisplayTarget &target : {TARGET, SMALL_TARGET}) {
            const auto expected = here.loadDisplayPicture(path(), target, urgency, {});
            const auto actual = worker.loadDisplayPicture(path(), target, urgency, {});
            EXPECT_TRUE(isSame(actual.image, expected.image));
            EXPECT_TRUE(isSame(actual.rendition, expected.rendition));
            EXPECT_EQ(actual.pixelSize, expected.pixelSize);
            EXPECT_EQ(actual.pixelSize, here.readPixelSize(path()));
        }
    }
}

TEST_P(WorkerReads, TheSamePictureAtExactlyTheScreensPixels)
{
    for (const QSize size : {QSize(400, 272), QSize(272, 400), QSize(600, 408)}) {
        DisplayTarget target = TARGET;
        target.exactly = size;
        const auto expected = here.loadDisplayPicture(path(), target, Urgency::Ahead, {});
        const auto actual = worker.loadDisplayPicture(path(), target, Urgency::Ahead, {});
        EXPECT_TRUE(isSame(actual.rendition, expected.rendition));
        EXPECT_EQ(actual.isSharp, !expected.isNull());
        if (!expected.isNull()) {
            EXPECT_EQ(actual.rendition.size(), size);
        }
    }
}

TEST_P(WorkerReads, TheSameFullPicture)
{
    for (const FullColors &colors : {FullColors(KEPT), FullColors(QByteArray())})
        EXPECT_TRUE(isSame(worker.loadFullImage(path(), colors, {}),
                           here.loadFullImage(path(), colors, {})));
}

TEST_P(WorkerReads, TheSameFacts)
{
    EXPECT_EQ(worker.readPixelSize(path()), here.readPixelSize(path()));
    expectSameFacts(worker.readPhotoFacts(path(), Urgency::Ahead, {}),
                    here.readPhotoFacts(path(), Urgency::Ahead, {}), path());
    expectSameMetadata(worker.sourceMetadata(path(), {100, 50}),
                       here.sourceMetadata(path(), {100, 50}), path());
}

INSTANTIATE_TEST_SUITE_P(Generated, WorkerReads, testing::ValuesIn(allPictures()),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(Worker, ReadsPicturesAtAll)
{
    const TemporaryFolder folder;
    const WorkerReader worker(WORKER);
    for (const Picture &picture : allPictures()) {
        const QByteArray bytes = picture.bytes();
        if (bytes.isEmpty() || picture.name == std::string("CutPng") ||
            picture.name == std::string("NoPicture"))
            continue;
        const fs::path path = folder.write(picture.file, bytes);
        EXPECT_FALSE(worker.loadThumbnail(path, 100).isNull()) << picture.name;
        EXPECT_FALSE(worker.loadFullImage(path, KEPT, {}).isNull()) << picture.name;
        EXPECT_TRUE(worker.readPixelSize(path)) << picture.name;
        EXPECT_TRUE(worker.readPhotoFacts(path, Urgency::Ahead, {})) << picture.name;
    }
}

/// How much of the memory that this process shares with its workers is there, in bytes (proc(5)).
std::int64_t sharedBytes()
{
    std::istringstream maps(procFile(getpid(), "smaps"));
    std::int64_t sum = 0;
    bool isShared = false;
    for (std::string line; std::getline(maps, line);) {
        // The head of a mapping ends with a name or an inode, its other lines with a unit.
        if (line.find('-') < line.find(' '))
            isShared = line.find("tavolin-pixels") != std::string::npos;
        else if (isShared && line.starts_with("Rss:"))
            sum += std::atoll(line.c_str() + 4) * 1024;
    }
    return sum;
}

TEST(Worker, HandsAFullPictureOverWhereItDecodedItAndGivesTheMemoryBackWhenItRests)
{
    const TemporaryFolder folder;
    constexpr QSize LARGE(3000, 2000);
    const pictures::PictureSpec spec{.size = LARGE};
    const fs::path path =
        folder.write("a.jpg", pictures::encodePicture(pictures::drawPicture(spec), spec, ".jpg"));
    const WorkerReader reader(WORKER);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(reader.loadFullImage(path, KEPT, {}).size(), LARGE);
        EXPECT_GE(sharedBytes(), pixelCount(LARGE) * std::int64_t{sizeof(Pixel)});
        EXPECT_TRUE(waitUntil([] { return sharedBytes() == 0; }));
    }
}

// Twice a gigabyte is more than many a machine has left.
TEST(Worker, GivesTheMemoryOfALargePictureBackWhileItIsHandedOver)
{
    const TemporaryFolder folder;
    constexpr QSize LARGE(10'000, 6500);
    QImage halves(LARGE, QImage::Format_Grayscale8);
    halves.fill(Qt::white);
    for (int y = 0; y < LARGE.height(); ++y)
        std::memset(halves.scanLine(y), y % 256, std::size_t{1} * LARGE.width() / 2);
    const fs::path path = folder.write("a.png", pngFile(halves));
    const WorkerReader reader(WORKER);
    const Image image = reader.loadFullImage(path, KEPT, {});
    EXPECT_LT(sharedBytes(), 1 << 20);
    ASSERT_EQ(image.size(), LARGE);
    for (int y = 0; y < LARGE.height(); ++y) {
        ASSERT_EQ(image.row(y)[0] & 0xff, static_cast<Pixel>(y % 256));
        ASSERT_EQ(image.row(y)[LARGE.width() - 1], 0xffffffff) << y;
    }
}

TEST(Worker, ReadsNoFileThatIsMissing)
{
    const TemporaryFolder folder;
    const WorkerReader worker(WORKER);
    EXPECT_TRUE(worker.loadThumbnail(folder / "absent.jpg", 100).isNull());
    EXPECT_TRUE(worker.loadThumbnail(folder.path(), 100).isNull());
    EXPECT_FALSE(worker.readPixelSize(folder / "absent.jpg"));
}

TEST(Worker, TellsWhichPicturesThisProgramHasSaved)
{
    const TemporaryFolder folder;
    const WorkerReader worker(WORKER);
    const auto isSaved = [&](const char *name, const QByteArray &bytes) {
        const auto file = openRegularFile(folder.write(name, bytes));
        return file && worker.isSavedByViewer(file->descriptor.get());
    };
    const auto jpegBy = [](const char *software) {
        return pictures::encodeJpeg(
            fourQuarters(SIZE),
            {.exif = pictures::tiffBlock({pictures::asciiField(0x0131, software)})});
    };
    EXPECT_TRUE(isSaved("saved.jpg", jpegBy("Tavolin Viewer")));
    EXPECT_FALSE(isSaved("other.jpg", jpegBy("Tavolin Viewer 2")));
    EXPECT_FALSE(isSaved("text.jpg", "Tavolin Viewer"));
    EXPECT_FALSE(worker.isSavedByViewer(-1));
}

TEST(Worker, TellsOfCommentsAndDensity)
{
    const TemporaryFolder folder;
    const auto path = folder.write(
        "1.jpg", writeJpeg(noiseImage({16, 16}), 95,
                           {.comments = {"first", "second"}, .density = {2, 118, 119}}));
    const auto metadata = WorkerReader(WORKER).sourceMetadata(path, {16, 16});
    ASSERT_TRUE(metadata);
    EXPECT_EQ(metadata->comments, (std::vector<QByteArray>{"first", "second"}));
    EXPECT_EQ(metadata->density, (PixelDensity{2, 118, 119}));
}

TEST(Worker, ReadsWhatLargeFilesSayAsItDoesThatOfSmallOnes)
{
    const TemporaryFolder folder;
    const WorkerReader worker(WORKER);
    for (const char *extension : {".dng", ".tif", ".jpg", ".png", ".webp"}) {
        const fs::path path = folder.write(std::string("a") + extension, encoded(extension));
        const auto facts = worker.readPhotoFacts(path, Urgency::Ahead, {});
        const auto carried = worker.sourceMetadata(path, {100, 50});
        ASSERT_TRUE(facts && carried) << extension;
        EXPECT_FALSE(carried->exif.isEmpty()) << extension;
        constexpr std::uintmax_t LARGE = std::uintmax_t{3900} << 20;
        fs::resize_file(path, LARGE); // the new bytes are a hole
        const auto largeFacts = worker.readPhotoFacts(path, Urgency::Ahead, {});
        ASSERT_TRUE(largeFacts) << extension;
        EXPECT_TRUE(largeFacts->metadata == facts->metadata) << extension;
        expectSameMetadata(worker.sourceMetadata(path, {100, 50}), carried, path);
    }
}

TEST(Worker, ConvertsAsThisProcessDoes)
{
    const WorkerReader worker(WORKER);
    const InProcessReader here;
    const std::vector<QByteArray> profiles{adobeRgbProfile(), displayP3Profile(),
                                           linearGreyProfile(), QByteArray("no profile")};
    for (const QByteArray &profile : profiles) {
        for (const Image &image : {noiseImage({701, 503}), noiseWithAlpha({701, 503}),
                                   noiseImage({1, 1}), noiseImage({70'000, 3})}) {
            const Image inProfile = image.withProfile(profile);
            const Image converted = worker.converted(inProfile, {}, {});
            EXPECT_FALSE(converted.isNull());
            EXPECT_TRUE(isSame(converted, here.converted(inProfile, {}, {})));
        }
    }
}

TEST_P(WorkerReads, TheSamePicturesForAMonitor)
{
    DisplayTarget target = TARGET;
    target.profile = exchangedP3Profile();
    const auto expected = here.loadDisplayPicture(path(), target, Urgency::Now, {});
    const auto actual = worker.loadDisplayPicture(path(), target, Urgency::Now, {});
    EXPECT_TRUE(isSame(actual.image, expected.image));
    EXPECT_TRUE(isSame(actual.rendition, expected.rendition));
    EXPECT_TRUE(isSame(worker.loadFullImage(path(), target.profile, {}),
                       here.loadFullImage(path(), target.profile, {})));
}

TEST(Worker, ConvertsForAMonitorAsThisProcessDoes)
{
    const WorkerReader worker(WORKER);
    const InProcessReader here;
    const QByteArray monitor = exchangedProfile();
    for (const QByteArray &profile : {QByteArray(), displayP3Profile()}) {
        const Image image = noiseImage({701, 503}).withProfile(profile);
        const Image converted = worker.converted(image, monitor, {});
        EXPECT_EQ(converted.iccProfile(), monitor);
        EXPECT_TRUE(isSame(converted, here.converted(image, monitor, {})));
    }
}

TEST(Worker, TakesTheLargestProfileOfAMonitor)
{
    const TemporaryFolder folder;
    const fs::path path = folder.write("a.jpg", encoded(".jpg"));
    const WorkerReader worker(WORKER);
    DisplayTarget target = TARGET;
    target.profile = QByteArray(MAX_PROFILE_BYTES, 'x'); // none that is of use
    const auto picture = worker.loadDisplayPicture(path, target, Urgency::Now, {});
    EXPECT_TRUE(
        looksLike(picture.image, worker.loadDisplayPicture(path, TARGET, Urgency::Now, {}).image));
    // A larger one can't be sent; the worker takes it for nonsense, and is replaced.
    target.profile.append('x');
    EXPECT_TRUE(worker.loadDisplayPicture(path, target, Urgency::Now, {}).isNull());
    EXPECT_FALSE(worker.loadDisplayPicture(path, TARGET, Urgency::Now, {}).isNull());
}

TEST(Worker, ConvertsNothingThatIsAsGoodAsSrgb)
{
    const WorkerReader worker(WORKER);
    for (const QByteArray &profile : {srgbProfile(), saved(cmsCreate_sRGBProfile())}) {
        const Image image = noiseImage({300, 200}).withProfile(profile);
        const Image converted = worker.converted(image, {}, {});
        EXPECT_TRUE(converted.isSameAs(image));
        EXPECT_TRUE(converted.iccProfile().isEmpty());
    }
}

class WorkerReadsSample : public SampleTest
{
protected:
    const WorkerReader worker{WORKER};
    const InProcessReader here;
};

TEST_F(WorkerReadsSample, AsThisProcessDoes)
{
    for (const QJsonValue &file : files()) {
        const fs::path path = find(file[u"path"_s].toString().toStdString());
        EXPECT_TRUE(isSame(worker.loadThumbnail(path, 640), toSrgb(loadThumbnail(path, 640))))
            << path;
        EXPECT_EQ(worker.readPixelSize(path), here.readPixelSize(path)) << path;
        expectSameFacts(worker.readPhotoFacts(path, Urgency::Ahead, {}),
                        here.readPhotoFacts(path, Urgency::Ahead, {}), path);
        expectSameMetadata(worker.sourceMetadata(path, {100, 50}),
                           here.sourceMetadata(path, {100, 50}), path);
    }
}

// --- Its wall

/// What /proc/PID/limits says is the most of @p limit.
std::string limitOf(pid_t process, const std::string &limit)
{
    std::istringstream limits(procFile(process, "limits"));
    for (std::string line; std::getline(limits, line);) {
        if (line.starts_with(limit)) {
            std::istringstream values(line.substr(limit.size()));
            std::string soft;
            std::string hard;
            values >> soft >> hard;
            return soft == hard ? soft : soft + " to " + hard;
        }
    }
    return "none";
}

class WorkerWall : public testing::Test
{
protected:
    void SetUp() override
    {
        path = folder.write("a.jpg", encoded(".jpg"));
        ASSERT_FALSE(worker.loadThumbnail(path, 100).isNull());
        display = walled();
        ASSERT_FALSE(worker.loadThumbnail(path, 100, Urgency::Ahead).isNull());
        ASSERT_FALSE(worker.loadFullImage(path, QByteArray(), {}).isNull());
    }

    /// The workers that have been told what they are for; the others have read nothing yet.
    [[nodiscard]] std::set<pid_t> walled() const
    {
        std::set<pid_t> found;
        for (const pid_t child : childrenOf())
            if (!earlier.contains(child) && statusOf(child, "Seccomp:") == "2")
                found.insert(child);
        return found;
    }

    const std::set<pid_t> earlier = [] {
        const auto children = childrenOf();
        return std::set(children.begin(), children.end());
    }();
    const TemporaryFolder folder;
    const WorkerReader worker{WORKER};
    fs::path path;
    std::set<pid_t> display; ///< And that for what may be wanted soon, if it was as quick.
};

TEST_F(WorkerWall, IsAroundEachOfThem)
{
    EXPECT_EQ(walled().size(), 3);
    for (const pid_t process : walled())
        EXPECT_EQ(statusOf(process, "NoNewPrivs:"), "1");
}

TEST_F(WorkerWall, LimitsTheMemory)
{
    if (IS_SANITIZED)
        GTEST_SKIP() << "a sanitizer reserves terabytes";
    std::multiset<std::string> limits;
    for (const pid_t process : walled()) {
        limits.insert(limitOf(process, "Max address space"));
        if (display.contains(process)) {
            EXPECT_EQ(limitOf(process, "Max address space"), "2147483648");
        }
    }
    EXPECT_EQ(limits, (std::multiset<std::string>{"2147483648", "2147483648", "4294967296"}));
}

TEST_F(WorkerWall, LimitsDescriptorsTimeAndCoreFiles)
{
    for (const pid_t process : walled()) {
        EXPECT_EQ(limitOf(process, "Max open files"), "16");
        EXPECT_EQ(limitOf(process, "Max core file size"), "1");
        EXPECT_EQ(limitOf(process, "Max cpu time"), "3600");
    }
}

TEST_F(WorkerWall, HidesTheEnvironment)
{
    for (const pid_t process : walled())
        EXPECT_EQ(procFile(process, "environ"), "");
}

TEST_F(WorkerWall, LetsNothingInButStandardStreamsAndTwoSockets)
{
    for (const pid_t process : walled()) {
        // The file is closed right after the answer.
        EXPECT_TRUE(waitUntil([&] { return openFilesOf(process).size() == 5; }));
        auto open = openFilesOf(process);
        EXPECT_EQ(std::ranges::count_if(
                      open, [](const auto &file) { return file.starts_with("socket:"); }),
                  2);
        EXPECT_EQ(std::ranges::count(open, "/dev/null"), IS_SANITIZED ? 2 : 3);
    }
}

TEST_F(WorkerWall, IsWhole)
{
    const std::string about = worker.aboutWall();
    for (const char *part : {"processor time", "descriptors", "no core file", "no new privileges",
                             "Landlock", "seccomp"})
        EXPECT_NE(about.find(part), std::string::npos) << part << " in " << about;
    EXPECT_EQ(about.find("memory") == std::string::npos, IS_SANITIZED);
}

/// What a process that reads pictures, and its workers, ask of the system.
class Trace
{
public:
    explicit Trace(const fs::path &file)
    {
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);)
            m_lines.push_back(line);
    }

    /// The numbers of threads behind the wall, and the line from which on each is.
    [[nodiscard]] std::map<pid_t, std::size_t> walled() const
    {
        std::map<pid_t, std::size_t> found;
        for (std::size_t i = 0; i < m_lines.size(); ++i) {
            const std::string &line = m_lines[i];
            const pid_t thread = threadOf(line);
            if (line.find("SECCOMP_SET_MODE_FILTER") != std::string::npos &&
                line.find("{len=") != std::string::npos)
                found.emplace(thread, i);
            const auto result = line.rfind(" = ");
            if (found.contains(thread) && line.find(" clone") != std::string::npos &&
                result != std::string::npos && std::isdigit(line[result + 3]))
                found.emplace(threadOf(line.substr(result + 3)), 0);
        }
        return found;
    }

    /// The calls of those behind the wall by their names, each as it was last made; but for "clone"
    /// where it makes a thread.
    [[nodiscard]] std::map<std::string, std::string> callsBehindTheWall() const
    {
        const auto threads = walled();
        std::map<std::string, std::string> calls;
        for (std::size_t i = 0; i < m_lines.size(); ++i) {
            const std::string &line = m_lines[i];
            const auto thread = threads.find(threadOf(line));
            const auto name = line.find_first_not_of(" 0123456789");
            const auto end = line.find('(');
            if (thread != threads.end() && i > thread->second && end != std::string::npos &&
                line[name] != '<' && line.find("CLONE_THREAD") == std::string::npos)
                calls[line.substr(name, end - name)] = line;
        }
        return calls;
    }

private:
    static pid_t threadOf(const std::string &line) { return std::atoi(line.c_str()); }

    std::vector<std::string> m_lines;
};

/// What strace tells of @p program with @p arguments; no lines where it can't.
Trace traceOf(const fs::path &folder, const QStringList &command)
{
    QProcess strace;
    const fs::path file = folder / "trace";
    strace.start(u"strace"_s, QStringList{u"-f"_s, u"-o"_s, QString::fromStdString(file), u"-e"_s,
                                          u"trace=%file,%process,%network,seccomp"_s} +
                                  command);
    strace.waitForFinished(100'000);
    return Trace(file);
}

TEST(WorkerTrace, OpensNothingAndStartsNothing)
{
    if (IS_SANITIZED)
        GTEST_SKIP() << "a sanitizer's library looks at files, and takes part in tracing";
    const TemporaryFolder folder;
    if (QStandardPaths::findExecutable(u"strace"_s).isEmpty())
        GTEST_SKIP() << "there is no strace";
    QProcess trial;
    trial.start(u"strace"_s, {u"-o"_s, u"/dev/null"_s, u"true"_s});
    if (!trial.waitForFinished() || trial.exitCode() != 0)
        GTEST_SKIP() << "this system lets nobody trace: "
                     << trial.readAllStandardError().toStdString();
    QStringList command{QStringLiteral(READ_PICTURES_PROGRAM), QString::fromStdString(WORKER),
                        u"once"_s};
    for (const Picture &picture : allPictures())
        if (const QByteArray bytes = picture.bytes(); !bytes.isEmpty())
            command.push_back(QString::fromStdString(folder.write(picture.file, bytes)));
    const Trace trace = traceOf(folder.path(), command);
    // Three workers, each with a thread that listens.
    EXPECT_GE(trace.walled().size(), 6);
    const auto calls = trace.callsBehindTheWall();
    EXPECT_TRUE(calls.contains("recvmsg"));
    for (const char *name :
         {"open", "openat", "openat2",  "creat",  "socket", "socketpair", "connect",
          "bind", "execve", "execveat", "fork",   "vfork",  "clone",      "clone3",
          "kill", "unlink", "unlinkat", "rename", "mkdir",  "chmod"})
        EXPECT_FALSE(calls.contains(name)) << calls.at(name);
}

// --- Its end

class WorkersEnd : public testing::TestWithParam<const char *>
{};

TEST_P(WorkersEnd, WithTheProcessThatIsKilled)
{
    const TemporaryFolder folder;
    const fs::path path = folder.write("a.jpg", encoded(".jpg"));
    QProcess viewer;
    endWithParent(viewer);
    viewer.start(QStringLiteral(READ_PICTURES_PROGRAM),
                 {QString::fromStdString(WORKER), QString::fromUtf8(GetParam()),
                  QString::fromStdString(path)});
    ASSERT_TRUE(viewer.waitForReadyRead(60'000));
    EXPECT_EQ(viewer.readAllStandardOutput(), "ready\n");
    const auto workers = childrenOf(static_cast<pid_t>(viewer.processId()));
    EXPECT_GE(workers.size(), 3);
    viewer.kill();
    EXPECT_TRUE(viewer.waitForFinished());
    EXPECT_TRUE(waitUntil([&] { return std::ranges::none_of(workers, isRunning); }));
}

INSTANTIATE_TEST_SUITE_P(Workers, WorkersEnd, testing::Values("idle", "busy"),
                         [](const auto &test) { return std::string(test.param); });

} // namespace

} // namespace tavolin
