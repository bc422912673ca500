#include "platform/FileCopy.h"

#include "platform/Descriptor.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSysInfo>
#include <QtGlobal>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>
#ifdef Q_OS_MACOS
#include <copyfile.h>
#else
#include "platform/Gio.h"
#endif

using namespace Qt::StringLiterals;

namespace tavolin {

namespace fs = std::filesystem;

namespace {

/// Begins the name of a copy that is being written; the number of the process, a dash and another
/// number follow. Different where that process can't be asked for: on other machines and in other
/// containers, which may share the folder. In a container it changes with every start.
std::string unfinishedPrefix()
{
    std::error_code none;
    const std::string numbering = fs::read_symlink("/proc/self/ns/pid", none).native();
    const QByteArray place = QCryptographicHash::hash( // a machine's identity is not for everybody
        QSysInfo::machineUniqueId() + QByteArray::fromStdString(numbering),
        QCryptographicHash::Sha256);
    return ".tavolin-copy-" + place.first(8).toHex().toStdString() + '-';
}

/// Whether @p a and @p b are one place, also where the ways to its folder differ. Two hard links
/// are two places.
bool isSamePlace(const fs::path &a, const fs::path &b)
{
    std::error_code error;
    return a.filename() == b.filename() && fs::equivalent(a.parent_path(), b.parent_path(), error);
}

/// Whether what is at @p place is needed to reach the content of @p file: it is the file itself, or
/// a file or link that the symbolic link @p file leads to.
bool leadsThrough(fs::path file, const fs::path &place)
{
    constexpr int MAX_LINKS = 40; // as many as Linux follows
    for (int links = 0; links <= MAX_LINKS; ++links) {
        if (isSamePlace(file, place))
            return true;
        std::error_code error;
        const fs::path target = fs::read_symlink(file, error);
        if (error)
            return false;
        file = file.parent_path() / target;
    }
    return false;
}

/// The numbers of the copies that this process has begun: one after the other, from one that
/// another process of its number has not had.
class CopyNumbers
{
public:
    [[nodiscard]] std::uint32_t next() { return m_first + m_count++; }
    [[nodiscard]] bool hasGiven(std::uint32_t number) const { return number - m_first < m_count; }

private:
    const std::uint32_t m_first = QRandomGenerator::system()->generate();
    std::atomic<std::uint32_t> m_count = 0;
};

CopyNumbers &copyNumbers()
{
    static CopyNumbers numbers;
    return numbers;
}

/// A name that nobody else takes, even where two places were taken for one.
std::string unfinishedName(const std::string &prefix)
{
    return prefix + std::to_string(getpid()) + '-' + std::to_string(copyNumbers().next());
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

/// Whether @p name is that of an unfinished copy that nobody is writing any more. The number of our
/// process may be that of an earlier one, too.
bool isLeftBehind(std::string_view name, std::string_view prefix)
{
    if (!name.starts_with(prefix))
        return false;
    name.remove_prefix(prefix.size());
    const auto process = takeNumber<pid_t>(name);
    if (!process || *process <= 0 || !name.starts_with('-'))
        return false;
    name.remove_prefix(1);
    const auto number = takeNumber<std::uint32_t>(name);
    if (!number || !name.empty())
        return false;
    if (*process == getpid())
        return !copyNumbers().hasGiven(*number);
    return kill(*process, 0) != 0 && errno == ESRCH;
}

void removeLeftovers(const fs::path &folder, const std::string &prefix)
{
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code ignored;
        if (isLeftBehind(entry->path().filename().native(), prefix))
            fs::remove(entry->path(), ignored);
    }
}

/// Copies @p source to @p target, which is not there.
Failure copyAll(const fs::path &source, const fs::path &target,
                [[maybe_unused]] const Progress &progress)
{
#ifdef Q_OS_MACOS
    std::error_code error;
    const fs::path file = fs::canonical(source, error); // clones don't follow links
    if (!error &&
        copyfile(file.c_str(), target.c_str(), nullptr, COPYFILE_ALL | COPYFILE_CLONE) != 0)
        error.assign(errno, std::generic_category());
    return error ? failureOf(error) : Failure();
#else
    std::error_code noFolder;
    const GioFile from = gioFile(source, noFolder);
    const GioFile to = from ? gioFile(target, noFolder) : nullptr;
    if (!to)
        return failureOf(noFolder);
    GError *error = nullptr;
    const auto copied = [](goffset, goffset, gpointer listener) {
        tell(*static_cast<const Progress *>(listener));
    };
    Progress listener = progress;
    if (!g_file_copy(from.get(), to.get(), G_FILE_COPY_ALL_METADATA, nullptr, copied, &listener,
                     &error))
        return takeFailure(error);
    // GIO sets the permissions first, and a file that is read-only takes no attributes any more.
    std::error_code ignored;
    const fs::perms permissions = fs::status(source, ignored).permissions();
    if ((permissions & fs::perms::owner_write) == fs::perms::none) {
        fs::permissions(target, fs::perms::owner_write, fs::perm_options::add, ignored);
        constexpr auto ALL_BUT_PERMISSIONS = static_cast<GFileCopyFlags>(
            G_FILE_COPY_ALL_METADATA | G_FILE_COPY_TARGET_DEFAULT_PERMS);
        g_file_copy_attributes(from.get(), to.get(), ALL_BUT_PERMISSIONS, nullptr, nullptr);
        fs::permissions(target, permissions, ignored);
    }
    return {};
#endif
}

/// Makes sure that the disk has the content of @p file.
Failure flushFile(const fs::path &file, const Progress &progress)
{
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (descriptor.get() >= 0 && flush(descriptor.get(), progress))
        return {};
    return failureOf({errno, std::generic_category()});
}

/// Gives @p file the name @p name in place of what has it, unless that is a folder with something
/// in it.
Failure moveOver(const fs::path &file, const fs::path &name)
{
    std::error_code error;
    fs::rename(file, name, error);
    if (error == std::errc::is_a_directory) {
        fs::remove(name, error);
        if (!error)
            fs::rename(file, name, error);
    }
    return error ? failureOf(error) : Failure();
}

} // namespace

Failure copyIntoFolder(const fs::path &source, const fs::path &folder, const Progress &progress)
{
    std::error_code error;
    fs::create_directories(folder, error);
    if (error)
        return failureOf(error);
    const fs::path copy = folder / source.filename();
    if (leadsThrough(source, copy))
        return u"ต้นฉบับกับสำเนาเป็นไฟล์เดียวกัน"_s;
    // Others would be waited for (a pipe) or never end (a device).
    if (!fs::is_regular_file(fs::status(source, error)))
        return failureOf(error ? error : std::make_error_code(std::errc::not_supported));
    const std::string prefix = unfinishedPrefix();
    removeLeftovers(folder, prefix);
    const fs::path unfinished = folder / unfinishedName(prefix);
    Failure failure = copyAll(source, unfinished, progress);
    // An earlier copy may be the last there is: it stays until the disk has the new one.
    if (!failure)
        failure = flushFile(unfinished, progress);
    if (!failure)
        failure = moveOver(unfinished, copy);
    if (failure)
        fs::remove(unfinished, error);
    return failure;
}

} // namespace tavolin
