#pragma once
// The files behind the neighbours, brought into the system's memory while nothing else reads: on a
// card or a share it is bytes that a step waits for, not decoding.

#include <QObject>

#include <cstdint>
#include <map>
#include <optional>
#include <stop_token>

namespace tavolin {

class BackgroundQueue;
class Browser;
class PictureReader;

/// The most that is read ahead, in bytes, of which the system has @p available: 512 MiB, and no
/// more than a quarter of that.
[[nodiscard]] std::int64_t readAheadLimit(std::int64_t available);

/// Reads on in the direction in which the user last stepped, one file at a time, from resume()
/// until the user moves.
class ReadAhead : public QObject
{
    Q_OBJECT

public:
    ReadAhead(Browser &browser, BackgroundQueue &queue, const PictureReader &reader);

    /// The neighbours are there: what comes behind them is read.
    void resume();

private:
    void pause();
    void forget();
    void readNext();
    /// The next file that is to be read; one outside the list when there is none.
    [[nodiscard]] int nextIndex() const;

    Browser &m_browser;
    BackgroundQueue &m_queue;
    const PictureReader &m_reader;
    std::optional<int> m_left; // the target before the last step
    int m_direction = 1;
    bool m_isReading = false;
    std::stop_source m_reading;
    std::int64_t m_limit = 0;
    std::map<int, std::int64_t> m_read; // bytes, by the index in the present list
};

} // namespace tavolin
