// Loaded into the viewer before its other libraries: takes note of every call on files below one
// folder, and makes it as slow as a share may be, or hang as one does whose server has gone. Linux.
//
// TAVOLIN_CALLS_FOLDER names the folder, without a slash at its end. TAVOLIN_CALLS_CONTROL names
// another one, and files in that say what happens; they are looked at with each call. "delay": so
// many milliseconds pass before it. "hang": it waits as long as this is there; names in it, one a
// line, are those of the calls or of the files for which it does, or all do where it is empty.
// "log" gets a line for each call when it begins: "main" or "other" for the thread, the name of the
// call and the path.
//
// The functions stand in for the system's under other names, as its headers have their own idea of
// how these are declared; a pair such as open and open64 is one here, and so are the ways to
// rename. Calls that the C library makes by itself, as realpath() does, are not seen: the function
// that makes them stands for them.

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

namespace {

/// What the next library calls @p name.
template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : std::string();
}

/// What the functions share. Never destroyed: files are closed after all else has ended.
struct Watch
{
    static constexpr int DESCRIPTORS = 4096;

    const std::string folder = environment("TAVOLIN_CALLS_FOLDER");
    const std::string control = environment("TAVOLIN_CALLS_CONTROL");
    decltype(::open) *const open = next<decltype(::open)>("open");
    decltype(::read) *const read = next<decltype(::read)>("read");
    decltype(::write) *const write = next<decltype(::write)>("write");
    decltype(::close) *const close = next<decltype(::close)>("close");
    const int log =
        open((control + "/log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    // The paths of descriptors that are open below the folder. Old ones are left where they are:
    // somebody may be reading them.
    std::array<std::atomic<const char *>, DESCRIPTORS> paths{};
};

Watch &watch()
{
    static Watch *const watch = new Watch;
    return *watch;
}

/// What the control file @p name holds; null when there is none.
const char *controlFile(const char *name, std::array<char, 512> &content)
{
    const int file = watch().open((watch().control + '/' + name).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return nullptr;
    const ssize_t length = watch().read(file, content.data(), content.size() - 1);
    watch().close(file);
    content[static_cast<std::size_t>(length < 0 ? 0 : length)] = 0;
    return content.data();
}

void pauseFor(long milliseconds)
{
    timespec left{.tv_sec = milliseconds / 1000, .tv_nsec = milliseconds % 1000 * 1'000'000};
    while (nanosleep(&left, &left) != 0) {
    }
}

/// Whether @p call on @p path is one that hangs now.
bool hangs(std::string_view call, const std::string &path)
{
    std::array<char, 512> content{};
    const char *names = controlFile("hang", content);
    if (!names || *names == 0)
        return names != nullptr;
    const std::string lines = '\n' + std::string(names);
    const auto isNamed = [&lines](std::string_view name) {
        return lines.find('\n' + std::string(name) + '\n') != std::string::npos;
    };
    return isNamed(call) || isNamed(std::string_view(path).substr(path.rfind('/') + 1));
}

/// @p path below the folder that @p descriptor is open at, or the working folder; lexically.
std::string absolutePath(int descriptor, const char *path)
{
    std::error_code error;
    if (path[0] != '/' && descriptor >= 0) {
        const char *base = descriptor < Watch::DESCRIPTORS
                               ? watch().paths[static_cast<std::size_t>(descriptor)].load()
                               : nullptr;
        return base ? (std::filesystem::path(base) / path).lexically_normal().native()
                    : std::string();
    }
    std::string whole =
        path[0] == '/' ? path : (std::filesystem::current_path(error) / path).native();
    whole = std::filesystem::path(whole).lexically_normal().native();
    if (whole.size() > 1 && whole.ends_with('/'))
        whole.pop_back();
    return whole;
}

bool isBelow(const std::string &path)
{
    const std::string &folder = watch().folder;
    return !folder.empty() && path.starts_with(folder) &&
           (path.size() == folder.size() || path[folder.size()] == '/');
}

/// Notes @p call on @p path, and takes as long as such a call is to take.
void undergo(std::string_view call, const std::string &path)
{
    if (call.ends_with("64"))
        call.remove_suffix(2);
    if (call.starts_with("rename"))
        call = "rename";
    const std::string line =
        (gettid() == getpid() ? "main " : "other ") + std::string(call) + ' ' + path + '\n';
    [[maybe_unused]] const auto written = watch().write(watch().log, line.data(), line.size());
    std::array<char, 512> content{};
    if (const char *delay = controlFile("delay", content))
        pauseFor(std::atol(delay));
    while (hangs(call, path))
        pauseFor(5);
}

/// A call on @p path, relative to @p descriptor.
void onPath(std::string_view call, int descriptor, const char *path)
{
    const int kept = errno;
    if (const std::string whole = path ? absolutePath(descriptor, path) : std::string();
        isBelow(whole))
        undergo(call, whole);
    errno = kept;
}

const char *pathOf(int descriptor)
{
    return descriptor >= 0 && descriptor < Watch::DESCRIPTORS
               ? watch().paths[static_cast<std::size_t>(descriptor)].load()
               : nullptr;
}

/// A call on @p descriptor.
void onDescriptor(std::string_view call, int descriptor)
{
    const int kept = errno;
    if (const char *path = pathOf(descriptor))
        undergo(call, path);
    errno = kept;
}

/// @p path for good: another thread may be reading it whatever becomes of its descriptor.
const char *kept(const std::string &path)
{
    static std::mutex mutex;
    static auto &paths = *new std::set<std::string>;
    const std::lock_guard lock(mutex);
    return paths.insert(path).first->c_str();
}

/// From now on @p opened is known to be open at @p path.
void note(int opened, int descriptor, const char *path)
{
    if (opened < 0 || opened >= Watch::DESCRIPTORS)
        return;
    const int before = errno;
    const std::string whole = absolutePath(descriptor, path);
    watch().paths[static_cast<std::size_t>(opened)] = isBelow(whole) ? kept(whole) : nullptr;
    errno = before;
}

void forget(int descriptor)
{
    if (descriptor >= 0 && descriptor < Watch::DESCRIPTORS)
        watch().paths[static_cast<std::size_t>(descriptor)] = nullptr;
}

} // namespace

// Defines the system's function NAME, which returns RESULT and takes PARAMETERS, as BODY, in which
// `real` is what it stands in for.
#define STAND_IN(NAME, RESULT, PARAMETERS, BODY)                                                   \
    extern "C" RESULT standIn_##NAME PARAMETERS asm(#NAME);                                        \
    extern "C" RESULT standIn_##NAME PARAMETERS                                                    \
    {                                                                                              \
        static auto *const real = next<RESULT PARAMETERS>(#NAME);                                  \
        BODY                                                                                       \
    }

#define ON_PATH(NAME, RESULT, PARAMETERS, ...)                                                     \
    STAND_IN(NAME, RESULT, PARAMETERS, onPath(#NAME, AT_FDCWD, path); return real(__VA_ARGS__);)
#define ON_PATH_AT(NAME, RESULT, PARAMETERS, ...)                                                  \
    STAND_IN(NAME, RESULT, PARAMETERS, onPath(#NAME, at, path); return real(__VA_ARGS__);)
#define ON_TWO_PATHS(NAME, PARAMETERS, AT, TO_AT, ...)                                             \
    STAND_IN(NAME, int, PARAMETERS, onPath(#NAME, AT, path); onPath(#NAME, TO_AT, to);             \
             return real(__VA_ARGS__);)
#define ON_DESCRIPTOR(NAME, RESULT, PARAMETERS, ...)                                               \
    STAND_IN(NAME, RESULT, PARAMETERS, onDescriptor(#NAME, file); return real(__VA_ARGS__);)
#define ON_TWO_DESCRIPTORS(NAME, RESULT, PARAMETERS, ...)                                          \
    STAND_IN(NAME, RESULT, PARAMETERS, onDescriptor(#NAME, file); onDescriptor(#NAME, to);         \
             return real(__VA_ARGS__);)

// What opens.
#define OPENS(NAME, PARAMETERS, AT, ...)                                                           \
    STAND_IN(NAME, int, PARAMETERS, onPath(#NAME, AT, path); const int opened = real(__VA_ARGS__); \
             note(opened, AT, path); return opened;)
OPENS(open, (const char *path, int flags, mode_t mode), AT_FDCWD, path, flags, mode)
OPENS(open64, (const char *path, int flags, mode_t mode), AT_FDCWD, path, flags, mode)
OPENS(__open_2, (const char *path, int flags), AT_FDCWD, path, flags)
OPENS(__open64_2, (const char *path, int flags), AT_FDCWD, path, flags)
OPENS(creat, (const char *path, mode_t mode), AT_FDCWD, path, mode)
OPENS(creat64, (const char *path, mode_t mode), AT_FDCWD, path, mode)
OPENS(openat, (int at, const char *path, int flags, mode_t mode), at, at, path, flags, mode)
OPENS(openat64, (int at, const char *path, int flags, mode_t mode), at, at, path, flags, mode)
OPENS(__openat_2, (int at, const char *path, int flags), at, at, path, flags)
OPENS(__openat64_2, (int at, const char *path, int flags), at, at, path, flags)

#define OPENS_STREAM(NAME)                                                                         \
    STAND_IN(NAME, FILE *, (const char *path, const char *mode), onPath(#NAME, AT_FDCWD, path);    \
             FILE *opened = real(path, mode); if (opened) note(fileno(opened), AT_FDCWD, path);    \
             return opened;)
OPENS_STREAM(fopen)
OPENS_STREAM(fopen64)
STAND_IN(opendir, DIR *, (const char *path), onPath("opendir", AT_FDCWD, path);
         DIR *opened = real(path); if (opened) note(dirfd(opened), AT_FDCWD, path); return opened;)

// What closes. Nothing of a share waits for the end of a file that was only read, but one that was
// written may be sent then.
STAND_IN(close, int, (int file), onDescriptor("close", file); forget(file); return real(file);)
STAND_IN(fclose, int, (FILE * stream), onDescriptor("fclose", fileno(stream));
         forget(fileno(stream)); return real(stream);)
STAND_IN(closedir, int, (DIR * folder), onDescriptor("closedir", dirfd(folder));
         forget(dirfd(folder)); return real(folder);)

// What asks and changes by path.
ON_PATH(stat, int, (const char *path, void *status), path, status)
ON_PATH(stat64, int, (const char *path, void *status), path, status)
ON_PATH(lstat, int, (const char *path, void *status), path, status)
ON_PATH(lstat64, int, (const char *path, void *status), path, status)
ON_PATH_AT(fstatat, int, (int at, const char *path, void *status, int flags), at, path, status,
           flags)
ON_PATH_AT(fstatat64, int, (int at, const char *path, void *status, int flags), at, path, status,
           flags)
ON_PATH_AT(statx, int, (int at, const char *path, int flags, unsigned mask, void *status), at, path,
           flags, mask, status)
ON_PATH(statfs, int, (const char *path, void *status), path, status)
ON_PATH(statfs64, int, (const char *path, void *status), path, status)
ON_PATH(statvfs, int, (const char *path, void *status), path, status)
ON_PATH(statvfs64, int, (const char *path, void *status), path, status)
ON_PATH(access, int, (const char *path, int mode), path, mode)
ON_PATH(euidaccess, int, (const char *path, int mode), path, mode)
ON_PATH_AT(faccessat, int, (int at, const char *path, int mode, int flags), at, path, mode, flags)
ON_PATH(readlink, ssize_t, (const char *path, char *to, std::size_t size), path, to, size)
ON_PATH_AT(readlinkat, ssize_t, (int at, const char *path, char *to, std::size_t size), at, path,
           to, size)
ON_PATH(realpath, char *, (const char *path, char *to), path, to)
ON_PATH(chdir, int, (const char *path), path)
ON_PATH(mkdir, int, (const char *path, mode_t mode), path, mode)
ON_PATH_AT(mkdirat, int, (int at, const char *path, mode_t mode), at, path, mode)
ON_PATH(rmdir, int, (const char *path), path)
ON_PATH(remove, int, (const char *path), path)
ON_PATH(unlink, int, (const char *path), path)
ON_PATH_AT(unlinkat, int, (int at, const char *path, int flags), at, path, flags)
ON_PATH(truncate, int, (const char *path, off_t size), path, size)
ON_PATH(chmod, int, (const char *path, mode_t mode), path, mode)
ON_PATH_AT(fchmodat, int, (int at, const char *path, mode_t mode, int flags), at, path, mode, flags)
ON_PATH(chown, int, (const char *path, uid_t user, gid_t group), path, user, group)
ON_PATH(lchown, int, (const char *path, uid_t user, gid_t group), path, user, group)
ON_PATH_AT(utimensat, int, (int at, const char *path, const void *times, int flags), at, path,
           times, flags)
ON_PATH(getxattr, ssize_t, (const char *path, const char *name, void *to, std::size_t size), path,
        name, to, size)
ON_PATH(lgetxattr, ssize_t, (const char *path, const char *name, void *to, std::size_t size), path,
        name, to, size)
ON_PATH(listxattr, ssize_t, (const char *path, char *to, std::size_t size), path, to, size)
ON_PATH(llistxattr, ssize_t, (const char *path, char *to, std::size_t size), path, to, size)
STAND_IN(inotify_add_watch, int, (int watcher, const char *path, unsigned mask),
         onPath("inotify_add_watch", AT_FDCWD, path);
         return real(watcher, path, mask);)
ON_TWO_PATHS(rename, (const char *path, const char *to), AT_FDCWD, AT_FDCWD, path, to)
ON_TWO_PATHS(renameat, (int at, const char *path, int toAt, const char *to), at, toAt, at, path,
             toAt, to)
ON_TWO_PATHS(renameat2, (int at, const char *path, int toAt, const char *to, unsigned flags), at,
             toAt, at, path, toAt, to, flags)
ON_TWO_PATHS(link, (const char *path, const char *to), AT_FDCWD, AT_FDCWD, path, to)
ON_TWO_PATHS(linkat, (int at, const char *path, int toAt, const char *to, int flags), at, toAt, at,
             path, toAt, to, flags)
// What a symbolic link holds is no call.
STAND_IN(symlink, int, (const char *content, const char *path), onPath("symlink", AT_FDCWD, path);
         return real(content, path);)
STAND_IN(symlinkat, int, (const char *content, int at, const char *path),
         onPath("symlinkat", at, path);
         return real(content, at, path);)

// What reads and writes.
STAND_IN(readdir, void *, (DIR * folder), onDescriptor("readdir", dirfd(folder));
         return real(folder);)
STAND_IN(readdir64, void *, (DIR * folder), onDescriptor("readdir64", dirfd(folder));
         return real(folder);)
ON_DESCRIPTOR(getdents64, ssize_t, (int file, void *to, std::size_t size), file, to, size)
ON_DESCRIPTOR(read, ssize_t, (int file, void *to, std::size_t size), file, to, size)
ON_DESCRIPTOR(pread, ssize_t, (int file, void *to, std::size_t size, off_t at), file, to, size, at)
ON_DESCRIPTOR(pread64, ssize_t, (int file, void *to, std::size_t size, off_t at), file, to, size,
              at)
ON_DESCRIPTOR(readv, ssize_t, (int file, const void *pieces, int count), file, pieces, count)
ON_DESCRIPTOR(write, ssize_t, (int file, const void *from, std::size_t size), file, from, size)
ON_DESCRIPTOR(pwrite, ssize_t, (int file, const void *from, std::size_t size, off_t at), file, from,
              size, at)
ON_DESCRIPTOR(pwrite64, ssize_t, (int file, const void *from, std::size_t size, off_t at), file,
              from, size, at)
ON_DESCRIPTOR(writev, ssize_t, (int file, const void *pieces, int count), file, pieces, count)
ON_DESCRIPTOR(readahead, ssize_t, (int file, off_t at, std::size_t size), file, at, size)
ON_DESCRIPTOR(posix_fadvise, int, (int file, off_t at, off_t size, int advice), file, at, size,
              advice)
ON_DESCRIPTOR(posix_fadvise64, int, (int file, off_t at, off_t size, int advice), file, at, size,
              advice)
ON_DESCRIPTOR(posix_fallocate, int, (int file, off_t at, off_t size), file, at, size)
ON_DESCRIPTOR(posix_fallocate64, int, (int file, off_t at, off_t size), file, at, size)
ON_DESCRIPTOR(fallocate, int, (int file, int mode, off_t at, off_t size), file, mode, at, size)
ON_DESCRIPTOR(fallocate64, int, (int file, int mode, off_t at, off_t size), file, mode, at, size)
ON_DESCRIPTOR(ftruncate, int, (int file, off_t size), file, size)
ON_DESCRIPTOR(ftruncate64, int, (int file, off_t size), file, size)
ON_DESCRIPTOR(fstat, int, (int file, void *status), file, status)
ON_DESCRIPTOR(fstat64, int, (int file, void *status), file, status)
ON_DESCRIPTOR(fstatfs, int, (int file, void *status), file, status)
ON_DESCRIPTOR(fstatfs64, int, (int file, void *status), file, status)
ON_DESCRIPTOR(fsync, int, (int file), file)
ON_DESCRIPTOR(fdatasync, int, (int file), file)
ON_DESCRIPTOR(syncfs, int, (int file), file)
ON_DESCRIPTOR(fchmod, int, (int file, mode_t mode), file, mode)
ON_DESCRIPTOR(fchown, int, (int file, uid_t user, gid_t group), file, user, group)
ON_DESCRIPTOR(futimens, int, (int file, const void *times), file, times)
ON_DESCRIPTOR(flock, int, (int file, int operation), file, operation)
ON_DESCRIPTOR(ioctl, int, (int file, unsigned long request, void *argument), file, request,
              argument)
ON_DESCRIPTOR(flistxattr, ssize_t, (int file, char *to, std::size_t size), file, to, size)
ON_DESCRIPTOR(fgetxattr, ssize_t, (int file, const char *name, void *to, std::size_t size), file,
              name, to, size)
ON_DESCRIPTOR(fsetxattr, int,
              (int file, const char *name, const void *from, std::size_t size, int flags), file,
              name, from, size, flags)
ON_TWO_DESCRIPTORS(copy_file_range, ssize_t,
                   (int file, off_t *at, int to, off_t *toAt, std::size_t size, unsigned flags),
                   file, at, to, toAt, size, flags)
ON_TWO_DESCRIPTORS(sendfile, ssize_t, (int to, int file, off_t *at, std::size_t size), to, file, at,
                   size)
ON_TWO_DESCRIPTORS(sendfile64, ssize_t, (int to, int file, off_t *at, std::size_t size), to, file,
                   at, size)
STAND_IN(mmap, void *, (void *where, std::size_t size, int use, int flags, int file, off_t at),
         onDescriptor("mmap", file);
         return real(where, size, use, flags, file, at);)
STAND_IN(mmap64, void *, (void *where, std::size_t size, int use, int flags, int file, off_t at),
         onDescriptor("mmap64", file);
         return real(where, size, use, flags, file, at);)
