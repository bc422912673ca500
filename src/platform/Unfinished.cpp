#include "platform/Unfinished.h"

#include "platform/Descriptor.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSysInfo>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <dirent.h>
#include <signal.h>

namespace tavolin {

namespace {

using std::chrono::system_clock;

constexpr std::string_view PREFIX = ".tavolin-";

std::string digest(const QByteArray &text)
{
    const QByteArray hash = QCryptographicHash::hash(text, QCryptographicHash::Sha256);
    return hash.first(8).toHex().toStdString();
}

/// The numbers of the files that this process has begun: one after the other, from one that another
/// process of its number has not had.
class FileNumbers
{
public:
    [[nodiscard]] std::uint32_t next() { return m_first + m_count++; }
    [[nodiscard]] bool hasGiven(std::uint32_t number) const { return number - m_first < m_count; }

private:
    const std::uint32_t m_first = QRandomGenerator::system()->generate();
    std::atomic<std::uint32_t> m_count = 0;
};

FileNumbers &fileNumbers()
{
    static FileNumbers numbers;
    return numbers;
}

/// Takes @p text and a dash off the beginning of @p name; false where they are not there.
bool takeText(std::string_view &name, std::string_view text)
{
    if (!name.starts_with(text) || !name.substr(text.size()).starts_with('-'))
        return false;
    name.remove_prefix(text.size() + 1);
    return true;
}

/// Takes a number off the beginning of @p text; nothing where there is none.
template <typename Number>
std::optional<Number> takeNumber(std::string_view &text)
{
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return {};
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

struct FolderCloser
{
    void operator()(DIR *folder) const { closedir(folder); }
};

} // namespace

WritingPlace writingPlace()
{
    std::error_code none;
    const std::string numbering = std::filesystem::read_symlink("/proc/self/ns/pid", none).native();
    timespec sinceBegin{};
#ifdef CLOCK_BOOTTIME
    clock_gettime(CLOCK_BOOTTIME, &sinceBegin);
#endif
    return {.machine = digest(QSysInfo::machineUniqueId()),
            .run = digest(QSysInfo::bootUniqueId() + QByteArray::fromStdString(numbering)),
            .begin = system_clock::now() - std::chrono::seconds(sinceBegin.tv_sec)};
}

std::string unfinishedName()
{
    const WritingPlace here = writingPlace();
    return std::string(PREFIX) + here.machine + '-' + here.run + '-' + std::to_string(getpid()) +
           '-' + std::to_string(fileNumbers().next());
}

bool isLeftBehind(std::string_view name, system_clock::time_point change, const WritingPlace &here)
{
    if (!name.starts_with(PREFIX))
        return false;
    name.remove_prefix(PREFIX.size());
    if (!takeText(name, here.machine))
        return false;
    const std::string run(name.substr(0, here.run.size()));
    if (!takeText(name, run))
        return false;
    const auto process = takeNumber<pid_t>(name);
    if (!process || *process <= 0 || !name.starts_with('-'))
        return false;
    name.remove_prefix(1);
    const auto number = takeNumber<std::uint32_t>(name);
    if (!number || !name.empty())
        return false;
    if (run != here.run)
        return change < here.begin;
    // The number of our process may be that of an earlier one, too.
    if (*process == getpid())
        return !fileNumbers().hasGiven(*number);
    return kill(*process, 0) != 0 && errno == ESRCH;
}

void removeLeftovers(int folder)
{
    const int list = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, FolderCloser> entries(list < 0 ? nullptr : fdopendir(list));
    if (!entries) {
        Descriptor(list).close();
        return;
    }
    const WritingPlace here = writingPlace();
    while (const dirent *entry = readdir(entries.get())) {
        struct stat status
        {};
        // Links that were given such a name are none of ours.
        if (std::string_view(entry->d_name).starts_with(PREFIX) &&
            fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode) &&
            isLeftBehind(entry->d_name, system_clock::from_time_t(status.st_ctime), here))
            unlinkat(folder, entry->d_name, 0);
    }
}

} // namespace tavolin
