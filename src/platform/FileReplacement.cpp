#include "platform/FileReplacement.h"

#include "platform/NewFile.h"

namespace tavolin {

bool replaceFile(const std::filesystem::path &file, std::span<const std::byte> content,
                 const Progress &progress)
{
    const auto above = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    const Descriptor folder(open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
        return false;
    constexpr mode_t MODE = 0666; // less what the user's mask takes away
    NewFile replacement(folder.get(), MODE);
    return replacement.get() >= 0 && !replacement.write(content, progress) &&
           !replacement.complete(progress) &&
           !replacement.place(file.filename(), Earlier::Replaced);
}

} // namespace tavolin
