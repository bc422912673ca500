#include "worker/program/Service.h"

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "decoding/Guarded.h"
#include "decoding/metadata/CarriedMetadata.h"
#include "decoding/metadata/Metadata.h"
#include "decoding/Properties.h"
#include "pixels/Limits.h"
#include "worker/Channel.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <sys/mman.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tavolin::worker {

namespace {

/// The viewer checks what it is told; this is the reply to @p request so far.
Reply failure(const Request &request)
{
    return {.number = request.number, .outcome = Outcome::Failed};
}
Reply success(const Request &request)
{
    return {.number = request.number, .outcome = Outcome::Done};
}

using Blocks = std::array<QByteArray, BLOCKS>;

bool send(Reply reply, const Blocks &blocks = {})
{
    for (std::size_t i = 0; i < blocks.size(); ++i)
        reply.blockBytes[i] = blocks[i].size();
    if (!sendAll(CHANNEL_DESCRIPTOR, bytesOf(std::as_const(reply))))
        return false;
    return std::ranges::all_of(blocks, [](const QByteArray &block) {
        return sendAll(CHANNEL_DESCRIPTOR, bytesOf(block));
    });
}

/// The block of @p bytes that follows a request; empty where the viewer is gone, or there is none
/// like that.
std::optional<QByteArray> receiveProfile(std::int64_t bytes)
{
    if (bytes < 0 || bytes > MAX_PROFILE_BYTES)
        return std::nullopt;
    QByteArray profile(static_cast<qsizetype>(bytes), Qt::Uninitialized);
    Descriptor none(-1);
    return receiveAll(CHANNEL_DESCRIPTOR, bytesOf(profile), none) ? std::optional(profile)
                                                                  : std::nullopt;
}

DisplayTarget targetOf(const Request &request)
{
    return {.maxPixel = request.maxPixel,
            .area = QRectF(0, 0, request.areaWidth, request.areaHeight),
            .scale = request.scale,
            .exactly = {request.width, request.height}};
}

ThumbnailRule ruleOf(const Request &request)
{
    return request.isRawName != 0 ? ThumbnailRule::FromImageIfAbsent
                                  : ThumbnailRule::FromImageAlways;
}

} // namespace

Service::Service(Role role, std::span<std::byte> memory)
    : m_role(role), m_ring(memory.first(RING_BYTES)), m_place(memory.subspan(RING_BYTES))
{
    if (role == Role::Full)
        PixelBuffer::lend({m_place});
    else
        PixelBuffer::lend({m_place.first(RENDITION_OFFSET), m_place.subspan(RENDITION_OFFSET)});
}

Service::~Service() = default;

bool Service::answer(const Request &request, Descriptor file, const std::stop_token &stop)
{
    const auto profile = receiveProfile(request.profileBytes);
    const auto monitor = profile ? receiveProfile(request.monitorBytes) : std::nullopt;
    if (!monitor)
        return false;
    switch (request.task) {
    case Task::Rows:
        return answerRows(request);
    case Task::Convert:
        return answerConvert(request, *profile, *monitor);
    case Task::ConvertRows:
        return answerConvertRows(request);
    default:
        break;
    }
    m_picture = {};
    const auto source = SourceFile::fromDescriptor(std::move(file), request.fileBytes, stop);
    if (!source)
        return send(failure(request));
    switch (request.task) {
    case Task::Display:
    case Task::Full:
        return answerPicture(request, *source, *monitor);
    case Task::PixelSize:
        return answerSize(request, *source);
    case Task::Facts:
        return answerFacts(request, *source);
    case Task::Metadata:
        return answerMetadata(request, *source);
    case Task::IsSaved:
        return send(guarded([&] { return isSavedByViewer(*source); }) ? success(request)
                                                                      : failure(request));
    default:
        return send(failure(request));
    }
}

bool Service::answerPicture(const Request &request, const SourceFile &file,
                            const QByteArray &monitor)
{
    const SniffedFile sniffed(file);
    const auto properties = guarded([&] { return readProperties(sniffed); });
    if (properties) {
        Reply announcement = success(request);
        announcement.outcome = Outcome::Announced;
        announcement.width = properties->stored.width();
        announcement.height = properties->stored.height();
        if (!send(announcement))
            return false;
    }
    const bool keepsColors = request.task == Task::Full && request.keepsColors != 0;
    m_picture = guarded([&] {
        return request.task == Task::Display
                   ? decodeForDisplay(file, SizeRule(targetOf(request)), ruleOf(request), monitor)
                   : ScaledPicture{
                         decodeFull(file, ruleOf(request), keepsColors ? FullColors() : monitor)};
    });
    if (m_picture.isNull())
        return send(failure(request));
    const auto &[image, rendition] = m_picture;
    Reply reply = success(request);
    reply.width = image.width();
    reply.height = image.height();
    reply.alpha = static_cast<std::uint32_t>(image.alpha());
    reply.renditionWidth = rendition.isNull() ? 0 : rendition.width();
    reply.renditionHeight = rendition.isNull() ? 0 : rendition.height();
    if (request.task == Task::Display) {
        const auto full =
            guarded([&] { return uprightSizeOf(sniffed, ruleOf(request), properties); });
        reply.fullWidth = full.value_or(QSize(0, 0)).width();
        reply.fullHeight = full.value_or(QSize(0, 0)).height();
    }
    reply.place = placeOf(image);
    reply.renditionPlace = placeOf(rendition);
    // The viewer has the other one.
    const bool isSent = send(reply, {keepsColors ? image.iccProfile() : QByteArray()});
    if (reply.place != Place::Elsewhere)
        trimHeap();
    return isSent;
}

void Service::rest()
{
#ifdef MADV_REMOVE
    // Until then the next large picture finds it there: such memory is dear when it is new. What is
    // decoded for somebody who waits is never so large.
    if (m_role == Role::Display || !m_picture.isNull())
        return;
    const auto unused = m_role == Role::Full ? m_place : m_place.subspan(RENDITION_OFFSET);
    madvise(unused.data(), unused.size(), MADV_REMOVE);
#endif
}

Place Service::placeOf(const Image &image) const
{
    if (image.isNull() || image.stride() != image.width())
        return Place::Elsewhere;
    // What was lent holds a picture from its beginning.
    const auto *begin = reinterpret_cast<const std::byte *>(image.row(0));
    if (begin == m_place.data())
        return Place::Front;
    return begin == m_place.data() + RENDITION_OFFSET ? Place::Back : Place::Elsewhere;
}

void Service::trimHeap() const
{
#ifdef __GLIBC__
    // The next picture for the screen is waited for, and needs as much again.
    constexpr std::size_t MOST_KEPT_BYTES = std::size_t{64} << 20;
    if (m_role != Role::Display || mallinfo2().fordblks > MOST_KEPT_BYTES)
        malloc_trim(0);
#endif
}

std::span<Pixel> Service::slotFor(const Request &request, int width) const
{
    const auto pixels = std::int64_t{width} * request.rowCount;
    if (request.slot >= SLOTS || width <= 0 || request.rowCount <= 0 ||
        pixels * std::int64_t{sizeof(Pixel)} > std::int64_t{SLOT_BYTES})
        return {};
    const auto slot = m_ring.subspan(request.slot * SLOT_BYTES, SLOT_BYTES);
    return {reinterpret_cast<Pixel *>(slot.data()), static_cast<std::size_t>(pixels)};
}

bool Service::answerRows(const Request &request)
{
    Image &image = request.ofRendition != 0 ? m_picture.rendition : m_picture.image;
    const auto slot = image.isNull() ? std::span<Pixel>() : slotFor(request, image.width());
    if (slot.empty() || request.firstRow < 0 ||
        request.firstRow > image.height() - request.rowCount) {
        m_picture = {}; // nobody wants the rest
        return send(request.rowCount == 0 ? success(request) : failure(request));
    }
    const int end = request.firstRow + request.rowCount;
    Pixel *to = slot.data();
    for (int y = request.firstRow; y < end; ++y)
        to = std::copy_n(image.row(y), image.width(), to);
    const bool isLast = end == image.height();
    if (isLast)
        image = {};
    const bool isSent = send(success(request));
    if (isLast)
        trimHeap();
    return isSent;
}

bool Service::answerSize(const Request &request, const SourceFile &file) const
{
    const auto size = guarded([&] { return readUprightSize(file, ruleOf(request)); });
    if (!size)
        return send(failure(request));
    Reply reply = success(request);
    reply.width = size->width();
    reply.height = size->height();
    return send(reply);
}

bool Service::answerFacts(const Request &request, const SourceFile &file) const
{
    const auto facts = guarded([&] { return readFacts(file, ruleOf(request)); });
    if (!facts)
        return send(failure(request));
    const PhotoMetadata &metadata = facts->metadata;
    Reply reply = success(request);
    const QSize size = metadata.pixelSize.value_or(QSize(0, 0));
    reply.width = size.width();
    reply.height = size.height();
    FactsFields &fields = reply.facts;
    fields.orientation = static_cast<std::uint32_t>(facts->orientation);
    std::uint32_t bit = 1;
    const auto note = [&](bool isPresent) {
        fields.present |= isPresent ? bit : 0;
        bit <<= 1;
    };
    note(metadata.focalLength.has_value());
    note(metadata.fNumber.has_value());
    note(metadata.exposureTime.has_value());
    note(metadata.iso.has_value());
    fields.focalLength = metadata.focalLength.value_or(0);
    fields.fNumber = metadata.fNumber.value_or(0);
    fields.exposureTime = metadata.exposureTime.value_or(0);
    fields.iso = metadata.iso.value_or(0);
    Blocks texts;
    const std::array found{&metadata.make, &metadata.model, &metadata.lensModel,
                           &metadata.dateTimeOriginal};
    for (std::size_t i = 0; i < found.size(); ++i) {
        note(found[i]->has_value());
        texts[i] = found[i]->value_or(QString()).toUtf8();
    }
    return send(reply, texts);
}

bool Service::answerMetadata(const Request &request, const SourceFile &file) const
{
    const auto metadata = guarded([&] {
        return carriedMetadata(file, {request.width, request.height});
    });
    if (!metadata)
        return send(failure(request));
    Reply reply = success(request);
    reply.densityUnit = metadata->density.unit;
    reply.densityX = metadata->density.x;
    reply.densityY = metadata->density.y;
    Blocks blocks{metadata->exif, metadata->xmp, metadata->photoshop, metadata->defaultProfile};
    std::ranges::copy(metadata->comments, blocks.begin() + FIRST_COMMENT);
    return send(reply, blocks);
}

bool Service::answerConvert(const Request &request, const QByteArray &profile,
                            const QByteArray &monitor)
{
    m_conversion =
        guarded([&] { return std::make_unique<const ColorConversion>(profile, monitor); });
    m_conversionWidth = request.width;
    m_conversionAlpha = request.alpha == static_cast<std::uint32_t>(Alpha::Opaque)
                            ? Alpha::Opaque
                            : Alpha::Premultiplied;
    if (!m_conversion)
        return send(failure(request));
    Reply reply = success(request);
    reply.changesNothing = m_conversion->changesNothing() ? 1 : 0;
    return send(reply);
}

bool Service::answerConvertRows(const Request &request) const
{
    const auto slot = slotFor(request, m_conversionWidth);
    if (slot.empty() || !m_conversion || m_conversion->changesNothing())
        return send(failure(request));
    for (int y = 0; y < request.rowCount; ++y) {
        Pixel *row = slot.data() + std::ptrdiff_t{m_conversionWidth} * y;
        m_conversion->convertRow(row, row, m_conversionWidth, m_conversionAlpha);
    }
    return send(success(request));
}

} // namespace tavolin::worker
