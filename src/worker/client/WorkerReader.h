#pragma once
// Reads pictures in workers: no file's content is looked at in this process.

#include "pixels/PictureReader.h"
#include "worker/client/OpenedFiles.h"
#include "worker/client/WorkerPool.h"
#include "worker/Protocol.h"

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace tavolin {

/// How a worker has failed at a file: it was late, has ended, or else has answered nonsense.
struct WorkerFailure
{
    bool isLate = false;
    bool hasEnded = false;
    std::optional<int> signal; ///< That has ended it.
};

/// Opens files and has workers read them. From any thread; each kind of work has a worker of its
/// own, so that none waits for another. A worker that dies, is late or answers nonsense has failed
/// at its file, and another takes its place.
class WorkerReader : public PictureReader
{
public:
    /// The program that belongs to the one that runs, by its place beside it.
    [[nodiscard]] static std::filesystem::path installedWorker();

    /// Runs @p program, as it is now, and starts a first worker at once. Where none can be started,
    /// or the system lacks a part of the wall around them, one line on standard error will say so.
    explicit WorkerReader(const std::filesystem::path &program = installedWorker());

    /// Has @p watch told of each failure, on the thread that asked for the work. To be said before
    /// any work is asked for.
    void watchFailures(std::function<void(const WorkerFailure &)> watch)
    {
        m_watch = std::move(watch);
    }

    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override;
    [[nodiscard]] Image loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                                      std::stop_token stop) const override;
    [[nodiscard]] Image converted(const Image &image, const QByteArray &monitor,
                                  std::stop_token stop) const override;
    std::int64_t readAhead(const std::filesystem::path &url, std::int64_t most,
                           const std::stop_token &stop) const override;
    [[nodiscard]] std::optional<QSize>
    readPixelSize(const std::filesystem::path &url) const override;
    [[nodiscard]] std::optional<PhotoFacts> readPhotoFacts(const std::filesystem::path &url,
                                                           Urgency urgency,
                                                           std::stop_token stop) const override;
    [[nodiscard]] std::optional<JpegMetadata> sourceMetadata(const std::filesystem::path &url,
                                                             QSize newSize) const override;
    [[nodiscard]] bool isSavedByViewer(int file) const override;

    /// The picture at @p url, upright and in sRGB, its longest side at most @p maxPixel. Null on
    /// failure.
    [[nodiscard]] Image loadThumbnail(const std::filesystem::path &url, int maxPixel,
                                      Urgency urgency = Urgency::Now,
                                      std::stop_token stop = {}) const;

    /// What stands around a worker, in one line; empty when none can be started.
    [[nodiscard]] std::string aboutWall() const;

private:
    struct Errand;
    /// The picture with a rendition only where the worker has made one.
    [[nodiscard]] DisplayPicture loadUnfitted(const std::filesystem::path &url,
                                              const DisplayTarget &target, Urgency urgency,
                                              std::stop_token stop) const;
    template <typename Talk>
    auto run(const Errand &errand, const Talk &talk) const;
    template <typename Talk>
    auto runOnFile(Errand errand, const std::filesystem::path &url, worker::Request request,
                   const Talk &talk) const;

    mutable worker::WorkerPool m_pool;
    mutable worker::OpenedFiles m_files;
    std::function<void(const WorkerFailure &)> m_watch;
    mutable std::once_flag m_wallTold;
    mutable std::once_flag m_failureTold;
};

} // namespace tavolin
