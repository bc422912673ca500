#include "browse/ReadAhead.h"

#include "browse/Browser.h"
#include "browse/Prefetch.h"
#include "pixels/PictureReader.h"
#include "platform/AvailableMemory.h"
#include "platform/Background.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace tavolin {

namespace {

/// What became of one file.
struct Reading
{
    std::int64_t bytes = 0; // none where it can't be read
    std::int64_t limit = 0; // for all together, at that time
};

} // namespace

std::int64_t readAheadLimit(std::int64_t available)
{
    constexpr std::int64_t MOST = std::int64_t{512} << 20;
    return std::min(MOST, available / 4);
}

ReadAhead::ReadAhead(Browser &browser, BackgroundQueue &queue, const PictureReader &reader)
    : m_browser(browser), m_queue(queue), m_reader(reader)
{
    connect(&browser, &Browser::leaving, this, &ReadAhead::pause);
    connect(&browser, &Browser::listChanged, this, &ReadAhead::forget);
}

void ReadAhead::pause()
{
    m_left = m_browser.targetIndex();
    std::exchange(m_reading, std::stop_source()).request_stop();
    m_isReading = false;
    m_queue.leaveBehindUnlessEnded(STUCK_AFTER);
}

void ReadAhead::forget()
{
    pause();
    m_read.clear();
    m_left.reset();
    m_direction = 1;
    m_queue.leaveBehindUnlessEnded(DROP_PATIENCE);
}

void ReadAhead::resume()
{
    const int target = m_browser.targetIndex();
    if (m_left && *m_left != target)
        m_direction = *m_left < target ? 1 : -1;
    std::erase_if(m_read,
                  [&](const auto &file) { return (file.first - target) * m_direction < 0; });
    if (!m_isReading)
        readNext();
}

int ReadAhead::nextIndex() const
{
    int index = m_browser.targetIndex() + m_direction * (Prefetch::REACH + 1);
    while (m_read.contains(index))
        index += m_direction;
    return index;
}

void ReadAhead::readNext()
{
    const int index = nextIndex();
    const auto read =
        std::accumulate(m_read.begin(), m_read.end(), std::int64_t{0},
                        [](std::int64_t sum, const auto &file) { return sum + file.second; });
    if (!m_browser.isInList(index) || (!m_read.empty() && read >= m_limit))
        return;
    m_isReading = true;
    m_queue.run<Reading>(
        this,
        {
            .work =
                [&reader = m_reader, read,
                 url = m_browser.imageList()[static_cast<std::size_t>(index)]](
                    const std::stop_token &stop) {
                    const std::int64_t limit = readAheadLimit(availableMemory());
                    return Reading{limit > read ? reader.readAhead(url, limit - read, stop) : 0,
                                   limit};
                },
            .stillApplies = [stop = m_reading.get_token()] { return !stop.stop_requested(); },
            .use =
                [this, index](const Reading &reading) {
                    m_isReading = false;
                    m_limit = reading.limit;
                    // What can't be read may be a disk in trouble: enough until the next step.
                    if (reading.bytes == 0)
                        return;
                    m_read[index] = reading.bytes;
                    readNext();
                },
        },
        m_reading);
}

} // namespace tavolin
