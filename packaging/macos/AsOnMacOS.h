#pragma once
// Before each file that packaging/check-macos looks at: makes this Linux pass for macOS. What the
// headers of both have under different names is renamed, what only macOS has is declared, and what
// only Linux has is no longer known.

// These ask which system it is, and have to know the real one.
#include <QtGlobal>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <locale>
#include <thread>

#include <fcntl.h>
#include <limits.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#undef __linux__
#undef __GLIBC__
#undef Q_OS_LINUX
#define Q_OS_MACOS

// sys/stat.h
#define st_atimespec st_atim
#define st_mtimespec st_mtim
#define st_ctimespec st_ctim

// stdio.h
#undef RENAME_NOREPLACE
#define RENAME_EXCL 4
extern "C" int renameatx_np(int fromFolder, const char *from, int toFolder, const char *to,
                            unsigned flags);

// fcntl.h
#undef O_PATH
#undef O_TMPFILE
#undef SYNC_FILE_RANGE_WRITE
#define F_RDADVISE 44
#define F_GETPATH 50
#define F_FULLFSYNC 51
struct radvisory
{
    off_t ra_offset;
    int ra_count;
};

// sys/mman.h
#undef MADV_HUGEPAGE
#undef MADV_REMOVE

// sys/socket.h
#undef MSG_NOSIGNAL
#undef MSG_CMSG_CLOEXEC
#undef SOCK_CLOEXEC
#undef SOCK_NONBLOCK
#define SO_NOSIGPIPE 0x1022

// pthread.h: the calling thread, and no other, can be named
enum qos_class_t { QOS_CLASS_USER_INITIATED = 0x19, QOS_CLASS_UTILITY = 0x11 };
extern "C" int pthread_set_qos_class_self_np(qos_class_t quality, int relativePriority);
inline int setNameOfThisThread(const char *name)
{
    return pthread_setname_np(pthread_self(), name);
}
#define pthread_setname_np setNameOfThisThread

// time.h
#undef CLOCK_BOOTTIME

#pragma GCC poison accept4 copy_file_range fallocate fexecve getrandom gettid memfd_create
#pragma GCC poison mallopt malloc_trim malloc_usable_size mremap pipe2 posix_fadvise
#pragma GCC poison posix_fallocate ppoll prctl pthread_setaffinity_np pthread_setattr_default_np
#pragma GCC poison renameat2 sched_getaffinity sched_getcpu sched_setaffinity sync_file_range syncfs
