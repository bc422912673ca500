#include "platform/Mount.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>

namespace tavolin::test {

Mount Mount::memory(const std::filesystem::path &place, std::size_t bytes)
{
    return {"mount -t tmpfs -o size=" + std::to_string(bytes) + " tmpfs", place};
}

Mount Mount::image(const std::filesystem::path &image, const std::filesystem::path &place)
{
    return {"mount -o loop " + image.native(), place};
}

Mount::Mount(const std::string &command, const std::filesystem::path &place) : m_place(place)
{
    // In a name space of our own, which ends with the process whatever happens to it.
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        m_error = std::string("no right to mount a file system: ") + std::strerror(errno);
    else if (std::system((command + ' ' + place.native() + " 2>/dev/null").c_str()) != 0)
        m_error = "can't do: " + command;
}

Mount::~Mount()
{
    if (m_error.empty())
        umount2(m_place.c_str(), MNT_DETACH);
}

} // namespace tavolin::test
