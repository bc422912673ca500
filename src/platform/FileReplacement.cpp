#include "platform/FileReplacement.h"

#include "platform/Descriptor.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace tavolin {

namespace {

/// Bytes that a slow disk, too, takes in a moment: progress is told between them.
constexpr std::size_t MAX_WRITE = 1 << 20;

bool writeAll(int descriptor, std::span<const std::byte> content, const Progress &progress)
{
    while (!content.empty()) {
        const ssize_t count =
            write(descriptor, content.data(), std::min(content.size(), MAX_WRITE));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        content = content.subspan(static_cast<std::size_t>(count));
        tell(progress);
    }
    return true;
}

/// A name in the folder of @p file that no other writer takes, on whatever machine.
std::filesystem::path temporaryName(const std::filesystem::path &file)
{
    return file.parent_path() /
           (".tavolin-" + std::to_string(QRandomGenerator::system()->generate64()));
}

bool writeNew(const std::filesystem::path &file, std::span<const std::byte> content,
              const Progress &progress)
{
    constexpr mode_t MODE = 0666; // less what the user's mask takes away
    Descriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, MODE));
    return descriptor.get() >= 0 && writeAll(descriptor.get(), content, progress) &&
           flush(descriptor.get(), progress) && descriptor.close();
}

} // namespace

bool replaceFile(const std::filesystem::path &file, std::span<const std::byte> content,
                 const Progress &progress)
{
    const std::filesystem::path temporary = temporaryName(file);
    if (!writeNew(temporary, content, progress) || rename(temporary.c_str(), file.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    // The name is on the disk when the folder is. If that fails, the file is there all the same.
    const Descriptor folder(open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0)
        flush(folder.get());
    return true;
}

} // namespace tavolin
