#pragma once
// Calls of the system that fail in this program as they do on file systems that lack them.

#include <cstdint>
#include <optional>

namespace tavolin::test {

/// What may be refused.
enum class Call : std::uint8_t {
    SyncFile,
    SyncFolder,
    RenameUnlessThere, ///< renameat2() with any flag.
    CopyRange,         ///< copy_file_range()
};

/// As long as it lives, a call fails with an error; CopyRange without one (0) copies nothing. One
/// at a time.
class Refusal
{
public:
    Refusal(Call call, int error);
    ~Refusal();
    Refusal(const Refusal &) = delete;
    Refusal &operator=(const Refusal &) = delete;

    /// The error of @p call, which is then in errno; nothing where it is not refused.
    static std::optional<int> of(Call call);

private:
    Call m_call;
    int m_error;
};

} // namespace tavolin::test
