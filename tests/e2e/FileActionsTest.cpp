// Picking pictures and throwing them away before a real X server, with real files.

#include "e2e/ViewerTest.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <vector>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

using Names = std::set<std::string>;

/// Where a square picture is on the screen.
constexpr QRect SQUARE_RECT{420, 0, 1080, 1080};

/// The info line to the left of a square picture, from the stroke behind a position of three digits
/// of three: there it has nothing but the name.
constexpr QRect NAME_RECT{78, 16, 342, 22};

std::string contentOf(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class FileActionsTest : public ViewerTest
{
protected:
    [[nodiscard]] Names namesIn(const fs::path &folder) const
    {
        Names names;
        std::error_code error;
        for (const auto &entry : fs::directory_iterator(folder, error))
            names.insert(entry.path().filename());
        return names;
    }

    [[nodiscard]] fs::path folder() const { return m_folder.path().toStdString(); }
    [[nodiscard]] fs::path trash() const { return m_viewer->dataHome() / "Trash"; }

    /// What every picture in the folder is made of.
    [[nodiscard]] std::map<std::string, std::string> contents() const
    {
        std::map<std::string, std::string> result;
        for (const std::string &name : namesIn(folder()))
            result[name] = contentOf(folder() / name);
        return result;
    }
};

TEST_F(FileActionsTest, AKeepsACopyAndTheViewerGoesOn)
{
    addPictures(3);
    const auto before = contents();
    ASSERT_TRUE(openFolder());
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(2));
    tap(KEY_A);
    ASSERT_TRUE(waitUntil([&] { return namesIn(folder() / "HL") == Names{"IMG_1002.jpg"}; }));
    EXPECT_EQ(contentOf(folder() / "HL" / "IMG_1002.jpg"), before.at("IMG_1002.jpg"));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(3));
}

TEST_F(FileActionsTest, DThrowsAwayAndShowsTheNext)
{
    addPictures(3);
    ASSERT_TRUE(openFolder());
    tap(KEY_D);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(namesIn(trash() / "files"), Names{"IMG_1001.jpg"});
    EXPECT_EQ(namesIn(folder()), (Names{"IMG_1002.jpg", "IMG_1003.jpg"}));
}

TEST_F(FileActionsTest, HeldDThrowsAwayEveryPictureAndNothingElse)
{
    constexpr int COUNT = 20;
    addPictures(COUNT);
    const auto before = contents();
    std::ofstream(pathOf("notes.txt")) << "no picture";
    ASSERT_TRUE(openFolder());

    m_client->pressKey(KEY_D);
    EXPECT_TRUE(waitUntil([&] { return namesIn(folder()) == Names{"notes.txt"}; }));
    m_client->releaseKey(KEY_D);

    ASSERT_EQ(namesIn(trash() / "files").size(), std::size_t(COUNT));
    EXPECT_EQ(namesIn(trash() / "info").size(), std::size_t(COUNT));
    for (const auto &[name, content] : before) {
        EXPECT_TRUE(contentOf(trash() / "files" / name) == content) << name;
        const std::string info = contentOf(trash() / "info" / (name + ".trashinfo"));
        EXPECT_TRUE(
            info.starts_with("[Trash Info]\nPath=" + pathOf(name).native() + "\nDeletionDate="))
            << info;
    }
    // The details of the last picture may still be there, if it was on screen for long enough.
    constexpr QRect BELOW_THE_LINES = SQUARE_RECT.adjusted(0, 64, 0, 0);
    EXPECT_TRUE(waitUntil([&] { return isAll(m_client->screen(BELOW_THE_LINES), BLACK); }));
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

class RandomActionsTest : public FileActionsTest
{
protected:
    // With positions and counts of three digits throughout, all of one width, a name looks the same
    // wherever it is. The pictures before the first are there only for that, and never shown.
    static constexpr int UNSEEN = 99;
    static constexpr int COUNT = 24;
    static constexpr int START = 10;
    static constexpr int MAX_BACK = 8;     // the position stays above 100,
    static constexpr int MAX_DELETED = 14; // and so does the count

    static std::string nameOf(int index) { return std::to_string(2000 + index) + ".jpg"; }

    void makeFolder() const
    {
        for (int number = 1; number <= UNSEEN; ++number)
            std::ofstream(pathOf(std::to_string(1000 + number) + ".jpg"));
        // Large, so that decodes are slower than keys.
        for (int index = 1; index <= COUNT; ++index)
            addPicture(nameOf(index), index, COUNT, {2600, 2600});
    }

    /// Looks at how each name is written, and ends at picture START.
    [[nodiscard]] bool learnNames()
    {
        const auto tapMovesName = [this](int key) {
            const QImage before = m_client->screen(NAME_RECT);
            tap(key);
            return waitUntil([&] { return m_client->screen(NAME_RECT) != before; });
        };
        m_names.push_back(m_client->screen(NAME_RECT));
        while (m_names.size() < COUNT) {
            if (!tapMovesName(KEY_RIGHT))
                return false;
            m_names.push_back(m_client->screen(NAME_RECT));
        }
        for (int index = COUNT; index > START; --index) {
            if (!tapMovesName(KEY_LEFT))
                return false;
        }
        return true;
    }

    /// The number of the picture that the info line names; 0 when it can't be read.
    [[nodiscard]] int namedIndex() const
    {
        const auto found = std::find(m_names.begin(), m_names.end(), m_client->screen(NAME_RECT));
        return found == m_names.end() ? 0 : 1 + static_cast<int>(found - m_names.begin());
    }

    [[nodiscard]] bool isNamedThere() const { return fs::exists(pathOf(nameOf(namedIndex()))); }

    /// Whether the picture on screen is the one that the info line names. One that has gone can't
    /// be shown.
    [[nodiscard]] bool agrees() const
    {
        const int named = namedIndex();
        return named != 0 && (!isNamedThere() || shownIndex(SQUARE_RECT) == named);
    }

    /// Waits until picture and name agree and nothing changes that any more.
    [[nodiscard]] bool waitForAgreement() const
    {
        const auto isSo = [this] { return agrees(); };
        return waitUntil([&] { return staysTrue(isSo, std::chrono::milliseconds(400)); });
    }

    std::vector<QImage> m_names;
};

TEST_F(RandomActionsTest, PictureOnScreenIsTheOneThatTheInfoLineNames)
{
    constexpr int ROUNDS = 8;
    constexpr int PRESSES = 6;
    makeFolder();
    const auto before = contents();
    startViewer({m_folder.filePath(QString::fromStdString(nameOf(1)))});
    ASSERT_TRUE(waitForPicture(1, SQUARE_RECT));
    ASSERT_TRUE(learnNames());
    ASSERT_TRUE(waitForAgreement());
    ASSERT_EQ(namedIndex(), START);

    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::discrete_distribution<int> actions{3, 2, 1};
    int deleted = 0;
    int back = 0;
    int compared = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        for (int press = 0; press < PRESSES; ++press) {
            const int action = actions(random);
            if (action == 1 && deleted < MAX_DELETED) {
                ++deleted;
                tap(KEY_D);
            } else if (action == 2 && back < MAX_BACK) {
                ++back;
                tap(KEY_LEFT);
            } else {
                tap(KEY_RIGHT);
            }
            // Looking takes a time that sometimes is enough for a decode.
            for (auto looks = random() % 8; looks > 0; --looks)
                (void)shownIndex(SQUARE_RECT);
        }
        ASSERT_TRUE(waitForAgreement())
            << "round " << round << " shows " << shownIndex(SQUARE_RECT).value_or(0)
            << " and names " << namedIndex();
        compared += isNamedThere();
    }
    EXPECT_GT(compared, 0);
    for (const auto &[name, content] : before) {
        EXPECT_TRUE(contentOf(folder() / name) == content ||
                    contentOf(trash() / "files" / name) == content)
            << name << " is lost";
    }
}

} // namespace

} // namespace tavolin
