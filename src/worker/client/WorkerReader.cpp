#include "worker/client/WorkerReader.h"

#include "pixels/FileExtensions.h"
#include "pixels/Limits.h"
#include "pixels/ScaledPicture.h"
#include "platform/RegularFile.h"
#include "worker/client/Exchange.h"
#include "worker/client/WallReport.h"

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

#include <fcntl.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace worker;

namespace {

// What a worker may take of the processors for one request; a picture's size adds to it. Some ten
// times what the slowest good file takes on a slow machine.
constexpr auto DISPLAY_TIME = 10s;
constexpr auto FULL_TIME = 60s;
constexpr auto FACTS_TIME = 5s;

/// For the system to say how a worker has ended that is gone.
constexpr auto ENDING_TIME = 200ms;

/// In the place of a folder, for a worker that has seen no picture but those that may be earlier
/// edits: what it says may cost somebody a file. No path of a picture's folder is a relative one.
constexpr const char *OF_EARLIER_EDITS = "earlier edits";

/// A text of PhotoMetadata as UTF-8: each of its 4096 bytes may have become U+FFFD.
constexpr std::int64_t MAX_TEXT_BYTES = std::int64_t{3} * 4096;

Role roleFor(Urgency urgency)
{
    return urgency == Urgency::Now ? Role::Display : Role::Ahead;
}

/// Whether somebody else sends @p signal, as the system may when memory runs out.
bool isFromOutside(int signal)
{
    return signal == SIGKILL || signal == SIGTERM || signal == SIGINT || signal == SIGHUP;
}

bool isAlpha(std::uint32_t value)
{
    return value == static_cast<std::uint32_t>(Alpha::Opaque) ||
           value == static_cast<std::uint32_t>(Alpha::Premultiplied);
}

/// Whether @p reply may tell of a picture within @p maxPixel.
bool hasPicture(const Reply &reply, int maxPixel)
{
    const QSize size(reply.width, reply.height);
    return isWithinLimits(size) && std::max(size.width(), size.height()) <= maxPixel &&
           isAlpha(reply.alpha);
}

/// How many bytes behind the ring a picture lies; empty where its rows are to be fetched.
std::optional<std::size_t> offsetOf(Place place)
{
    switch (place) {
    case Place::Front:
        return 0;
    case Place::Back:
        return RENDITION_OFFSET;
    default:
        return std::nullopt;
    }
}

/// The picture that @p reply, if there is one, tells of, in @p colors. Its rows are to be dropped
/// after it.
Image receivePicture(Exchange &exchange, const std::optional<Reply> &reply, int maxPixel,
                     const FullColors &colors)
{
    if (!reply)
        return {};
    if (!hasPicture(*reply, maxPixel)) {
        exchange.breakOff();
        return {};
    }
    QByteArray profile =
        exchange.receiveBlock(reply->blockBytes[0], colors ? 0 : MAX_PROFILE_BYTES);
    // ICC.1:2022, 7.2.6. More is not looked at; it may go into a file that is saved.
    if (!profile.isEmpty() && profile.mid(16, 4) != "RGB ")
        exchange.breakOff();
    const Exchange::Source source{.size = {reply->width, reply->height},
                                  .alpha = static_cast<Alpha>(reply->alpha),
                                  .offset = offsetOf(reply->place)};
    PixelBuffer pixels = exchange.receiveRows(source);
    return std::move(pixels).toImage(source.alpha, colors ? *colors : std::move(profile));
}

/// The rendition for @p target that @p reply says comes with @p image, if one does.
Image receiveRendition(Exchange &exchange, const Reply &reply, const Image &image,
                       const DisplayTarget &target)
{
    const Exchange::Source source{.size = {reply.renditionWidth, reply.renditionHeight},
                                  .alpha = image.alpha(),
                                  .offset = offsetOf(reply.renditionPlace),
                                  .isRendition = true};
    if (image.isNull() || source.size == QSize(0, 0))
        return {};
    if (!isSmaller(source.size, image.size()) ||
        source.size != renditionSize(image.size(), target.area, target.scale)) {
        exchange.breakOff();
        return {};
    }
    return exchange.receiveRows(source).toImage(source.alpha, target.profile);
}

/// @p size as a worker tells it: empty where there is none, or none that makes sense.
std::optional<QSize> checkedSize(QSize size)
{
    const bool isSize =
        !size.isEmpty() && std::max(size.width(), size.height()) <= MAX_TOLD_SIDE_PX;
    return isSize ? std::optional(size) : std::nullopt;
}

std::optional<PhotoFacts> receiveFacts(Exchange &exchange)
{
    const auto reply = exchange.receive();
    if (!reply)
        return std::nullopt;
    const FactsFields &fields = reply->facts;
    PhotoFacts facts;
    facts.orientation = orientationFromExif(fields.orientation);
    facts.metadata.pixelSize = checkedSize({reply->width, reply->height});
    std::uint32_t bit = 1;
    const auto isPresent = [&] { return (fields.present & std::exchange(bit, bit << 1)) != 0; };
    const auto number = [&](double value) {
        return isPresent() && std::isfinite(value) ? std::optional(value) : std::nullopt;
    };
    facts.metadata.focalLength = number(fields.focalLength);
    facts.metadata.fNumber = number(fields.fNumber);
    facts.metadata.exposureTime = number(fields.exposureTime);
    if (isPresent())
        facts.metadata.iso = fields.iso;
    const std::array texts{&facts.metadata.make, &facts.metadata.model, &facts.metadata.lensModel,
                           &facts.metadata.dateTimeOriginal};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const QByteArray text = exchange.receiveBlock(reply->blockBytes[i], MAX_TEXT_BYTES);
        if (isPresent())
            *texts[i] = QString::fromUtf8(text);
    }
    return facts;
}

/// The density as a worker tells it; none where it makes no sense.
PixelDensity checkedDensity(const Reply &reply)
{
    constexpr std::uint32_t MOST = std::numeric_limits<std::uint16_t>::max();
    const auto isCount = [](std::uint32_t count) { return count > 0 && count <= MOST; };
    if (reply.densityUnit > PixelDensity::PER_CENTIMETRE || !isCount(reply.densityX) ||
        !isCount(reply.densityY))
        return {};
    return {static_cast<std::uint8_t>(reply.densityUnit),
            static_cast<std::uint16_t>(reply.densityX), static_cast<std::uint16_t>(reply.densityY)};
}

std::optional<JpegMetadata> receiveMetadata(Exchange &exchange)
{
    const auto reply = exchange.receive();
    if (!reply)
        return std::nullopt;
    JpegMetadata metadata;
    metadata.exif = exchange.receiveBlock(reply->blockBytes[0], JpegMetadata::MAX_EXIF_BYTES);
    metadata.xmp = exchange.receiveBlock(reply->blockBytes[1], JpegMetadata::MAX_XMP_BYTES);
    metadata.photoshop =
        exchange.receiveBlock(reply->blockBytes[2], JpegMetadata::MAX_PHOTOSHOP_BYTES);
    metadata.defaultProfile = exchange.receiveBlock(reply->blockBytes[3], MAX_PROFILE_BYTES);
    for (std::size_t i = FIRST_COMMENT; i < reply->blockBytes.size(); ++i)
        metadata.comments.push_back(
            exchange.receiveBlock(reply->blockBytes[i], JpegMetadata::MAX_COMMENT_BYTES));
    std::erase_if(metadata.comments, [](const QByteArray &comment) { return comment.isEmpty(); });
    metadata.density = checkedDensity(*reply);
    return metadata;
}

void tellWhatLacks(const Reply &begun)
{
    if (const std::string lacking = wallParts(begun, true); !lacking.empty())
        std::fprintf(stderr, "The wall around the decoders stands without: %s (has: %s)\n",
                     lacking.c_str(), wallParts(begun).c_str());
}

void tellOfFailure()
{
    std::fputs("No picture can be read: tavolin-worker can't be started\n", stderr);
}

} // namespace

/// Who is to do what, and what it may cost.
struct WorkerReader::Errand
{
    Role role = Role::Display;
    std::chrono::nanoseconds limit{};
    std::stop_token stop = {};
    QByteArray monitor = {};           // the profile that pictures are converted into
    std::filesystem::path folder = {}; // of the file, if there is one
};

std::filesystem::path WorkerReader::installedWorker()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path() : program.parent_path() / TAVOLIN_WORKER_FROM_PROGRAM;
}

WorkerReader::WorkerReader(const std::filesystem::path &program)
    : m_pool(Descriptor(open(program.c_str(), O_RDONLY | O_CLOEXEC)))
{}

/// What @p talk makes of an exchange with a worker; the result's default where that fails, for
/// whatever reason. A worker that was ended from outside is no failure the first time.
template <typename Talk>
auto WorkerReader::run(const Errand &errand, const Talk &talk) const
{
    using Result = std::invoke_result_t<Talk, Exchange &>;
    constexpr int ATTEMPTS = 2;
    try {
        for (int attempt = 0; attempt < ATTEMPTS && !errand.stop.stop_requested(); ++attempt) {
            auto worker = m_pool.take(errand.role, errand.folder);
            if (!worker) {
                std::call_once(m_failureTold, tellOfFailure);
                break;
            }
            // Whatever happens, a worker that has not answered is not used again.
            struct Discarding
            {
                WorkerPool &pool;
                Role role;
                std::optional<Worker> &worker;
                ~Discarding()
                {
                    if (worker)
                        pool.discard(role, std::move(*worker));
                }
            } const discarding{m_pool, errand.role, worker};
            Exchange exchange(*worker, errand.limit, errand.stop);
            if (exchange.begun())
                std::call_once(m_wallTold, tellWhatLacks, *exchange.begun());
            Result result = talk(exchange);
            if (exchange.isFinished()) {
                m_pool.giveBack(errand.role, std::move(*std::exchange(worker, std::nullopt)));
                return errand.stop.stop_requested() ? Result() : result;
            }
            const auto signal =
                exchange.isWorkerGone() ? worker->process->endingSignal(ENDING_TIME) : std::nullopt;
            const bool isAnothersDoing = signal && isFromOutside(*signal);
            if (m_watch && (!isAnothersDoing || attempt == ATTEMPTS - 1))
                m_watch({exchange.isWorkerLate(), exchange.isWorkerGone(), signal});
            if (isAnothersDoing)
                continue;
            if (!exchange.begun() && !errand.stop.stop_requested())
                std::call_once(m_failureTold, tellOfFailure);
            break;
        }
    } catch (...) { // lack of memory or threads
    }
    return Result();
}

/// The same for @p request about the file at @p url, which is sent first.
template <typename Talk>
auto WorkerReader::runOnFile(Errand errand, const std::filesystem::path &url, Request request,
                             const Talk &talk) const
{
    using Result = std::invoke_result_t<Talk, Exchange &, const RegularFile &>;
    // A disk that no longer answers is not asked for what nobody wants.
    if (errand.stop.stop_requested())
        return Result();
    const auto file = m_files.open(url);
    if (!file)
        return Result();
    errand.folder = url.parent_path();
    request.isRawName = hasRawExtension(url) ? 1 : 0;
    request.fileBytes = file->size;
    return run(errand, [&](Exchange &exchange) {
        exchange.send(request, file->descriptor.get(), {}, errand.monitor);
        return talk(exchange, *file);
    });
}

DisplayPicture WorkerReader::loadUnfitted(const std::filesystem::path &url,
                                          const DisplayTarget &target, Urgency urgency,
                                          std::stop_token stop) const
{
    return runOnFile(
        {roleFor(urgency), DISPLAY_TIME, std::move(stop), target.profile}, url,
        {.task = Task::Display,
         .maxPixel = target.maxPixel,
         .areaWidth = target.area.width(),
         .areaHeight = target.area.height(),
         .scale = target.scale,
         .width = target.exactly.width(),
         .height = target.exactly.height()},
        [&target](Exchange &exchange, const RegularFile &) {
            const auto reply = exchange.receive();
            const bool isExact = !target.exactly.isEmpty();
            if (isExact && reply && QSize(reply->width, reply->height) != target.exactly)
                exchange.breakOff();
            const int most = isExact ? MAX_SHARP_PIXELS : target.maxPixel;
            DisplayPicture picture{.image = receivePicture(exchange, reply, most, target.profile)};
            if (!reply)
                return picture;
            picture.rendition = receiveRendition(exchange, *reply, picture.image, target);
            picture.pixelSize = checkedSize({reply->fullWidth, reply->fullHeight});
            exchange.dropRows();
            return picture;
        });
}

Image WorkerReader::loadThumbnail(const std::filesystem::path &url, int maxPixel, Urgency urgency,
                                  std::stop_token stop) const
{
    return loadUnfitted(url, {.maxPixel = maxPixel}, urgency, std::move(stop)).image;
}

DisplayPicture WorkerReader::loadDisplayPicture(const std::filesystem::path &url,
                                                const DisplayTarget &target, Urgency urgency,
                                                std::stop_token stop) const
{
    try {
        const DisplayPicture loaded = loadUnfitted(url, target, urgency, stop);
        DisplayPicture picture =
            makeDisplayPicture(ScaledPicture{loaded.image, loaded.rendition}, target, stop);
        picture.pixelSize = loaded.pixelSize;
        return picture;
    } catch (...) { // lack of memory or threads
        return {};
    }
}

Image WorkerReader::loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                                  std::stop_token stop) const
{
    return runOnFile({Role::Full, FULL_TIME, std::move(stop), colors.value_or(QByteArray())}, url,
                     {.task = Task::Full, .keepsColors = colors ? 0U : 1U},
                     [&colors](Exchange &exchange, const RegularFile &) {
                         const auto reply = exchange.receiveFull();
                         Image image = receivePicture(exchange, reply, MAX_SIDE_PX, colors);
                         if (reply)
                             exchange.dropRows();
                         return image;
                     });
}

Image WorkerReader::converted(const Image &image, const QByteArray &monitor,
                              std::stop_token stop) const
{
    if (image.isNull() || image.iccProfile() == monitor)
        return image;
    return run({Role::Full, FULL_TIME, std::move(stop)}, [&](Exchange &exchange) -> Image {
        exchange.send({.task = Task::Convert,
                       .alpha = static_cast<std::uint32_t>(image.alpha()),
                       .width = image.width()},
                      -1, image.iccProfile(), monitor);
        const auto reply = exchange.receive();
        if (!reply)
            return {};
        if (reply->changesNothing != 0)
            return image.withProfile(monitor);
        return exchange.convertRows(image).toImage(image.alpha(), monitor);
    });
}

std::int64_t WorkerReader::readAhead(const std::filesystem::path &url, std::int64_t most,
                                     const std::stop_token &stop) const
{
    try {
        return m_files.readAhead(url, most, stop);
    } catch (...) { // lack of memory
        return 0;
    }
}

std::optional<QSize> WorkerReader::readPixelSize(const std::filesystem::path &url) const
{
    return runOnFile({Role::Full, FACTS_TIME}, url, {.task = Task::PixelSize},
                     [](Exchange &exchange, const RegularFile &) {
                         const auto reply = exchange.receive();
                         return reply ? checkedSize({reply->width, reply->height}) : std::nullopt;
                     });
}

std::optional<PhotoFacts> WorkerReader::readPhotoFacts(const std::filesystem::path &url,
                                                       Urgency urgency, std::stop_token stop) const
{
    return runOnFile({roleFor(urgency), FACTS_TIME, std::move(stop)}, url, {.task = Task::Facts},
                     [](Exchange &exchange, const RegularFile &file) {
                         auto facts = receiveFacts(exchange);
                         if (facts)
                             facts->fileBytes = static_cast<std::uintmax_t>(file.size);
                         return facts;
                     });
}

std::optional<JpegMetadata> WorkerReader::sourceMetadata(const std::filesystem::path &url,
                                                         QSize newSize) const
{
    return runOnFile(
        {Role::Full, FACTS_TIME}, url,
        {.task = Task::Metadata, .width = newSize.width(), .height = newSize.height()},
        [](Exchange &exchange, const RegularFile &) { return receiveMetadata(exchange); });
}

bool WorkerReader::isSavedByViewer(int file) const
{
    struct stat status
    {};
    if (fstat(file, &status) != 0)
        return false;
    const Errand errand{.role = Role::Full, .limit = FACTS_TIME, .folder = OF_EARLIER_EDITS};
    return run(errand, [&](Exchange &exchange) {
        exchange.send({.task = Task::IsSaved, .fileBytes = status.st_size}, file);
        return exchange.receive().has_value();
    });
}

std::string WorkerReader::aboutWall() const
{
    return run({Role::Display, DISPLAY_TIME}, [](const Exchange &exchange) {
        return exchange.begun() ? wallParts(*exchange.begun()) : std::string();
    });
}

} // namespace tavolin
