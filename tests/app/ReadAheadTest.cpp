#include "browse/ReadAhead.h"

#include "app/ViewerFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

namespace tavolin {
namespace {

using test::waitFor;
using namespace std::chrono_literals;
using Numbers = std::vector<int>;

constexpr std::int64_t MIBIBYTE = std::int64_t{1} << 20;

TEST(ReadAheadLimit, IsAQuarterOfWhatThereIs)
{
    EXPECT_EQ(readAheadLimit(1000 * MIBIBYTE), 250 * MIBIBYTE);
}

TEST(ReadAheadLimit, IsHalfAGibibyteAtMost)
{
    EXPECT_EQ(readAheadLimit(2048 * MIBIBYTE), 512 * MIBIBYTE);
    EXPECT_EQ(readAheadLimit(64 * 1024 * MIBIBYTE), 512 * MIBIBYTE);
}

TEST(ReadAheadLimit, NothingWhereTheSystemDoesNotTell)
{
    EXPECT_EQ(readAheadLimit(0), 0);
}

class ReadAhead : public test::ViewerFixture
{
protected:
    /// Lets the pause before the neighbours end.
    [[nodiscard]] bool rest() { return pauses.end(test::PREFETCH_PAUSE); }

    [[nodiscard]] bool waitForPicture(int number)
    {
        return waitFor([&] { return shownNumber() == number; });
    }

    [[nodiscard]] bool isReadAhead(const Numbers &files)
    {
        return waitFor([&] { return decoder.readAheads() == files; });
    }
};

TEST_F(ReadAhead, TakesWhatLiesBehindTheNeighboursInOrder)
{
    decoder.setReadAheadBytes(MIBIBYTE);
    ASSERT_TRUE(startOnPictures(7));
    ASSERT_TRUE(rest());
    EXPECT_TRUE(isReadAhead({3, 4, 5, 6}));
}

TEST_F(ReadAhead, WaitsForTheNeighbours)
{
    decoder.setReadAheadBytes(MIBIBYTE);
    decoder.hold(2);
    ASSERT_TRUE(startOnPictures(5));
    ASSERT_TRUE(rest());
    ASSERT_TRUE(waitFor([this] { return decoder.started() == Numbers{0, 1, 2}; }));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(decoder.readAheads(), Numbers());
    decoder.release(2);
    EXPECT_TRUE(isReadAhead({3, 4}));
}

TEST_F(ReadAhead, GoesTheWayTheUserWent)
{
    decoder.setReadAheadBytes(MIBIBYTE);
    ASSERT_TRUE(startOnPictures(12, 6));
    press(Qt::Key_Left);
    ASSERT_TRUE(waitForPicture(5));
    ASSERT_TRUE(rest());
    EXPECT_TRUE(isReadAhead({2, 1, 0}));
}

TEST_F(ReadAhead, EndsAtTheLimit)
{
    decoder.setReadAheadBytes(std::int64_t{1} << 60); // of which it gets what is allowed
    ASSERT_TRUE(startOnPictures(9));
    ASSERT_TRUE(rest());
    ASSERT_TRUE(isReadAhead({3}));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(decoder.readAheads(), Numbers{3});
}

TEST_F(ReadAhead, AStepReadsOnAndNothingTwice)
{
    decoder.setReadAheadBytes(MIBIBYTE);
    ASSERT_TRUE(startOnPictures(6));
    ASSERT_TRUE(rest());
    ASSERT_TRUE(isReadAhead({3, 4, 5}));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(rest());
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(decoder.readAheads(), (Numbers{3, 4, 5}));
}

TEST_F(ReadAhead, AJumpGivesItUp)
{
    decoder.setReadAheadBytes(MIBIBYTE);
    decoder.holdReadAhead();
    ASSERT_TRUE(startOnPictures(30));
    ASSERT_TRUE(rest());
    ASSERT_TRUE(isReadAhead({3}));
    viewer->browser().jumpTo(20);
    ASSERT_TRUE(waitForPicture(20));
    ASSERT_TRUE(rest());
    EXPECT_TRUE(isReadAhead({3, 23}));
}

TEST_F(ReadAhead, AFileThatCannotBeReadEndsItUntilTheNextStep)
{
    ASSERT_TRUE(startOnPictures(9));
    ASSERT_TRUE(rest());
    ASSERT_TRUE(isReadAhead({3}));
    decoder.setReadAheadBytes(MIBIBYTE);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(rest());
    EXPECT_TRUE(isReadAhead({3, 4, 5, 6, 7, 8}));
}

} // namespace
} // namespace tavolin
