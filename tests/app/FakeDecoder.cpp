#include "app/FakeDecoder.h"

#include <algorithm>
#include <string>
#include <utility>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#endif

namespace tavolin::test {

namespace {

constexpr int BLUE = 128; // in the colour of every number

QRgb colorOf(int number)
{
    return qRgb(number, 255 - number, BLUE);
}

int numberIn(const std::string &name)
{
    return std::stoi(name.substr(name.find_first_of("0123456789")));
}

Image solid(QSize size, QRgb color)
{
    PixelBuffer pixels(size);
    for (int y = 0; y < size.height(); ++y)
        std::fill_n(pixels.row(y), size.width(), color);
    return std::move(pixels).toImage(Alpha::Opaque);
}

} // namespace

void FakeDecoder::closeGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = true;
    m_permits = 0;
}

void FakeDecoder::letOneThrough()
{
    const std::lock_guard lock(m_mutex);
    ++m_permits;
    m_changed.notify_all();
}

void FakeDecoder::openGate()
{
    const std::lock_guard lock(m_mutex);
    m_isGateClosed = false;
    m_changed.notify_all();
}

void FakeDecoder::hold(int number)
{
    const std::lock_guard lock(m_mutex);
    m_held.insert(number);
}

void FakeDecoder::release(int number)
{
    const std::lock_guard lock(m_mutex);
    m_held.erase(number);
    m_changed.notify_all();
}

void FakeDecoder::setCorrupt(int number, bool isCorrupt)
{
    const std::lock_guard lock(m_mutex);
    if (isCorrupt)
        m_corrupt.insert(number);
    else
        m_corrupt.erase(number);
}

void FakeDecoder::setSize(int number, QSize size)
{
    const std::lock_guard lock(m_mutex);
    m_sizes[number] = size;
}

void FakeDecoder::setPixelSize(int number, std::optional<QSize> size)
{
    const std::lock_guard lock(m_mutex);
    m_pixelSizes[number] = size;
}

std::vector<int> FakeDecoder::started() const
{
    const std::lock_guard lock(m_mutex);
    return m_started;
}

std::vector<int> FakeDecoder::sharpened() const
{
    const std::lock_guard lock(m_mutex);
    return m_sharpened;
}

std::vector<int> FakeDecoder::stopped() const
{
    const std::lock_guard lock(m_mutex);
    return m_stopped;
}

int FakeDecoder::finishedCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_finishedCount;
}

DisplayTarget FakeDecoder::lastTarget() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastTarget;
}

Urgency FakeDecoder::lastUrgency() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastUrgency;
}

int FakeDecoder::lastNiceness() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastNiceness;
}

DisplayPicture FakeDecoder::loadDisplayPicture(const std::filesystem::path &url,
                                               const DisplayTarget &target, Urgency urgency,
                                               std::stop_token stop) const
{
    const int number = numberIn(url.stem().native());
    std::unique_lock lock(m_mutex);
    m_started.push_back(number);
    if (!target.exactly.isEmpty())
        m_sharpened.push_back(number);
    m_lastTarget = target;
    m_lastUrgency = urgency;
#ifdef Q_OS_LINUX
    m_lastNiceness = getpriority(PRIO_PROCESS, 0); // of the calling thread
#endif
    m_changed.wait(lock, stop, [this, number] {
        return !m_held.contains(number) && (!m_isGateClosed || m_permits > 0);
    });
    if (m_isGateClosed && m_permits > 0)
        --m_permits;
    ++m_finishedCount;
    if (stop.stop_requested())
        m_stopped.push_back(number);
    if (stop.stop_requested() || m_corrupt.contains(number))
        return {};
    const auto size = m_sizes.find(number);
    const Image image = solid(size == m_sizes.end() ? QSize(30, 20) : size->second, colorOf(number))
                            .withProfile(target.profile);
    if (!target.exactly.isEmpty()) {
        const Image exact = solid(target.exactly, colorOf(number)).withProfile(target.profile);
        return {.image = exact, .rendition = exact, .isSharp = true};
    }
    const auto told = m_pixelSizes.find(number);
    return {image, makeRendition(image, target.area, target.scale),
            told == m_pixelSizes.end() ? readPixelSize(url) : told->second};
}

std::int64_t FakeDecoder::readAhead(const std::filesystem::path &url, std::int64_t most,
                                    const std::stop_token &stop) const
{
    std::unique_lock lock(m_mutex);
    m_readAheads.push_back(numberIn(url.stem().native()));
    m_changed.wait(lock, stop, [this] { return !m_isReadAheadHeld; });
    return std::min(most, m_readAheadBytes);
}

void FakeDecoder::setReadAheadBytes(std::int64_t bytes)
{
    const std::lock_guard lock(m_mutex);
    m_readAheadBytes = bytes;
}

void FakeDecoder::holdReadAhead()
{
    const std::lock_guard lock(m_mutex);
    m_isReadAheadHeld = true;
}

std::vector<int> FakeDecoder::readAheads() const
{
    const std::lock_guard lock(m_mutex);
    return m_readAheads;
}

std::optional<int> numberOf(QRgb pixel)
{
    const int number = qRed(pixel);
    return colorOf(number) == pixel ? std::optional(number) : std::nullopt;
}

} // namespace tavolin::test
