// The self-test runs of the whole program, judged by what they print.

#include "e2e/ViewerTest.h"

#include "pictures/Jpeg.h"

#include <chrono>
#include <fstream>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

/// A strip that begins beside the picture in crop mode, and on it otherwise, and ends on it in
/// both.
constexpr QRect LEFT_STRIP{170, 520, 800, 40};
constexpr QRect STRIP_BEGINNING{0, 0, 40, 40}; // these in the strip
constexpr QRect STRIP_END{760, 0, 40, 40};

/// What no label is on.
constexpr QRect BELOW_THE_LABELS{0, 100, 1920, 980};

/// How long the crop demo waits, and a time that is surely longer.
constexpr std::chrono::milliseconds DEMO_DELAY{1200};
constexpr std::chrono::milliseconds PAST_THE_DEMO_DELAY{2000};

class SelfTestTest : public ViewerTest
{
protected:
    /// Runs the self-test on the folder, to its end, and returns the lines that it printed.
    [[nodiscard]] QStringList runBench()
    {
        startViewer({u"--bench"_s, m_folder.path()});
        EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
        QStringList lines = QString::fromUtf8(m_viewer->standardOutput()).split(u'\n');
        EXPECT_TRUE(lines.takeLast().isEmpty()); // every line has its end
        return lines;
    }

    /// Whether the picture is as far from the edges as crop mode wants it.
    [[nodiscard]] bool isInCropMode()
    {
        const QImage strip = m_client->screen(LEFT_STRIP); // both ends at the same moment
        return isAll(strip.copy(STRIP_BEGINNING), BLACK) && !isAll(strip.copy(STRIP_END), BLACK);
    }
};

TEST_F(SelfTestTest, FolderOfTestPicturesPassesEverything)
{
    addPictures(12);
    const QStringList lines = runBench();
    ASSERT_EQ(lines.size(), 7) << lines.join(u'\n').toStdString();
    EXPECT_TRUE(lines[0].startsWith(u"BENCH steps=11 final_target=11 final_current=11 "_s))
        << lines[0].toStdString();
    EXPECT_EQ(lines[1].toStdString(), "BENCH OK: image caught up with counter");
    EXPECT_EQ(lines[2].toStdString(), "BENCH EDIT saved=600x400 edited=600x400");
    EXPECT_EQ(lines[3].toStdString(), "BENCH EDIT OK");
    EXPECT_EQ(lines[4].toStdString(), "BENCH EXIF make=TestMake orient=1 OK");
    EXPECT_EQ(lines[5].toStdString(), "BENCH ROTATE result=571x351 expect≈571x351");
    EXPECT_EQ(lines[6].toStdString(), "BENCH ROTATE OK");
    EXPECT_EQ(QImage(QString::fromStdString(pathOf("Edit") / "IMG_1012.jpg")).size(),
              QSize(600, 400));
}

TEST_F(SelfTestTest, FolderOfOnePictureTakesNoStep)
{
    addPictures(1);
    const QStringList lines = runBench();
    ASSERT_EQ(lines.size(), 7) << lines.join(u'\n').toStdString();
    EXPECT_EQ(lines[0].toStdString(),
              "BENCH steps=0 final_target=0 final_current=0 frames_shown=1 cache=1");
    EXPECT_EQ(lines[3].toStdString(), "BENCH EDIT OK");
    EXPECT_EQ(lines[6].toStdString(), "BENCH ROTATE OK");
}

TEST_F(SelfTestTest, PictureOfAnotherMakeFailsThatLineOnly)
{
    const QByteArray jpeg =
        pictures::encodeJpeg(pictures::drawPicture({.size = {600, 400}, .detailed = false}), {});
    std::ofstream(pathOf("plain.jpg"), std::ios::binary).write(jpeg.constData(), jpeg.size());
    const QStringList lines = runBench();
    ASSERT_EQ(lines.size(), 7) << lines.join(u'\n').toStdString();
    EXPECT_EQ(lines[4].toStdString(), "BENCH EXIF FAIL: no TIFF metadata in saved file");
    EXPECT_EQ(lines[6].toStdString(), "BENCH ROTATE OK");
}

TEST_F(SelfTestTest, EmptyFolderSaysSoAndEnds)
{
    EXPECT_EQ(runBench(), QStringList{u"BENCH: no images"_s});
}

TEST_F(SelfTestTest, PictureThatCannotBeShownEndsWithoutAnOverlay)
{
    std::ofstream(pathOf("broken.jpg")) << "no picture";
    EXPECT_EQ(runBench(),
              (QStringList{u"BENCH steps=0 final_target=0 final_current=0 frames_shown=1 cache=0"_s,
                           u"BENCH OK: image caught up with counter"_s,
                           u"BENCH EDIT FAIL: no overlay"_s}));
}

TEST_F(SelfTestTest, PictureThatStaysBehindFailsAndTheTestsStillRun)
{
    addPictures(1);
    std::ofstream(pathOf("IMG_1002.jpg")) << "no picture";
    const QStringList lines = runBench();
    ASSERT_EQ(lines.size(), 7) << lines.join(u'\n').toStdString();
    EXPECT_TRUE(lines[0].startsWith(u"BENCH steps=1 final_target=1 final_current=0 "_s))
        << lines[0].toStdString();
    EXPECT_EQ(lines[1].toStdString(), "BENCH FAIL: image frozen behind counter");
    EXPECT_EQ(lines[3].toStdString(), "BENCH EDIT OK");
    EXPECT_EQ(lines[6].toStdString(), "BENCH ROTATE OK");
}

TEST_F(SelfTestTest, CropDemoEntersCropModeAfterAPause)
{
    addPictures(2);
    const auto start = std::chrono::steady_clock::now();
    startViewer({QString::fromStdString(pathOf("IMG_1002.jpg")), u"--crop-demo"_s});
    ASSERT_TRUE(waitUntil([this] { return isInCropMode(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, DEMO_DELAY);
    tap(KEY_ESC);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(SelfTestTest, CropDemoWithoutAPictureShowsNothing)
{
    startViewer({u"--crop-demo"_s});
    ASSERT_TRUE(waitUntil([this] { return hasText(m_client->screen(INFO_RECT), LABEL_COLOR); }));
    EXPECT_TRUE(staysTrue(
        [this] {
            return m_viewer->isRunning() && isAll(m_client->screen(BELOW_THE_LABELS), BLACK);
        },
        PAST_THE_DEMO_DELAY));
}

} // namespace

} // namespace tavolin
