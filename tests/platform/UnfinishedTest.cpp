#include "platform/Unfinished.h"

#include "platform/FileSystems.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace tavolin {
namespace {

using std::chrono::system_clock;
using namespace std::chrono_literals;

/// The number of a process that has ended.
pid_t deadProcess()
{
    const pid_t process = fork();
    if (process == 0)
        _exit(0);
    waitpid(process, nullptr, 0);
    return process;
}

class IsLeftBehind : public testing::Test
{
protected:
    static std::string nameFrom(const WritingPlace &place, pid_t process)
    {
        return ".tavolin-" + place.machine + '-' + place.run + '-' + std::to_string(process) + "-7";
    }

    const WritingPlace here = writingPlace();
    const system_clock::time_point now = system_clock::now();
    const system_clock::time_point beforeThisRun = here.begin - 1h;
    const pid_t dead = deadProcess();
    WritingPlace earlierRun{here.machine, std::string(here.run.size(), '0'), here.begin};
    WritingPlace otherMachine{std::string(here.machine.size(), '0'), here.run, here.begin};
};

TEST_F(IsLeftBehind, OfAProcessThatHasGone)
{
    EXPECT_TRUE(isLeftBehind(nameFrom(here, dead), now, here));
    EXPECT_FALSE(isLeftBehind(nameFrom(here, getppid()), now, here));
}

TEST_F(IsLeftBehind, OfAnEarlierRunOfTheMachineWhoeverHasTheNumberNow)
{
    EXPECT_TRUE(isLeftBehind(nameFrom(earlierRun, dead), beforeThisRun, here));
    EXPECT_TRUE(isLeftBehind(nameFrom(earlierRun, getppid()), beforeThisRun, here));
}

TEST_F(IsLeftBehind, NotWhereSomebodyHasWrittenToItSinceThisRunBegan)
{
    EXPECT_FALSE(isLeftBehind(nameFrom(earlierRun, dead), now, here));
}

TEST_F(IsLeftBehind, NeverOfAnotherMachine)
{
    EXPECT_FALSE(isLeftBehind(nameFrom(otherMachine, dead), beforeThisRun, here));
}

TEST_F(IsLeftBehind, NotWhatThisProcessWrites)
{
    EXPECT_FALSE(isLeftBehind(unfinishedName(), now, here));
    EXPECT_TRUE(isLeftBehind(nameFrom(here, getpid()), now, here));
}

TEST_F(IsLeftBehind, NotWhatOnlyLooksAlike)
{
    const std::string name = nameFrom(here, dead);
    for (const std::string &other :
         {std::string(), std::string(".tavolin-"), name + "0x", name + "-1", "1" + name,
          name.substr(0, name.size() - 1), nameFrom(here, 0), nameFrom(here, -dead)})
        EXPECT_FALSE(isLeftBehind(other, beforeThisRun, here)) << other;
}

TEST(WritingPlace, HasBegunBeforeThisProcess)
{
    EXPECT_LT(writingPlace().begin, system_clock::now());
    EXPECT_GT(writingPlace().begin, system_clock::time_point());
}

} // namespace
} // namespace tavolin
