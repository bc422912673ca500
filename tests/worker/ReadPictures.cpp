// Reads pictures by workers, for tests to look at from outside:
// WORKER once|idle|busy PICTURE...
// Each picture is read in every way, then "ready" is written. After that the program ends (once),
// does nothing (idle) or reads on (busy) until it is killed.

#include "platform/RegularFile.h"
#include "worker/client/WorkerReader.h"

#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace tavolin;

namespace {

void readInEveryWay(const WorkerReader &reader, const std::filesystem::path &path)
{
    (void)reader.loadThumbnail(path, 640, Urgency::Now);
    (void)reader.loadThumbnail(path, 640, Urgency::Ahead);
    (void)reader.readPhotoFacts(path, Urgency::Ahead, {});
    (void)reader.readPixelSize(path);
    (void)reader.sourceMetadata(path, {100, 100});
    if (const auto file = openRegularFile(path))
        (void)reader.isSavedByViewer(file->descriptor.get());
    (void)reader.converted(reader.loadFullImage(path, KEPT, {}), {}, {});
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4)
        return 2;
    const WorkerReader reader(argv[1]);
    const std::string mode = argv[2];
    const std::span paths(argv + 3, argv + argc);
    for (const char *path : paths)
        readInEveryWay(reader, path);
    std::puts("ready");
    std::fflush(stdout);
    if (mode == "once")
        return 0;
    std::vector<std::jthread> threads;
    if (mode == "busy") {
        threads.emplace_back([&] {
            while (true)
                (void)reader.loadThumbnail(paths[0], 640, Urgency::Now);
        });
        threads.emplace_back([&] {
            while (true)
                (void)reader.loadThumbnail(paths[0], 640, Urgency::Ahead);
        });
        threads.emplace_back([&] {
            while (true)
                (void)reader.loadFullImage(paths[0], QByteArray(), {});
        });
    }
    while (true)
        pause();
}
