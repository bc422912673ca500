#include "platform/Syncs.h"

#include "platform/Refusal.h"

#include <algorithm>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tavolin::test {

namespace {

Syncs *current = nullptr;

} // namespace

Syncs::Syncs(std::filesystem::path file) : m_file(std::move(file))
{
    current = this;
}

Syncs::~Syncs()
{
    current = nullptr;
}

bool Syncs::hasPlaced(const std::filesystem::path &folder) const
{
    return std::ranges::any_of(
        m_syncs, [&](const Sync &sync) { return sync.path == folder && sync.isPlaced; });
}

bool Syncs::has(const std::filesystem::path &path) const
{
    return std::ranges::any_of(m_syncs, [&](const Sync &sync) { return sync.path == path; });
}

void Syncs::add(std::filesystem::path path)
{
    m_syncs.push_back({std::move(path), std::filesystem::exists(m_file)});
}

} // namespace tavolin::test

/// Takes the place of the C library's in this program.
extern "C" int fsync(int descriptor)
{
    if (tavolin::test::current) {
        std::error_code error;
        tavolin::test::current->add(
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error));
    }
    struct stat status
    {};
    fstat(descriptor, &status);
    using tavolin::test::Call;
    if (tavolin::test::Refusal::of(S_ISDIR(status.st_mode) ? Call::SyncFolder : Call::SyncFile))
        return -1;
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}
