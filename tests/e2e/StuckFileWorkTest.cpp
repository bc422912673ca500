// Picks, deletions, saves and undos on a disk that no longer answers: the viewer goes on, says what
// it waits for, and can be quit.

#include "e2e/SessionTest.h"
#include "e2e/WatchedFolderTest.h"

#include <algorithm>
#include <chrono>
#include <set>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
using Names = std::set<std::string>;

constexpr QStringView WAITING_TO_QUIT = u"⏳ กำลังทำงานที่ค้างให้เสร็จก่อนออก... (Esc=ออกทันที)";

/// How long the end of the program may take that is not to wait any more.
constexpr auto END_TIME = 2s;

/// Where the left edge of the default box is in crop mode.
constexpr QRect BOX_EDGE{401, 498, 5, 5};

class StuckFileWorkTest : public WatchedFolderTest<SessionTest>
{
protected:
    /// Shows the first of three pictures, waits until nothing more is read and forgets what was.
    [[nodiscard]] testing::AssertionResult openThree()
    {
        addPictures(3);
        if (const auto result = openFolder(); !result)
            return result;
        if (!waitForDetails())
            return testing::AssertionFailure() << "no details";
        m_watched->forgetCalls();
        return testing::AssertionSuccess();
    }

    [[nodiscard]] bool waitForStatusLine(QStringView text)
    {
        return waitUntil([&] { return statusLine() == text; });
    }

    /// Taps @p key while the calls @p names hang, and waits until one does.
    [[nodiscard]] bool stick(int key, const std::vector<std::string> &names)
    {
        m_watched->hang(names);
        tap(key);
        return m_watched->waitUntilStuck();
    }

    [[nodiscard]] bool enterCrop()
    {
        tap(KEY_X);
        return waitUntil([this] { return hasText(m_client->screen(BOX_EDGE), LABEL_COLOR); });
    }

    [[nodiscard]] bool crop()
    {
        if (!enterCrop())
            return false;
        tap(KEY_ENTER);
        return waitUntil([this] { return infoLine().contains(u"✏️"_s) && isCropDone(); });
    }

    [[nodiscard]] bool isCropDone() const { return statusLine().startsWith(u"✂️"_s); }

    /// Whether Escape makes the viewer wait and say so, and another one ends it in time.
    void expectTwoEscapesToEnd()
    {
        tap(KEY_ESC);
        EXPECT_TRUE(waitForStatusLine(WAITING_TO_QUIT));
        EXPECT_TRUE(staysTrue([this] { return m_viewer->isRunning(); }, 500ms));
        const auto start = Clock::now();
        EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
        EXPECT_LT(Clock::now() - start, END_TIME);
    }

    [[nodiscard]] Names namesIn(const fs::path &folder) const
    {
        Names names;
        std::error_code error;
        for (const auto &entry : fs::directory_iterator(folder, error))
            names.insert(entry.path().filename());
        return names;
    }

    /// Whether @p folder has nothing but what its names say is unfinished.
    [[nodiscard]] bool hasOnlyUnfinished(const fs::path &folder) const
    {
        const Names names = namesIn(folder);
        return std::ranges::all_of(names,
                                   [](const auto &name) { return name.starts_with(".tavolin-"); });
    }

    [[nodiscard]] QSize savedSize() const
    {
        return QImage(QString::fromStdString(pathOf("Edit") / "IMG_1001.jpg")).size();
    }
};

TEST_F(StuckFileWorkTest, PickLeavesTheKeysAlone)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(stick(KEY_A, {"rename"}));
    EXPECT_TRUE(waitForStatusLine(u"⏳ กำลังคัดลอก..."));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    expectTwoEscapesToEnd();
    EXPECT_TRUE(hasOnlyUnfinished(pathOf("HL")));
}

TEST_F(StuckFileWorkTest, PickIsWaitedForAtTheEnd)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(stick(KEY_A, {"rename"}));
    tap(KEY_ESC);
    ASSERT_TRUE(waitForStatusLine(WAITING_TO_QUIT));
    m_watched->release();
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_EQ(namesIn(pathOf("HL")), Names{"IMG_1001.jpg"});
}

TEST_F(StuckFileWorkTest, PickIsGivenUpAtTheEndWhenTheDiskDoesNotGetOn)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(stick(KEY_A, {"rename"}));
    const auto start = Clock::now();
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_GT(Clock::now() - start, 9s);
}

TEST_F(StuckFileWorkTest, DeletionLeavesTheKeysAlone)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(stick(KEY_D, {"rename"}));
    EXPECT_TRUE(waitForStatusLine(u"⏳ กำลังลบ..."));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    expectTwoEscapesToEnd();
    EXPECT_TRUE(fs::exists(pathOf("IMG_1001.jpg")));
}

TEST_F(StuckFileWorkTest, SaveLeavesTheKeysAlone)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(crop());
    m_watched->forgetCalls();
    ASSERT_TRUE(stick(KEY_S, {"rename"}));
    EXPECT_TRUE(waitForStatusLine(u"⏳ กำลังบันทึก..."));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    expectTwoEscapesToEnd();
    EXPECT_TRUE(hasOnlyUnfinished(pathOf("Edit")));
}

TEST_F(StuckFileWorkTest, SaveIsWaitedForAtTheEndWithoutAQuestion)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(crop());
    ASSERT_TRUE(stick(KEY_S, {"rename"}));
    tap(KEY_ESC);
    ASSERT_TRUE(waitForStatusLine(WAITING_TO_QUIT));
    EXPECT_EQ(m_client->windows().size(), 1U);
    m_watched->release();
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_EQ(savedSize(), QSize(960, 640));
}

TEST_F(StuckFileWorkTest, SaveIsNotGivenUpAtTheEnd)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(crop());
    ASSERT_TRUE(stick(KEY_S, {"rename"}));
    tap(KEY_ESC);
    ASSERT_TRUE(waitForStatusLine(u"❌ ยังไม่ได้ออก: ดิสก์ไม่ตอบสนอง"));
    m_watched->release();
    EXPECT_TRUE(waitUntil([this] { return savedSize() == QSize(960, 640); }));
    EXPECT_TRUE(m_viewer->isRunning());
}

TEST_F(StuckFileWorkTest, KeysDuringAnUndoAreCarriedOutWhenItHasEnded)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(crop());
    m_client->moveMouse({960, 540});
    ASSERT_TRUE(waitUntil([this] { return statusLine().isEmpty(); }));
    ASSERT_TRUE(crop());
    m_watched->forgetCalls();
    m_watched->hang({"open"});
    m_client->tapKey(KEY_Z, {KEY_LEFTCTRL});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    tap(KEY_S);
    tap(KEY_X);
    EXPECT_TRUE(waitForStatusLine(u"⏳ กำลังย้อน..."));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    EXPECT_TRUE(savedSize().isEmpty());
    m_watched->release();
    EXPECT_TRUE(waitUntil([this] { return savedSize() == QSize(960, 640); }));
    EXPECT_TRUE(waitUntil([this] { return hasText(m_client->screen(BOX_EDGE), LABEL_COLOR); }));
}

TEST_F(StuckFileWorkTest, UndoLeavesTheKeysAlone)
{
    ASSERT_TRUE(openThree());
    ASSERT_TRUE(crop());
    m_watched->forgetCalls();
    m_watched->hang({"open"});
    m_client->tapKey(KEY_Z, {KEY_LEFTCTRL});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    const auto start = Clock::now();
    EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_LT(Clock::now() - start, END_TIME);
}

} // namespace

} // namespace tavolin
