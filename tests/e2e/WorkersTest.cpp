// The whole program and the processes that read files for it: what comes of files that are made to
// hurt, of workers that are killed or hang, and of the workers when the viewer has gone.

#include "e2e/ChildProcess.h"
#include "e2e/Processes.h"
#include "e2e/SessionTest.h"
#include "platform/QualityOfService.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <linux/input-event-codes.h>
#include <sys/resource.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Between two presses of a held key.
constexpr auto REPEAT = 25ms;

/// Files that take a worker a while: some hundredths of a second, on two cores.
constexpr QSize LARGE{3000, 2000};

/// One for each kind of work, and a spare.
constexpr std::size_t MOST_WORKERS = 4;

class WorkersTest : public SessionTest
{
protected:
    [[nodiscard]] std::vector<Process> workers() const
    {
        return childrenOf(static_cast<pid_t>(m_viewer->processId()));
    }

    /// Opens the folder, and waits until there is nothing to do any more: then no worker is being
    /// started.
    [[nodiscard]] testing::AssertionResult openAndRest()
    {
        if (const auto opened = openFolder(); !opened)
            return opened;
        if (!waitForDetails())
            return testing::AssertionFailure() << "no details";
        auto seen = workers();
        const auto areTheSame = [&] { return workers() == seen; };
        if (!waitUntil([&] {
                seen = workers();
                return !seen.empty() && staysTrue(areTheSame, 300ms);
            }))
            return testing::AssertionFailure() << "workers come and go";
        return testing::AssertionSuccess();
    }

    void signalAll(const std::vector<Process> &processes, int signal)
    {
        for (const Process &process : processes)
            sendSignal(process, signal);
    }

    [[nodiscard]] static bool waitUntilGone(const std::vector<Process> &processes)
    {
        return waitUntil([&] { return std::ranges::none_of(processes, isAlive); });
    }

    /// Steps without looking whether anything has come of it.
    void step(int count, int key = KEY_RIGHT)
    {
        for (int press = 0; press < count; ++press) {
            tap(key);
            std::this_thread::sleep_for(REPEAT);
        }
    }

    /// Whether @p worker gives way to everything else.
    [[nodiscard]] static bool worksAhead(const Process &worker)
    {
        return getpriority(PRIO_PROCESS, static_cast<id_t>(worker.pid)) == UTILITY_NICENESS;
    }

    /// The worker that has taken the most of the processors since @p before, but for one that works
    /// ahead; empty when none has taken any.
    [[nodiscard]] std::optional<Process>
    busiest(const std::map<pid_t, std::chrono::nanoseconds> &before) const
    {
        std::optional<Process> result;
        auto most = 0ns;
        for (const Process &worker : workers()) {
            const auto found = before.find(worker.pid);
            const auto taken =
                processorTime(worker) - (found == before.end() ? 0ns : found->second);
            if (taken > most && !worksAhead(worker)) {
                most = taken;
                result = worker;
            }
        }
        return result;
    }

    [[nodiscard]] std::map<pid_t, std::chrono::nanoseconds> processorTimes() const
    {
        std::map<pid_t, std::chrono::nanoseconds> result;
        for (const Process &worker : workers())
            result[worker.pid] = processorTime(worker);
        return result;
    }

    /// Waits until a worker has taken @p atLeast more of the processors.
    [[nodiscard]] bool waitForBusyWorker(std::chrono::nanoseconds atLeast) const
    {
        const auto before = processorTimes();
        return waitUntil([&] {
            const auto worker = busiest(before);
            const auto found = worker ? before.find(worker->pid) : before.end();
            return found != before.end() && processorTime(*worker) - found->second >= atLeast;
        });
    }

    /// Whether the viewer lives and has said nothing, on the screen or elsewhere.
    [[nodiscard]] testing::AssertionResult isWellAndSilent()
    {
        if (!m_viewer->isRunning())
            return testing::AssertionFailure() << "the viewer has ended";
        if (const QByteArray errors = m_viewer->standardError(); !errors.isEmpty())
            return testing::AssertionFailure() << errors.toStdString();
        const auto status = statusLabel();
        if (!status)
            return testing::AssertionFailure() << "there is no status line";
        if (m_tool->nameChanges(*status) != 0 || !status->name.isEmpty())
            return testing::AssertionFailure() << "a message: " << status->name.toStdString();
        return testing::AssertionSuccess();
    }
};

TEST_F(WorkersTest, HeldKeyGoesOnWhenBusyWorkersAreKilled)
{
    constexpr int PRESSES = 40;
    constexpr int KILLS = 3;
    addPictures(1 + PRESSES, LARGE);
    ASSERT_TRUE(openAndRest());
    int kills = 0;
    auto times = processorTimes();
    for (int press = 1; press <= PRESSES; ++press) {
        step(1);
        // None for the last few: what is killed twice in its file's decode has failed at it.
        if (kills < KILLS && press >= 8 * (kills + 1) && press < PRESSES - 5) {
            if (const auto worker = busiest(times)) {
                sendSignal(*worker, SIGKILL);
                ++kills;
            }
        }
        times = processorTimes();
    }
    EXPECT_EQ(kills, KILLS);
    EXPECT_TRUE(waitForPicture(1 + PRESSES));
    EXPECT_TRUE(isWellAndSilent());
}

TEST_F(WorkersTest, PictureIsShownWhoseWorkerWasKilled)
{
    constexpr int LAST = 4; // one more than is ready after the start
    addPictures(LAST - 1);
    addPicture("IMG_2000.jpg", LAST, LAST, {9000, 6000});
    ASSERT_TRUE(openAndRest());
    const auto before = processorTimes();
    for (int press = 1; press < LAST; ++press)
        tap(KEY_RIGHT);
    std::optional<Process> worker;
    ASSERT_TRUE(waitUntil([&] {
        worker = busiest(before);
        return worker.has_value();
    }));
    sendSignal(*worker, SIGKILL);
    EXPECT_NE(shownIndex(), LAST);
    EXPECT_TRUE(waitForPicture(LAST));
    EXPECT_TRUE(isWellAndSilent());
}

TEST_F(WorkersTest, NextStepIsShownWhenAllIdleWorkersWereKilled)
{
    constexpr int STEPS = 6; // farther than what is ready already
    addPictures(1 + STEPS);
    ASSERT_TRUE(openAndRest());
    const auto killed = workers();
    signalAll(killed, SIGKILL);
    EXPECT_TRUE(waitUntilGone(killed));
    step(STEPS);
    EXPECT_TRUE(waitForPicture(1 + STEPS));
    EXPECT_TRUE(waitForDetails());
    EXPECT_TRUE(isWellAndSilent());
}

TEST_F(WorkersTest, PictureIsLeftBehindWhoseWorkerHangs)
{
    addPictures(8, LARGE);
    ASSERT_TRUE(openAndRest());
    // What has worked for the screen has worked most, but for what works ahead.
    auto all = workers();
    std::erase_if(all, worksAhead);
    ASSERT_FALSE(all.empty());
    const Process hanging = *std::ranges::max_element(all, {}, processorTime);
    sendSignal(hanging, SIGSTOP);
    step(4); // whose picture is not ready
    step(1); // which gives it up, in a while
    EXPECT_TRUE(waitForPicture(6));
    EXPECT_TRUE(waitUntilGone({hanging}));
    EXPECT_TRUE(isWellAndSilent());
}

TEST_F(WorkersTest, NoZombieIsLeftAfterWorkersHaveDied)
{
    constexpr int ROUNDS = 4;
    constexpr int STEPS = 5;
    addPictures(1 + ROUNDS * STEPS);
    ASSERT_TRUE(openAndRest());
    std::vector<Process> killed;
    for (int round = 1; round <= ROUNDS; ++round) {
        const auto present = workers();
        signalAll(present, SIGKILL);
        ASSERT_TRUE(waitUntilGone(present));
        killed.insert(killed.end(), present.begin(), present.end());
        step(STEPS);
        ASSERT_TRUE(waitForPicture(1 + round * STEPS));
    }
    ASSERT_GE(killed.size(), std::size_t{ROUNDS});
    EXPECT_TRUE(waitUntil([&] { return std::ranges::none_of(killed, isZombie); }));
    EXPECT_TRUE(waitUntil([this] { return std::ranges::all_of(workers(), isAlive); }));
    EXPECT_LE(workers().size(), MOST_WORKERS);
}

TEST_F(WorkersTest, NoWorkerIsLeftWhenTheUserHasQuit)
{
    addPictures(4);
    ASSERT_TRUE(openAndRest());
    const auto left = workers();
    EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_TRUE(waitUntilGone(left));
}

/// What may end the viewer without asking it.
class WorkersLeftTest : public WorkersTest, public testing::WithParamInterface<int>
{
protected:
    /// Ends the viewer, and waits until the workers are gone that there were at that moment.
    [[nodiscard]] testing::AssertionResult endAndLook()
    {
        const auto viewer = static_cast<pid_t>(m_viewer->processId());
        kill(viewer, SIGSTOP); // so that it starts no more of them
        const auto left = workers();
        kill(viewer, GetParam());
        kill(viewer, SIGCONT);
        if (left.empty())
            return testing::AssertionFailure() << "there were none";
        if (!waitUntil([this] { return !m_viewer->isRunning(); }))
            return testing::AssertionFailure() << "the viewer stays";
        return waitUntilGone(left) ? testing::AssertionSuccess()
                                   : testing::AssertionFailure() << "workers stay";
    }
};

TEST_P(WorkersLeftTest, NoneIsLeftThatWasIdle)
{
    addPictures(4);
    ASSERT_TRUE(openAndRest());
    EXPECT_TRUE(endAndLook());
}

TEST_P(WorkersLeftTest, NoneIsLeftThatWasBusy)
{
    addPictures(20, LARGE);
    ASSERT_TRUE(openAndRest());
    m_client->pressKey(KEY_RIGHT);
    EXPECT_TRUE(waitForBusyWorker(50ms));
    EXPECT_TRUE(endAndLook());
    m_client->releaseKey(KEY_RIGHT);
}

TEST_P(WorkersLeftTest, NoneIsLeftThatHasHung)
{
    addPictures(4);
    ASSERT_TRUE(openAndRest());
    signalAll(workers(), SIGSTOP);
    EXPECT_TRUE(endAndLook());
}

TEST_P(WorkersLeftTest, NoneIsLeftThatHasJustBeenStarted)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitUntil([this] { return !workers().empty(); }));
    EXPECT_TRUE(endAndLook());
}

INSTANTIATE_TEST_SUITE_P(, WorkersLeftTest, testing::Values(SIGTERM, SIGKILL),
                         [](const auto &test) {
                             return std::string(test.param == SIGTERM ? "Terminated" : "Killed");
                         });

/// A folder of pictures and bombs in turn, beginning and ending with a picture.
class BombedFolderTest : public WorkersTest
{
protected:
    void SetUp() override
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "sanitizers take more memory than there is";
#endif
        WorkersTest::SetUp();
    }

    /// Fills the folder with all bombs, or those that are named.
    void addBombs(const QStringList &wanted = {})
    {
        QTemporaryDir folder(m_folder.path() + u"-bombs-XXXXXX"_s); // on the same disk
        ASSERT_EQ(QProcess::execute(QStringLiteral(TAVOLIN_MAKE_BOMBS), {folder.path()}), 0)
            << "make-bombs needs python3";
        for (const QString &name : QDir(folder.path()).entryList(QDir::Files, QDir::Name)) {
            if (wanted.isEmpty() || wanted.contains(name))
                m_bombs.push_back(name.toStdString());
        }
        const int pictures = static_cast<int>(m_bombs.size()) + 1;
        for (int index = 1; index <= pictures; ++index)
            addPicture(numbered(2 * index - 1, "picture.jpg"), index, pictures);
        for (std::size_t i = 0; i < m_bombs.size(); ++i)
            fs::rename(fs::path(folder.path().toStdString()) / m_bombs[i],
                       pathOf(numbered(static_cast<int>(2 * i) + 2, m_bombs[i])));
    }

    /// So that it is number @p place in the list.
    [[nodiscard]] static std::string numbered(int place, const std::string &name)
    {
        return std::to_string(1000 + place) + ' ' + name;
    }

    [[nodiscard]] int lastIndex() const
    {
        return static_cast<int>(m_bombs.size()) + 1;
    }

    std::vector<std::string> m_bombs; // in the order of the list
};

TEST_F(BombedFolderTest, EveryPictureIsShownThatIsSteppedTo)
{
    addBombs();
    ASSERT_GT(m_bombs.size(), 40U);
    ASSERT_TRUE(openFolder());
    for (int index = 2; index <= lastIndex(); ++index) {
        ASSERT_TRUE(tapMovesCounter(KEY_RIGHT));
        ASSERT_TRUE(tapMovesCounter(KEY_RIGHT));
        ASSERT_TRUE(waitForPicture(index)) << m_bombs[static_cast<std::size_t>(index) - 2];
    }
    EXPECT_TRUE(isWellAndSilent());
    EXPECT_TRUE(waitUntil([this] { return std::ranges::all_of(workers(), isAlive); }));
    EXPECT_LE(workers().size(), MOST_WORKERS);
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(m_viewer->standardError(), QByteArray());
}

TEST_F(BombedFolderTest, HeldKeyEndsAtTheLastPicture)
{
    addBombs();
    ASSERT_TRUE(openFolder());
    const QString last = u"%1/%1 | "_s.arg(2 * lastIndex() - 1);
    m_client->pressKey(KEY_RIGHT);
    EXPECT_TRUE(waitUntil([&] { return infoLine().startsWith(last); }));
    m_client->releaseKey(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(lastIndex()));
    EXPECT_TRUE(isWellAndSilent());
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(m_viewer->standardError(), QByteArray());
}

TEST_F(BombedFolderTest, QuittingWhileABombIsDecodedIsNoCrash)
{
    addBombs({u"scans-arithmetic-12000.jpg"_s});
    ASSERT_EQ(m_bombs.size(), 1U);
    ASSERT_TRUE(openFolder());
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForBusyWorker(100ms));
    const auto left = workers();
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(m_viewer->standardError(), QByteArray());
    EXPECT_TRUE(waitUntilGone(left));
}

TEST_F(WorkersTest, QuittingDoesNotWaitForWorkersThatHang)
{
    addPictures(8);
    ASSERT_TRUE(openAndRest());
    const auto left = workers();
    signalAll(left, SIGSTOP);
    step(5); // asks for pictures that nobody will decode
    EXPECT_EQ(quit(), 0);
    EXPECT_EQ(m_viewer->standardError(), QByteArray());
    EXPECT_TRUE(waitUntilGone(left));
}

/// What a process does with the system, told by strace.
class SystemCallsTest : public WorkersTest
{
protected:
    /// Follows every thread of the viewer, and what it starts; skips where that can't be done.
    void startTrace()
    {
        if (QStandardPaths::findExecutable(u"strace"_s).isEmpty())
            GTEST_SKIP() << "strace is not installed";
        endWithParent(m_tracer);
        m_tracer.setStandardErrorFile(m_output.filePath(u"errors"_s));
        m_tracer.start(u"strace"_s, {u"-f"_s, u"-y"_s, u"-o"_s, m_output.filePath(u"calls"_s),
                                     u"-p"_s, QString::number(m_viewer->processId())});
        ASSERT_TRUE(m_tracer.waitForStarted());
        const auto isAttached = [this] { return contentOf(u"errors"_s).contains("attached"); };
        const auto hasEnded = [this] { return m_tracer.waitForFinished(0); };
        ASSERT_TRUE(waitUntil([&] { return isAttached() || hasEnded(); }));
        if (!isAttached())
            GTEST_SKIP() << "strace may not look: " << contentOf(u"errors"_s).toStdString();
    }

    /// What the threads of the viewer have called, a call a line, without what it has started.
    [[nodiscard]] QStringList endTrace()
    {
        m_tracer.terminate(); // which lets the viewer go
        EXPECT_TRUE(m_tracer.waitForFinished());
        const QStringList lines = QString::fromUtf8(contentOf(u"calls"_s)).split(u'\n');
        // "123 call(…": of a process that becomes another program nothing was the viewer's.
        static const QRegularExpression pattern(u"^(\\d+) +(.*)$"_s);
        std::set<QString> others;
        for (const QString &line : lines) {
            if (const auto match = pattern.match(line); match.captured(2).startsWith(u"execve("_s))
                others.insert(match.captured(1));
        }
        QStringList calls;
        for (const QString &line : lines) {
            if (const auto match = pattern.match(line); !others.contains(match.captured(1)))
                calls.append(match.captured(2));
        }
        return calls;
    }

private:
    [[nodiscard]] QByteArray contentOf(const QString &name) const
    {
        QFile file(m_output.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_output;
    QProcess m_tracer;
};

TEST_F(SystemCallsTest, ViewerOpensPicturesAndNeverReadsThem)
{
    constexpr int COUNT = 6;
    addPictures(COUNT);
    startViewer({});
    ASSERT_TRUE(waitUntil([this] { return m_bus->hasViewer(); }));
    startTrace();
    if (IsSkipped() || HasFatalFailure())
        return;
    ASSERT_TRUE(m_bus->open({u"file://"_s + m_folder.path()}));
    ASSERT_TRUE(waitForPicture(1));
    for (int index = 2; index <= COUNT; ++index) {
        tap(KEY_RIGHT);
        ASSERT_TRUE(waitForPicture(index));
        ASSERT_TRUE(waitForDetails());
    }
    const QStringList calls = endTrace();
    // strace writes the file behind each descriptor: "pread64(12</folder/IMG_1001.jpg>, …".
    const QString folder = m_folder.path() + u'/';
    std::set<QString> opened;
    std::set<QString> passedOn;
    for (const QString &call : calls) {
        const auto name = [&] { return call.section(folder, 1).left(sizeof "IMG_1001.jpg" - 1); };
        if (!call.contains(folder))
            continue;
        // Of a call that was interrupted the second part says "<... openat resumed>".
        static const QRegularExpression word(u"\\w+"_s);
        const QString verb = word.match(call).captured();
        if (verb == u"openat" || verb == u"open")
            opened.insert(name());
        else if (verb == u"sendmsg")
            passedOn.insert(name());
        else if (verb == u"sendfile") // read ahead, into nothing
            EXPECT_TRUE(call.contains(u"</dev/null>"_s)) << call.toStdString();
        else // nothing that gets at the content
            EXPECT_TRUE((QStringList{u"newfstatat"_s, u"fstat"_s, u"stat"_s, u"lstat"_s, u"statx"_s,
                                     u"access"_s, u"close"_s, u"fcntl"_s})
                            .contains(verb))
                << call.toStdString();
    }
    for (int index = 1; index <= COUNT; ++index)
        EXPECT_TRUE(opened.contains(u"IMG_%1.jpg"_s.arg(1000 + index))) << index;
    EXPECT_EQ(passedOn, opened);
}

} // namespace

} // namespace tavolin
