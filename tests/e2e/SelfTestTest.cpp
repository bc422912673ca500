// The self-test runs of the whole program, judged by what they print.

#include "e2e/ViewerTest.h"

#include "pictures/Jpeg.h"

#include <fstream>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

/// In crop mode the picture is left of this in no case.
constexpr QRect BESIDE_THE_CROPPED_PICTURE{170, 500, 40, 40};

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

TEST_F(SelfTestTest, CropDemoEntersCropModeByItself)
{
    addPictures(1);
    startViewer({m_folder.path(), u"--crop-demo"_s});
    ASSERT_TRUE(waitForPicture(1));
    EXPECT_TRUE(
        waitUntil([&] { return isAll(m_client->screen(BESIDE_THE_CROPPED_PICTURE), BLACK); }));
    EXPECT_TRUE(m_viewer->isRunning());
}

} // namespace

} // namespace tavolin
