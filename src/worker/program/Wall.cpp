#include "worker/program/Wall.h"

#include "platform/QualityOfService.h"

#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <memory>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#ifdef __linux__
#include <linux/landlock.h>
#include <linux/sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

namespace tavolin::worker {

namespace {

/// An hour: more than MAX_FILES good pictures take. The viewer looks after each request.
constexpr rlim_t PROCESSOR_SECONDS = 3600;
constexpr rlim_t MAX_DESCRIPTORS = 16;

bool setLimit(int resource, rlim_t value)
{
    const rlimit limit{value, value};
    return setrlimit(static_cast<decltype(RLIMIT_AS)>(resource), &limit) == 0;
}

#ifdef __linux__

/// Takes away every right to files and folders, and those to the network and to processes outside
/// that the system's version knows. The version; 0 where that can't be done.
int closeLandlock()
{
    const auto version = static_cast<int>(syscall(SYS_landlock_create_ruleset, nullptr,
                                                  std::size_t{0}, LANDLOCK_CREATE_RULESET_VERSION));
    if (version < 1)
        return 0;
    // As in linux/landlock.h of the newest version: older ones take what they know.
    struct
    {
        std::uint64_t files = (std::uint64_t{1} << 13) - 1;
        std::uint64_t network = 0;
        std::uint64_t scopes = 0;
    } handled;
    std::size_t size = sizeof handled.files;
    if (version >= 2)
        handled.files |= std::uint64_t{1} << 13; // moving files between folders
    if (version >= 3)
        handled.files |= std::uint64_t{1} << 14; // truncating
    if (version >= 4) {
        handled.network = 3; // TCP: bind, connect
        size += sizeof handled.network;
    }
    if (version >= 5)
        handled.files |= std::uint64_t{1} << 15; // ioctl of devices
    if (version >= 6) {
        handled.scopes = 3; // abstract sockets, signals
        size += sizeof handled.scopes;
    }
    const auto rules =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &handled, size, std::uint32_t{0}));
    if (rules < 0)
        return 0;
    const bool isClosed = syscall(SYS_landlock_restrict_self, rules, std::uint32_t{0}) == 0;
    close(rules);
    return isClosed ? version : 0;
}

struct ReleaseFilter
{
    void operator()(void *filter) const { seccomp_release(filter); }
};

/// Allows what decoding takes: memory, threads, reading from descriptors, the clock. Everything
/// else fails as if it were forbidden to this user; a library that tries goes on.
bool closeSeccomp()
{
    const std::unique_ptr<void, ReleaseFilter> filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
    if (!filter)
        return false;
    bool isGood = true;
    const auto allow = [&](int call, std::initializer_list<scmp_arg_cmp> conditions = {}) {
        isGood = seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call,
                                        static_cast<unsigned>(conditions.size()),
                                        conditions.begin()) == 0 &&
                 isGood;
    };
    // The descriptors that are there.
    for (const int call :
         {SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(pread64), SCMP_SYS(lseek), SCMP_SYS(write),
          SCMP_SYS(writev), SCMP_SYS(recvfrom), SCMP_SYS(recvmsg), SCMP_SYS(sendto),
          SCMP_SYS(sendmsg), SCMP_SYS(close), SCMP_SYS(poll), SCMP_SYS(ppoll)})
        allow(call);
    // Memory.
    for (const int call : {SCMP_SYS(brk), SCMP_SYS(mmap), SCMP_SYS(munmap), SCMP_SYS(mremap),
                           SCMP_SYS(mprotect), SCMP_SYS(madvise)})
        allow(call);
    // Threads of this process, and its own end. What clone3 is asked for can't be looked at; where
    // it is unknown, threads are made by clone.
    allow(SCMP_SYS(clone),
          {SCMP_A0(SCMP_CMP_MASKED_EQ,
                   CLONE_THREAD | CLONE_NEWNS | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET |
                       CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWCGROUP,
                   CLONE_THREAD)});
    isGood =
        seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0) == 0 && isGood;
    for (const int call : {SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(set_tid_address),
                           SCMP_SYS(rseq), SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask),
                           SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack), SCMP_SYS(sched_yield),
                           SCMP_SYS(sched_getaffinity), SCMP_SYS(gettid), SCMP_SYS(getpid),
                           SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall)})
        allow(call);
    allow(SCMP_SYS(tgkill), {SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()))});
    // A thread's own cores.
    allow(SCMP_SYS(sched_setaffinity), {SCMP_A0(SCMP_CMP_EQ, 0)});
    // Looking at limits, not at those of others, and changing none.
    allow(SCMP_SYS(prlimit64), {SCMP_A0(SCMP_CMP_EQ, 0), SCMP_A2(SCMP_CMP_EQ, 0)});
    // Time, chance, and how much memory there is.
    for (const int call :
         {SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep),
          SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(getrandom), SCMP_SYS(sysinfo)})
        allow(call);
    if (IS_SANITIZED) {
        // What the sanitizers' own libraries look at.
        for (const int call : {SCMP_SYS(readlink), SCMP_SYS(getrusage), SCMP_SYS(pipe),
                               SCMP_SYS(pipe2), SCMP_SYS(sched_getscheduler), SCMP_SYS(prctl)})
            allow(call);
    }
    return isGood && seccomp_load(filter.get()) == 0;
}

#endif

} // namespace

void cutLoose()
{
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Started by its descriptor it would be shown under that number.
    prctl(PR_SET_NAME, "tavolin-worker");
    syscall(SYS_close_range, DESCRIPTORS, ~0U, 0);
#endif
}

Wall closeWall(Role role)
{
    Wall wall;
    const auto count = [&wall](WallPart part, bool stands) {
        if (stands)
            wall.parts |= static_cast<std::uint32_t>(part);
    };
#ifdef __linux__
    if (role == Role::Ahead)
        setpriority(PRIO_PROCESS, 0, UTILITY_NICENESS);
#endif
    // A sanitizer reserves terabytes.
    const auto memory =
        static_cast<rlim_t>(role == Role::Full ? FULL_MEMORY_BYTES : DISPLAY_MEMORY_BYTES);
    count(WallPart::Memory, !IS_SANITIZED && setLimit(RLIMIT_AS, memory));
    count(WallPart::ProcessorTime, setLimit(RLIMIT_CPU, PROCESSOR_SECONDS));
    count(WallPart::Descriptors, setLimit(RLIMIT_NOFILE, MAX_DESCRIPTORS));
    // None would not hold where cores go to a program (core(5)); one byte is too little for either.
    count(WallPart::NoCoreFile, setLimit(RLIMIT_CORE, 1));
#ifdef __linux__
    count(WallPart::NoNewPrivileges, prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
    wall.landlock = closeLandlock();
    count(WallPart::Landlock, wall.landlock > 0);
    count(WallPart::Seccomp, closeSeccomp());
#endif
    return wall;
}

} // namespace tavolin::worker
