// Shows a folder at another place as if it were on a slow disk: every call waits, reading is
// limited, and all of it can be made to hang. What the kernel keeps of a file it need not ask for
// again, as with any disk; a new mount begins with nothing kept.
//
// A call that hangs is given up when whoever waits for it is being killed, as on a network disk.
// Names in the same folder are looked up one after the other: libfuse 3.14 never tells the kernel
// that they need not be.

#define FUSE_USE_VERSION 312

#include <QCommandLineParser>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <fuse_lowlevel.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int EXIT_BAD_ARGUMENTS = 2;

/// Time between two looks whether the disk hangs still.
constexpr auto HANG_PAUSE = 10ms;

/// As many calls may wait at the same time. While fewer hang, the kernel can tell that one is
/// given up; it reads ahead with 12 at most.
constexpr unsigned MOST_THREADS = 64;

/// Seconds that the kernel trusts names and attributes.
constexpr double KNOWN_FOR = 1;

struct Settings
{
    fs::path source;
    fs::path mountPoint;
    std::chrono::milliseconds callTime{0};
    double bytesPerSecond = 0; ///< 0: no limit.
    fs::path hangFile;         ///< The disk hangs while it is there; empty: never.
};

/// How long things take. Any thread.
class Disk
{
public:
    explicit Disk(Settings settings) : m_settings(std::move(settings)) {}

    [[nodiscard]] bool isHanging() const
    {
        std::error_code error;
        return !m_settings.hangFile.empty() && fs::exists(m_settings.hangFile, error);
    }

    void takeCallTime() const { std::this_thread::sleep_for(m_settings.callTime); }

    /// Waits until @p bytes are read, after everything that is being read already.
    void takeReadingTime(double bytes)
    {
        if (m_settings.bytesPerSecond <= 0)
            return;
        const std::chrono::duration<double> time(bytes / m_settings.bytesPerSecond);
        Clock::time_point end;
        {
            const std::lock_guard lock(m_mutex);
            m_idleFrom = std::max(m_idleFrom, Clock::now()) +
                         std::chrono::duration_cast<Clock::duration>(time);
            end = m_idleFrom;
        }
        std::this_thread::sleep_until(end);
    }

private:
    const Settings m_settings;
    std::mutex m_mutex;
    Clock::time_point m_idleFrom;
};

/// The disk that the running call is for.
Disk &disk()
{
    return *static_cast<Disk *>(fuse_get_context()->private_data);
}

/// Whether the thread @p thread of any process is being killed or has gone.
bool isBeingKilled(pid_t thread)
{
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigPnd:")) // a mask of hexadecimal digits
            return std::stoull(line.substr(7), nullptr, 16) >> (SIGKILL - 1) & 1;
    }
    return true;
}

/// Whether nobody waits for the running call any more.
bool isGivenUp()
{
    const fuse_context &context = *fuse_get_context();
    return fuse_session_exited(fuse_get_session(context.fuse)) != 0 ||
           (fuse_interrupted() != 0 && isBeingKilled(context.pid));
}

/// Does the system call @p call when the disk gets to it. Returns its result, or what has gone
/// wrong as a negative number.
template <typename Call>
int carryOut(Call call)
{
    while (disk().isHanging()) {
        if (isGivenUp())
            return -EINTR;
        std::this_thread::sleep_for(HANG_PAUSE);
    }
    disk().takeCallTime();
    const auto result = call();
    return result == -1 ? -errno : static_cast<int>(result);
}

/// Where @p path is, seen from the source, which is the working folder.
const char *inSource(const char *path)
{
    return path[1] == '\0' ? "." : path + 1;
}

int descriptor(const fuse_file_info *file)
{
    return static_cast<int>(file->fh);
}

int openInto(fuse_file_info *file, int opened)
{
    if (opened == -1)
        return -1;
    file->fh = static_cast<uint64_t>(opened);
    return 0;
}

int openAny(const char *path, fuse_file_info *file)
{
    return carryOut([&] { return openInto(file, open(inSource(path), file->flags)); });
}

int closeAny(const char *, fuse_file_info *file)
{
    return carryOut([&] { return close(descriptor(file)); });
}

int listFolder(const fuse_file_info *opened, void *list, fuse_fill_dir_t add)
{
    struct Close
    {
        void operator()(DIR *folder) const { closedir(folder); }
    };
    const std::unique_ptr<DIR, Close> folder(
        fdopendir(openat(descriptor(opened), ".", O_RDONLY | O_DIRECTORY)));
    if (!folder)
        return -1;
    while (const dirent *entry = readdir(folder.get())) {
        struct stat attributes = {};
        attributes.st_ino = entry->d_ino;
        attributes.st_mode = DTTOIF(entry->d_type);
        add(list, entry->d_name, &attributes, 0, fuse_fill_dir_flags{});
    }
    return 0;
}

ssize_t readTarget(const char *path, char *buffer, std::size_t size)
{
    const ssize_t length = readlink(inSource(path), buffer, size - 1);
    if (length == -1)
        return -1;
    buffer[length] = '\0';
    return 0;
}

void *begin(fuse_conn_info *, fuse_config *config)
{
    config->kernel_cache = 1; // a file that changes is noticed by its time
    config->entry_timeout = KNOWN_FOR;
    config->attr_timeout = KNOWN_FOR;
    config->use_ino = 1;
    config->intr = 1;        // without it libfuse 3.17 does not hear that a call is given up
    config->nullpath_ok = 1; // what is open is found by its descriptor
    return fuse_get_context()->private_data;
}

constexpr fuse_operations OPERATIONS{
    .getattr =
        [](const char *path, struct stat *attributes, fuse_file_info *file) {
            return carryOut([&] {
                return file ? fstat(descriptor(file), attributes)
                            : lstat(inSource(path), attributes);
            });
        },
    .readlink =
        [](const char *path, char *buffer, std::size_t size) {
            return carryOut([&] { return readTarget(path, buffer, size); });
        },
    .mkdir = [](const char *path,
                mode_t mode) { return carryOut([&] { return mkdir(inSource(path), mode); }); },
    .unlink = [](const char *path) { return carryOut([&] { return unlink(inSource(path)); }); },
    .rmdir = [](const char *path) { return carryOut([&] { return rmdir(inSource(path)); }); },
    .symlink =
        [](const char *target, const char *path) {
            return carryOut([&] { return symlink(target, inSource(path)); });
        },
    .rename =
        [](const char *from, const char *to, unsigned flags) {
            return carryOut(
                [&] { return renameat2(AT_FDCWD, inSource(from), AT_FDCWD, inSource(to), flags); });
        },
    .link =
        [](const char *from, const char *to) {
            return carryOut([&] { return link(inSource(from), inSource(to)); });
        },
    .chmod =
        [](const char *path, mode_t mode, fuse_file_info *file) {
            return carryOut([&] {
                return file ? fchmod(descriptor(file), mode) : chmod(inSource(path), mode);
            });
        },
    .truncate =
        [](const char *path, off_t size, fuse_file_info *file) {
            return carryOut([&] {
                return file ? ftruncate(descriptor(file), size) : truncate(inSource(path), size);
            });
        },
    .open = openAny,
    .read =
        [](const char *, char *buffer, std::size_t size, off_t offset, fuse_file_info *file) {
            const int count =
                carryOut([&] { return pread(descriptor(file), buffer, size, offset); });
            disk().takeReadingTime(std::max(0, count));
            return count;
        },
    .write =
        [](const char *, const char *buffer, std::size_t size, off_t offset, fuse_file_info *file) {
            return carryOut([&] { return pwrite(descriptor(file), buffer, size, offset); });
        },
    .statfs =
        [](const char *path, struct statvfs *facts) {
            return carryOut([&] { return statvfs(inSource(path), facts); });
        },
    .release = closeAny,
    .fsync =
        [](const char *, int dataOnly, fuse_file_info *file) {
            return carryOut([&] {
                return dataOnly != 0 ? fdatasync(descriptor(file)) : fsync(descriptor(file));
            });
        },
    .opendir = openAny,
    .readdir =
        [](const char *, void *list, fuse_fill_dir_t add, off_t, fuse_file_info *file,
           fuse_readdir_flags) { return carryOut([&] { return listFolder(file, list, add); }); },
    .releasedir = closeAny,
    .init = begin,
    .access = [](const char *path,
                 int mask) { return carryOut([&] { return access(inSource(path), mask); }); },
    .create =
        [](const char *path, mode_t mode, fuse_file_info *file) {
            return carryOut(
                [&] { return openInto(file, open(inSource(path), file->flags | O_CREAT, mode)); });
        },
    .utimens =
        [](const char *path, const timespec times[2], fuse_file_info *file) {
            return carryOut([&] {
                return file ? futimens(descriptor(file), times)
                            : utimensat(AT_FDCWD, inSource(path), times, AT_SYMLINK_NOFOLLOW);
            });
        },
};

/// Mounts, says so on standard output, and answers calls until it is unmounted or told to end.
/// False when it can't be mounted; the reason is on standard error.
bool serve(const Settings &settings)
{
    Disk slowDisk(settings);
    fuse_args arguments = FUSE_ARGS_INIT(0, nullptr);
    fuse_opt_add_arg(&arguments, "tavolin-slow-mount");
    const std::unique_ptr<fuse, decltype(&fuse_destroy)> fuse(
        fuse_new(&arguments, &OPERATIONS, sizeof OPERATIONS, &slowDisk), fuse_destroy);
    fuse_opt_free_args(&arguments);
    if (!fuse || fuse_set_signal_handlers(fuse_get_session(fuse.get())) != 0)
        return false;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // Threads whose call is given up get this; libfuse 3.14 has nobody take it.
    std::signal(SIGUSR1, [](int) {});
    if (fuse_mount(fuse.get(), settings.mountPoint.c_str()) != 0)
        return false;
    std::puts("mounted");
    std::fflush(stdout);
    fuse_loop_config *loop = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(loop, MOST_THREADS);
    fuse_loop_mt(fuse.get(), loop);
    fuse_loop_cfg_destroy(loop);
    // The handlers stay until then: a second signal must not end the program while it is mounted.
    fuse_unmount(fuse.get());
    fuse_remove_signal_handlers(fuse_get_session(fuse.get()));
    return true;
}

fs::path absolutePath(const QString &path)
{
    return path.isEmpty() ? fs::path() : fs::absolute(QFile::encodeName(path).toStdString());
}

/// The settings that the command line asks for; otherwise @p complaint says what is wrong.
std::optional<Settings> parseArguments(QCommandLineParser &parser, const QStringList &arguments,
                                       QString &complaint)
{
    parser.setApplicationDescription(u"Shows a folder as if it were on a slow disk."_s);
    parser.addPositionalArgument(u"SOURCE"_s, u"The folder."_s);
    parser.addPositionalArgument(u"MOUNTPOINT"_s, u"Where it is shown: an empty folder."_s);
    parser.addOptions(
        {{u"call-ms"_s, u"Milliseconds that every call waits (0)."_s, u"N"_s, u"0"_s},
         {u"mb-per-s"_s, u"10⁶ bytes that are read in a second (0: no limit)."_s, u"N"_s, u"0"_s},
         {u"hang-while"_s, u"Every call hangs while this file is there."_s, u"FILE"_s}});
    if (!parser.parse(arguments)) {
        complaint = parser.errorText();
        return {};
    }
    const QStringList places = parser.positionalArguments();
    bool isTime = false;
    bool isSpeed = false;
    const int callMs = parser.value(u"call-ms"_s).toInt(&isTime);
    const double mbPerS = parser.value(u"mb-per-s"_s).toDouble(&isSpeed);
    if (places.size() != 2 || !isTime || callMs < 0 || !isSpeed || !(mbPerS >= 0)) {
        complaint = parser.helpText();
        return {};
    }
    return Settings{.source = absolutePath(places[0]),
                    .mountPoint = absolutePath(places[1]),
                    .callTime = std::chrono::milliseconds(callMs),
                    .bytesPerSecond = mbPerS * 1e6,
                    .hangFile = absolutePath(parser.value(u"hang-while"_s))};
}

int complain(const QString &complaint, int exitCode)
{
    std::fprintf(stderr, "tavolin-slow-mount: %s\n", qPrintable(complaint));
    return exitCode;
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QFile::decodeName(argv[i]));
    QCommandLineParser parser;
    QString complaint;
    const auto settings = parseArguments(parser, arguments, complaint);
    if (!settings)
        return complain(complaint, EXIT_BAD_ARGUMENTS);

    umask(0); // the caller's has been applied
    if (chdir(settings->source.c_str()) != 0)
        return complain(u"there is no folder %1"_s.arg(QString::fromStdString(settings->source)),
                        EXIT_FAILURE);
    return serve(*settings) ? EXIT_SUCCESS : EXIT_FAILURE;
}
