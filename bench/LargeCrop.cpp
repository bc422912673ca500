// Crops a JPEG of 280 megapixels as the viewer does, its file read by a worker within the worker's
// limits, and beside it in this process, where nothing stands between decoder and crop. Prints the
// medians of what both take, and what the worker had.

#include "decoding/Decoding.h"
#include "editing/EditJobs.h"
#include "worker/client/WorkerReader.h"

#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>

#include <jpeglib.h>

namespace {

using namespace tavolin;

constexpr QSize SIZE(20'000, 14'000);
const DisplayTarget UHD{.maxPixel = 2560, .area = QRectF(0, 0, 3840, 2160)};
constexpr int RUNS = 5;

/// Slopes with some noise, which take about as many bytes as photographs do, row by row: no more of
/// the picture stands in memory.
void writePicture(const std::filesystem::path &path)
{
    std::FILE *file = std::fopen(path.c_str(), "wb");
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, file);
    info.image_width = static_cast<JDIMENSION>(SIZE.width());
    info.image_height = static_cast<JDIMENSION>(SIZE.height());
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    jpeg_start_compress(&info, TRUE);
    std::minstd_rand random(1);
    std::vector<JSAMPLE> samples(static_cast<std::size_t>(SIZE.width()) * 3);
    for (int y = 0; y < SIZE.height(); ++y) {
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<JSAMPLE>((i / 48 + static_cast<std::size_t>(y) / 16) % 200 +
                                              (random() >> 8) % 40);
        JSAMPROW row = samples.data();
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::fclose(file);
}

/// What a crop takes.
struct Cost
{
    double seconds = 0;
    double processorSeconds = 0; ///< Of this process and of workers that have ended.
};

double processorSeconds()
{
    double sum = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval &time : {usage.ru_utime, usage.ru_stime})
            sum += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return sum;
}

/// The most address space and memory, in MB, that one of the processes had which this one has
/// started and which are still there.
struct Peak
{
    long address = 0;
    long resident = 0;
};

Peak peakOfWorkers()
{
    Peak peak;
    for (const auto &thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream children(thread.path() / "children");
        for (std::string process; children >> process;) {
            std::ifstream status("/proc/" + process + "/status");
            for (std::string line; std::getline(status, line);) {
                if (line.starts_with("VmPeak:"))
                    peak.address = std::max(peak.address, std::atol(line.c_str() + 7) / 1024);
                if (line.starts_with("VmHWM:"))
                    peak.resident = std::max(peak.resident, std::atol(line.c_str() + 6) / 1024);
            }
        }
    }
    return peak;
}

/// A crop of the middle of the picture, turned by @p angle; none where it fails.
std::optional<double> secondsFor(const PictureReader &reader, const std::filesystem::path &path,
                                 double angle)
{
    const auto begin = std::chrono::steady_clock::now();
    const CropRequest request{SIZE, angle, QRectF(2000, 1000, 12'000, 9000)};
    const CropResult result =
        cropPicture(reader, reader.loadFullImage(path, KEPT, {}), request, UHD);
    if (result.picture.isNull())
        return std::nullopt;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The same by workers, which are there before and gone afterwards, or without.
Cost costOf(bool isByWorker, const std::filesystem::path &path, double angle, Peak &peak)
{
    const InProcessReader inProcess;
    std::optional<WorkerReader> workers;
    if (isByWorker)
        (void)workers.emplace().aboutWall();
    const double before = processorSeconds();
    const auto seconds =
        isByWorker ? secondsFor(*workers, path, angle) : secondsFor(inProcess, path, angle);
    if (!seconds) {
        std::puts("the crop failed");
        std::exit(EXIT_FAILURE);
    }
    if (isByWorker)
        peak = peakOfWorkers();
    workers.reset();
    return {*seconds, processorSeconds() - before};
}

/// The median of @p number of all of @p costs.
double median(const std::vector<Cost> &costs, double Cost::*number)
{
    std::vector<double> numbers;
    for (const Cost &cost : costs)
        numbers.push_back(cost.*number);
    std::ranges::sort(numbers);
    return numbers[numbers.size() / 2];
}

} // namespace

int main()
{
    const QTemporaryDir folder;
    const auto path = std::filesystem::path(folder.filePath(QStringLiteral("a.jpg")).toStdString());
    writePicture(path);
    std::printf("%d megapixels, %ju MB\n", SIZE.width() * SIZE.height() / 1'000'000,
                std::filesystem::file_size(path) / 1'000'000);
    for (const double angle : {0.0, 3.0}) {
        Peak peak;
        std::vector<Cost> alone;
        std::vector<Cost> through;
        for (int run = 0; run < RUNS; ++run) {
            alone.push_back(costOf(false, path, angle, peak));
            through.push_back(costOf(true, path, angle, peak));
        }
        std::printf("turned by %g degrees:\n", angle);
        for (const auto &[name, number] :
             {std::pair("time", &Cost::seconds),
              std::pair("processors' time", &Cost::processorSeconds)}) {
            const double here = median(alone, number);
            const double there = median(through, number);
            std::printf("  %s: %.2f s in this process, %.2f s by a worker, ratio %.2f\n", name,
                        here, there, there / here);
        }
        std::printf("  the worker had %ld MB of memory, %ld MB of address space\n", peak.resident,
                    peak.address);
    }
    return EXIT_SUCCESS;
}
