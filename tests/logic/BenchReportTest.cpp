#include "selftest/BenchReport.h"

#include "editing/EditOp.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

std::string text(const QString &report)
{
    return report.toStdString();
}

TEST(NavigationReport, TellsTheFiguresAndThatThePictureCaughtUp)
{
    EXPECT_EQ(text(navigationReport({.steps = 11,
                                     .targetIndex = 11,
                                     .currentIndex = 11,
                                     .framesShown = 5,
                                     .cachedPictures = 4})),
              "BENCH steps=11 final_target=11 final_current=11 frames_shown=5 cache=4\n"
              "BENCH OK: image caught up with counter");
}

TEST(NavigationReport, FailsWhenThePictureIsBehind)
{
    EXPECT_EQ(text(navigationReport({.steps = 9, .targetIndex = 9, .currentIndex = 7})),
              "BENCH steps=9 final_target=9 final_current=7 frames_shown=0 cache=0\n"
              "BENCH FAIL: image frozen behind counter");
}

TEST(SaveReport, WidthMayDifferByTwoPixels)
{
    EXPECT_EQ(text(saveReport(QSize(598, 402), {600, 400})),
              "BENCH EDIT saved=598x402 edited=600x400\nBENCH EDIT OK");
    EXPECT_EQ(text(saveReport(QSize(602, 400), {600, 400})),
              "BENCH EDIT saved=602x400 edited=600x400\nBENCH EDIT OK");
}

TEST(SaveReport, WidthMayNotDifferByThreePixels)
{
    EXPECT_EQ(text(saveReport(QSize(597, 400), {600, 400})),
              "BENCH EDIT saved=597x400 edited=600x400\nBENCH EDIT FAIL: size mismatch");
}

TEST(SaveReport, HeightIsNotCompared)
{
    EXPECT_TRUE(saveReport(QSize(600, 10), {600, 400}).endsWith(u"BENCH EDIT OK"_s));
}

TEST(SaveReport, FileThatIsNotThereFails)
{
    EXPECT_EQ(text(saveReport({}, {600, 400})), "BENCH EDIT FAIL: file not saved");
}

TEST(MetadataReport, PassesWithTheMakeOfTestPicturesUpright)
{
    EXPECT_EQ(text(metadataReport(u"TestMake"_s, 1)), "BENCH EXIF make=TestMake orient=1 OK");
}

TEST(MetadataReport, FailsWithAnotherMakeOrOrientation)
{
    EXPECT_EQ(text(metadataReport(u"Other"_s, 1)), "BENCH EXIF make=Other orient=1 FAIL");
    EXPECT_EQ(text(metadataReport(u"TestMake"_s, 6)), "BENCH EXIF make=TestMake orient=6 FAIL");
}

TEST(MetadataReport, StaysOnOneLineWhateverTheMake)
{
    EXPECT_EQ(text(metadataReport(u"A\nBENCH \x1b[2J"_s, 1)),
              "BENCH EXIF make=A BENCH  [2J orient=1 FAIL");
}

TEST(MetadataReport, FailsWithoutAMake)
{
    EXPECT_EQ(text(metadataReport({}, 1)), "BENCH EXIF FAIL: no TIFF metadata in saved file");
}

TEST(RotationReport, ToleratesTwoPercentAndFourPixels)
{
    const QSizeF expected = inscribedSize({4000, 3000}, 5); // 3780.75 by 2680.69
    EXPECT_EQ(text(rotationReport({3780, 2680}, expected)),
              "BENCH ROTATE result=3780x2680 expect≈3780x2680\nBENCH ROTATE OK");
    // 79.61 and 57.61 pixels off at most.
    for (const QSize near :
         {QSize(3702, 2680), QSize(3860, 2680), QSize(3780, 2624), QSize(3780, 2738)})
        EXPECT_TRUE(rotationReport(near, expected).endsWith(u"OK"_s))
            << near.width() << 'x' << near.height();
    for (const QSize far :
         {QSize(3701, 2680), QSize(3861, 2680), QSize(3780, 2623), QSize(3780, 2739)})
        EXPECT_TRUE(rotationReport(far, expected).endsWith(u"FAIL: size mismatch"_s))
            << far.width() << 'x' << far.height();
}

} // namespace
} // namespace tavolin
