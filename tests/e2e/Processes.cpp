#include "e2e/Processes.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <csignal>
#include <ctime>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

struct Status
{
    Process process;
    pid_t parent = 0;
    char state = 0;
};

QByteArray contents(pid_t pid, const QString &name)
{
    QFile file(u"/proc/%1/%2"_s.arg(pid).arg(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// As in proc(5), /proc/PID/stat; empty when there is no such process.
std::optional<Status> statusOf(pid_t pid)
{
    constexpr qsizetype STATE = 0; // behind the name, which may hold anything
    constexpr qsizetype PARENT = 1;
    constexpr qsizetype START = 19;
    const QByteArray text = contents(pid, u"stat"_s);
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() <= START)
        return {};
    return Status{{pid, fields[START].toULongLong()}, fields[PARENT].toInt(), fields[STATE].at(0)};
}

/// The state of @p process as the system abbreviates it; 0 when it has gone.
char stateOf(const Process &process)
{
    const auto status = statusOf(process.pid);
    return status && status->process == process ? status->state : '\0';
}

bool hasEnded(char state)
{
    return state == '\0' || state == 'Z' || state == 'X';
}

} // namespace

std::vector<Process> childrenOf(pid_t parent)
{
    std::vector<Process> children;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool isNumber = false;
        const pid_t pid = name.toInt(&isNumber);
        const auto status = isNumber ? statusOf(pid) : std::nullopt;
        if (status && status->parent == parent)
            children.push_back(status->process);
    }
    return children;
}

bool isAlive(const Process &process)
{
    return !hasEnded(stateOf(process));
}

bool isZombie(const Process &process)
{
    return stateOf(process) == 'Z';
}

std::chrono::nanoseconds processorTime(const Process &process)
{
    clockid_t clock{};
    timespec time{};
    if (!isAlive(process) || clock_getcpuclockid(process.pid, &clock) != 0 ||
        clock_gettime(clock, &time) != 0)
        return {};
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::optional<qint64> proportionalKiB(pid_t pid)
{
    constexpr QByteArrayView NAME = "Pss:";
    for (const QByteArray &line : contents(pid, u"smaps_rollup"_s).split('\n')) {
        if (line.startsWith(NAME)) // "Pss:     1234 kB"
            return line.mid(NAME.size()).chopped(2).trimmed().toLongLong();
    }
    return {};
}

void sendSignal(const Process &process, int signal)
{
    if (isAlive(process))
        kill(process.pid, signal);
}

} // namespace tavolin
