#pragma once
// What a worker does with requests.

#include "decoding/SourceFile.h"
#include "pixels/ScaledPicture.h"
#include "platform/Descriptor.h"
#include "worker/Protocol.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>

namespace tavolin {
class ColorConversion;
}

namespace tavolin::worker {

/// Answers the requests of one viewer over the channel, one after the other. Main thread, but for
/// the stops.
class Service
{
public:
    /// @p memory is what both processes map. It must stay.
    Service(Role role, std::span<std::byte> memory);
    ~Service();
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    /// Answers @p request, which comes with @p file if it is about one. False when the viewer is
    /// gone.
    [[nodiscard]] bool answer(const Request &request, Descriptor file, const std::stop_token &stop);

    /// Gives memory back, when nobody has asked for anything for some time.
    void rest();

private:
    [[nodiscard]] bool answerPicture(const Request &request, const SourceFile &file,
                                     const QByteArray &monitor);
    [[nodiscard]] bool answerSize(const Request &request, const SourceFile &file) const;
    [[nodiscard]] bool answerFacts(const Request &request, const SourceFile &file) const;
    [[nodiscard]] bool answerMetadata(const Request &request, const SourceFile &file) const;
    [[nodiscard]] bool answerRows(const Request &request);
    [[nodiscard]] bool answerConvert(const Request &request, const QByteArray &profile,
                                     const QByteArray &monitor);
    [[nodiscard]] bool answerConvertRows(const Request &request) const;
    /// Where the viewer finds the rows of @p image.
    [[nodiscard]] Place placeOf(const Image &image) const;
    /// Gives back what a picture has left on the heap: the worker may have nothing to do for long.
    void trimHeap() const;
    /// The pixels of the slot that @p request names; empty where rows of @p width don't fit.
    [[nodiscard]] std::span<Pixel> slotFor(const Request &request, int width) const;

    Role m_role;
    std::span<std::byte> m_ring;
    std::span<std::byte> m_place; // for pictures
    ScaledPicture m_picture;      // whose rows have not all been fetched
    std::unique_ptr<const ColorConversion> m_conversion;
    int m_conversionWidth = 0;
    Alpha m_conversionAlpha = Alpha::Opaque;
};

} // namespace tavolin::worker
