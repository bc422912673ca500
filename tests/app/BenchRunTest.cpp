#include "app/ViewerFixture.h"

#include "pictures/Picture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace tavolin {
namespace {

using namespace test;

constexpr QSize PICTURE_SIZE{400, 300};

/// A self-test run on pictures whose decoding the test controls; their files can be cropped.
class BenchRun : public ViewerFixture
{
protected:
    BenchRun()
    {
        decoder.setSize(0, PICTURE_SIZE);
        decoder.setSize(1, PICTURE_SIZE);
        decoder.setPixelSize(0, PICTURE_SIZE);
        decoder.setPixelSize(1, PICTURE_SIZE);
    }

    /// Shows the picture @p first of two.
    [[nodiscard]] testing::AssertionResult openPictures(int first)
    {
        const auto isShown = startOnPictures(2, first);
        const QByteArray file = pngFile(pictures::fourQuarters(PICTURE_SIZE));
        replaceFile(0, file);
        replaceFile(1, file);
        return isShown;
    }

    /// Runs the self-test to its end, doing @p meanwhile once it has begun. What it prints.
    [[nodiscard]] std::string run(const std::function<void()> &meanwhile = [] {}) const
    {
        testing::internal::CaptureStdout();
        const bool hasEnded = endsTheApplication([&] {
            viewer->selfTest().runBench();
            meanwhile();
        });
        EXPECT_TRUE(hasEnded);
        return testing::internal::GetCapturedStdout();
    }

    /// Goes back to picture 0 once the edited picture 1 is saved.
    void leaveOnceSaved() const
    {
        EXPECT_TRUE(waitFor([this] { return statusText().starts_with("💾"); }));
        press(Qt::Key_Left);
    }
};

TEST_F(BenchRun, GoesOnWhenCropModeIsEnteredMeanwhile)
{
    ASSERT_TRUE(openPictures(0));
    const std::string printed = run([this] { viewer->cropMode().enterCrop(); });
    EXPECT_TRUE(
        printed.starts_with("BENCH steps=0 final_target=0 final_current=0 frames_shown=1 cache=1\n"
                            "BENCH OK: image caught up with counter\n"
                            "BENCH EDIT "))
        << printed;
}

TEST_F(BenchRun, EndsWhenThePictureCannotBeCropped)
{
    ASSERT_TRUE(openPictures(1));
    replaceFile(1, "no picture any more");
    EXPECT_EQ(run(), "BENCH steps=0 final_target=1 final_current=1 frames_shown=1 cache=1\n"
                     "BENCH OK: image caught up with counter\n"
                     "BENCH EDIT FAIL: no editedImage\n");
}

TEST_F(BenchRun, GoesOnWhenNothingCanBeSaved)
{
    ASSERT_TRUE(openPictures(1));
    folder.write("pictures/Edit");
    const std::string printed = run();
    EXPECT_TRUE(printed.ends_with("BENCH EDIT FAIL: file not saved\n"
                                  "BENCH EXIF FAIL: no TIFF metadata in saved file\n"
                                  "BENCH ROTATE result=189x134 expect≈189x134\n"
                                  "BENCH ROTATE OK\n"))
        << printed;
}

TEST_F(BenchRun, EndsWhenThereIsNothingToRotate)
{
    decoder.setCorrupt(100);
    ASSERT_TRUE(openPictures(1));
    const std::string printed = run([this] {
        EXPECT_TRUE(waitFor([this] { return statusText().starts_with("💾"); }));
        open(makePictures("others", 100, 101));
    });
    EXPECT_TRUE(printed.ends_with("\nBENCH ROTATE FAIL: no overlay\n")) << printed;
}

TEST_F(BenchRun, EndsWhenThePictureCannotBeRotated)
{
    ASSERT_TRUE(openPictures(0)); // and 1, while the first stays in the cache
    replaceFile(0, "no picture any more");
    const std::string printed = run([this] { leaveOnceSaved(); });
    EXPECT_TRUE(printed.ends_with("\nBENCH ROTATE FAIL: no result\n")) << printed;
}

TEST_F(BenchRun, SurvivesTheDeletionOfItsOnlyPicture)
{
    ASSERT_TRUE(startOnPictures(1));
    replaceFile(0, pngFile(pictures::fourQuarters(PICTURE_SIZE)));
    const std::string printed = run([this] {
        EXPECT_TRUE(waitFor([this] { return statusText().starts_with("💾"); }));
        press(Qt::Key_D);
        EXPECT_TRUE(waitFor([this] { return viewer->browser().imageList().empty(); }));
    });
    EXPECT_NE(printed.find("BENCH EDIT OK\n"), std::string::npos) << printed;
    EXPECT_TRUE(printed.ends_with("\nBENCH ROTATE FAIL: no overlay\n")) << printed;
}

} // namespace
} // namespace tavolin
