#include "platform/Refusal.h"

#include <cerrno>
#include <cstdio>

#include <sys/syscall.h>
#include <unistd.h>

namespace tavolin::test {

namespace {

Refusal *current = nullptr;

} // namespace

Refusal::Refusal(Call call, int error) : m_call(call), m_error(error)
{
    current = this;
}

Refusal::~Refusal()
{
    current = nullptr;
}

std::optional<int> Refusal::of(Call call)
{
    if (!current || current->m_call != call)
        return std::nullopt;
    errno = current->m_error;
    return current->m_error;
}

} // namespace tavolin::test

using tavolin::test::Call;
using tavolin::test::Refusal;

// These take the place of the C library's in this program.

extern "C" int renameat2(int fromFolder, const char *from, int toFolder, const char *to,
                         unsigned flags) noexcept
{
    if (Refusal::of(Call::RenameUnlessThere))
        return -1;
    return static_cast<int>(syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

extern "C" ssize_t copy_file_range(int from, off64_t *fromAt, int to, off64_t *toAt,
                                   std::size_t bytes, unsigned flags)
{
    if (const auto error = Refusal::of(Call::CopyRange))
        return *error == 0 ? 0 : -1;
    return syscall(SYS_copy_file_range, from, fromAt, to, toAt, bytes, flags);
}
