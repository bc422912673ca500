#include "app/ViewerFixture.h"

#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <semaphore>
#include <stop_token>
#include <string>
#include <utility>

namespace tavolin {
namespace {

using test::waitFor;

/// @p file with so many bytes behind its end that it has @p size of them.
QByteArray padded(const QByteArray &file, qsizetype size)
{
    return file + QByteArray(size - file.size(), '\0');
}

/// A photo stored with 40x30 pixels and taken @p second seconds after 14:03:22.
QByteArray photo(int orientation, int second)
{
    pictures::JpegOptions options;
    options.exif = pictures::exifBlock(orientation, second);
    return padded(pictures::encodeJpeg(pictures::fourQuarters({40, 30}), options), 1 << 20);
}

constexpr auto FIRST_LINE = "40×30  |  1.0MB  |  TestCamera  |  TestLens 50mm  |  "
                            "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22";
constexpr auto FOURTH_LINE = "30×40  |  1.0MB  |  TestCamera  |  TestLens 50mm  |  "
                             "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:25";

class PhotoInfoLine : public test::ViewerFixture
{
protected:
    /// Shows the first of ten pictures; the first and the fourth are photos.
    [[nodiscard]] testing::AssertionResult startOnPhoto()
    {
        const auto result = startOnPictures(10);
        replaceFile(0, photo(1, 0));
        replaceFile(3, photo(6, 3));
        return result;
    }

    /// Lets the pause end and waits until the line is @p expected.
    [[nodiscard]] bool waitForLine(const std::string &expected)
    {
        return pauses.end(test::INFO_PAUSE) && waitFor([&] { return detailText() == expected; });
    }

    /// Lets the pause end and waits until what was read has been seen, with no decode under way.
    [[nodiscard]] bool readLine()
    {
        const int seen = mailbox.deliveries;
        return pauses.end(test::INFO_PAUSE) && waitForLoads(seen + 1);
    }
};

TEST_F(PhotoInfoLine, SaysAllOfAPhotoAfterThePause)
{
    ASSERT_TRUE(startOnPhoto());
    EXPECT_EQ(detailText(), "");
    ASSERT_TRUE(readLine());
    EXPECT_EQ(detailText(), FIRST_LINE);
}

TEST_F(PhotoInfoLine, PauseBeginsAnewWithTheNextPicture)
{
    ASSERT_TRUE(startOnPhoto());
    QTimer *pause = pauses.held(test::INFO_PAUSE);
    ASSERT_NE(pause, nullptr);
    pause->setInterval(std::chrono::hours(1)); // for as long as it goes on
    viewer->browser().jumpTo(3);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(pause->intervalAsDuration(), test::INFO_PAUSE);
}

TEST_F(PhotoInfoLine, SaysTheSizeOfATurnedPhotoAsItIsSeen)
{
    ASSERT_TRUE(startOnPhoto());
    viewer->browser().jumpTo(3);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(readLine());
    EXPECT_EQ(detailText(), FOURTH_LINE);
}

TEST_F(PhotoInfoLine, OfAPngWithoutExifSaysPixelsAndBytesOnly)
{
    ASSERT_TRUE(startOnPictures(1));
    replaceFile(0,
                padded(test::pngFile(pictures::fourQuarters({80, 60})), 419'430)); // 0.4 times 2^20
    ASSERT_TRUE(readLine());
    EXPECT_EQ(detailText(), "80×60  |  0.4MB");
}

TEST_F(PhotoInfoLine, OfAFileThatSaysNothingIsEmpty)
{
    ASSERT_TRUE(startOnPictures(1));
    replaceFile(0, QByteArray(1 << 20, 'x'));
    ASSERT_TRUE(readLine());
    EXPECT_EQ(detailText(), "");
}

TEST_F(PhotoInfoLine, OfAFileThatHasGoneIsEmpty)
{
    ASSERT_TRUE(startOnPictures(1));
    ASSERT_TRUE(std::filesystem::remove(folder / "pictures/000.jpg"));
    ASSERT_TRUE(readLine());
    EXPECT_EQ(detailText(), "");
}

TEST_F(PhotoInfoLine, IsEmptyAsSoonAsTheNextPictureAppears)
{
    ASSERT_TRUE(startOnPhoto());
    viewer->browser().jumpTo(3);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(waitForLine(FOURTH_LINE));
    viewer->browser().jumpTo(0); // it is cached, and no event is served
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_EQ(detailText(), "");
}

TEST_F(PhotoInfoLine, StaysAsLongAsItsPictureDoes)
{
    ASSERT_TRUE(startOnPhoto());
    ASSERT_TRUE(waitForLine(FIRST_LINE));
    decoder.hold(1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    EXPECT_EQ(detailText(), FIRST_LINE);
}

TEST_F(PhotoInfoLine, IsEmptyWhenNothingIsShown)
{
    ASSERT_TRUE(startOnPhoto());
    ASSERT_TRUE(waitForLine(FIRST_LINE));
    open(makePictures("empty", 0, -1));
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_EQ(detailText(), "");
}

TEST_F(PhotoInfoLine, IsEmptyWhenTheFirstFileOfANewFolderCanNotBeShown)
{
    ASSERT_TRUE(startOnPhoto());
    ASSERT_TRUE(waitForLine(FIRST_LINE));
    decoder.setCorrupt(100);
    const int seen = mailbox.deliveries;
    open(makePictures("others", 100, 101));
    ASSERT_TRUE(waitForLoads(seen + 1));
    EXPECT_EQ(shownNumber(), 0); // a failed decode leaves it
    EXPECT_EQ(detailText(), "");
}

TEST_F(PhotoInfoLine, OfAFileThatCanNotBeShownNeverShows)
{
    ASSERT_TRUE(startOnPhoto()); // whose pause begins
    decoder.setCorrupt(100);
    decoder.setCorrupt(101);
    int seen = mailbox.deliveries;
    open(makePictures("others", 100, 101));
    ASSERT_TRUE(waitForLoads(seen + 1));
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));
    seen = mailbox.deliveries;
    press(Qt::Key_Right); // so that something comes in any case
    ASSERT_TRUE(waitForLoads(seen + 1));
    EXPECT_EQ(detailText(), "");
    EXPECT_EQ(viewer->screen().currentPixelSize(), QSize(3, 2)); // of what is on screen
}

/// Reads the facts of a file when it is permitted.
class SlowFactsReader : public InProcessReader
{
public:
    [[nodiscard]] std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                           Urgency urgency,
                                                           std::stop_token stop) const override
    {
        begun = true;
        permits.acquire();
        return InProcessReader::readPhotoFacts(url, urgency, std::move(stop));
    }

    mutable std::atomic<bool> begun = false;
    mutable std::counting_semaphore<> permits{0};
};

TEST_F(PhotoInfoLine, ThatIsBeingReadIsShownThoughAnotherFileLeavesTheFolder)
{
    SlowFactsReader slow;
    makeViewer(slow);
    const auto pictures = makePictures("pictures", 0, 2);
    start({"--bench", pictures});
    ASSERT_TRUE(waitForLoads(1));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitFor([this] { return trash.asked().size() == 1; }));
    open(pictures / "001.jpg"); // anew
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));
    ASSERT_TRUE(waitFor([&slow] { return slow.begun.load(); }));
    trash.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(infoText(), "1/2 | 001.jpg   [H=วิธีใช้]");
    slow.permits.release(2); // and whatever is read besides
    EXPECT_TRUE(waitFor([this] { return detailText() == "3×2  |  0.0MB"; }));
    viewer.reset(); // before its reader
}

TEST_F(PhotoInfoLine, IsThatOfThePictureOnScreenWhileTheNextIsLoaded)
{
    ASSERT_TRUE(startOnPhoto());
    decoder.hold(1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    EXPECT_TRUE(waitForLine(FIRST_LINE));
}

TEST_F(PhotoInfoLine, OfAPictureThatTheUserHasLeftNeverShows)
{
    decoder.setPixelSize(3, QSize(30, 20)); // no more than is shown: nothing makes it sharper
    ASSERT_TRUE(startOnPhoto());
    decoder.hold(1);
    decoder.hold(4);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // 1 holds up the queue for 2 ...
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));     // ... and for the facts of 0 ...
    viewer->browser().jumpTo(3);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 3; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // ... and for 4
    decoder.release(1);
    ASSERT_TRUE(waitForStarts(5)); // 0, 1, 3, 2 and 4: the facts of 0 have been read
    test::serveWaitingEvents();
    EXPECT_EQ(detailText(), "");
    decoder.release(4);
    EXPECT_TRUE(waitForLine(FOURTH_LINE));
}

TEST_F(PhotoInfoLine, OfAnEarlierFolderNeverShows)
{
    const auto second = makePictures("second", 100, 101);
    ASSERT_TRUE(startOnPhoto());
    decoder.hold(1);
    decoder.hold(101);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // 1 holds up the queue for 2 ...
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));     // ... and for the facts of 0 ...
    open(second);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // ... and for 101
    decoder.release(1);
    ASSERT_TRUE(waitForStarts(5));
    test::serveWaitingEvents();
    EXPECT_EQ(detailText(), "");
}

} // namespace
} // namespace tavolin
