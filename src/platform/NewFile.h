#pragma once
// A file that is there as a whole or not at all.

#include "platform/Descriptor.h"
#include "platform/Progress.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>

namespace tavolin {

/// What becomes of an earlier file that has the name already.
enum class Earlier : std::uint8_t {
    Replaced, ///< As a whole, unless it is a folder.
    Kept,     ///< There is no place for a new one then.
};

/// A file that is being written in an open folder, under a hidden name until it is placed;
/// otherwise it is removed in the end. What files were left there by processes that were killed is
/// cleared away. Any thread; waits for the disk.
class NewFile
{
public:
    /// Begins one in @p folder, which must stay open, with permissions that are @p mode less what
    /// the user's mask takes away. Has no descriptor where that fails; errno says why.
    explicit NewFile(int folder, mode_t mode = 0600);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    /// For writing; below 0 once it is complete.
    [[nodiscard]] int get() const { return m_descriptor.get(); }

    /// Adds @p content to what it has.
    [[nodiscard]] std::error_code write(std::span<const std::byte> content,
                                        const Progress &progress = {});
    /// Waits until the disk has all of it. It is not written to any more.
    [[nodiscard]] std::error_code complete(const Progress &progress = {});
    /// Gives it @p name; the disk has that, too, then. Must be complete.
    [[nodiscard]] std::error_code place(const std::string &name, Earlier earlier);

private:
    int m_folder;
    std::string m_unfinished; // empty once it is placed
    Descriptor m_descriptor;
};

} // namespace tavolin
