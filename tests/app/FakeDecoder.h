#pragma once
// A decoder of pictures that need no file, as slow as the test wants it to be.

#include "decoding/Decoding.h"

#include <QRgb>
#include <QSize>

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <vector>

namespace tavolin::test {

/// Makes pictures of one colour. A file's name has a number from 0 to 255 before its extension
/// ("007.jpg", "IMG_007.jpg"), and the colour says that number again. Its functions may be called
/// while a decode is under way. All but display pictures are read from the files.
class FakeDecoder : public InProcessReader
{
public:
    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override;

    std::int64_t readAhead(const std::filesystem::path &url, std::int64_t most,
                           const std::stop_token &stop) const override;

    /// Makes every decode wait from now on, until it is let through or asked to stop.
    void closeGate();
    /// Lets through the decode that is waiting, or the next one.
    void letOneThrough();
    void openGate();

    /// Makes decodes of the file @p number wait, until it is released or they are asked to stop.
    void hold(int number);
    void release(int number);

    /// Makes the file @p number one that can't be decoded, or one that can again.
    void setCorrupt(int number, bool isCorrupt = true);
    /// The pixels of picture @p number; 30x20 if not said.
    void setSize(int number, QSize size);
    /// What its decode tells of the pixels that its file has: what that says, if not said.
    void setPixelSize(int number, std::optional<QSize> size);

    /// The files whose decode has begun, in that order.
    [[nodiscard]] std::vector<int> started() const;
    /// Those of them whose decode was for exactly the screen's pixels.
    [[nodiscard]] std::vector<int> sharpened() const;
    /// How many bytes each file that is read ahead has; 0 if not said.
    void setReadAheadBytes(std::int64_t bytes);
    /// Makes reading ahead wait until it is asked to stop.
    void holdReadAhead();
    /// The files that were read ahead, in that order.
    [[nodiscard]] std::vector<int> readAheads() const;

    /// The files whose decode was told to stop before it had come to an end, in that order.
    [[nodiscard]] std::vector<int> stopped() const;
    /// How many decodes have come to an end, well or not.
    [[nodiscard]] int finishedCount() const;
    /// What the newest decode was asked for.
    [[nodiscard]] DisplayTarget lastTarget() const;
    [[nodiscard]] Urgency lastUrgency() const;
    /// The niceness of the thread that it began on; -1 but on Linux.
    [[nodiscard]] int lastNiceness() const;

private:
    mutable std::mutex m_mutex; // guards everything below
    mutable std::condition_variable_any m_changed;
    bool m_isGateClosed = false;
    mutable int m_permits = 0;
    std::set<int> m_held;
    std::set<int> m_corrupt;
    std::map<int, QSize> m_sizes;
    std::map<int, std::optional<QSize>> m_pixelSizes;
    mutable std::vector<int> m_started;
    mutable std::vector<int> m_sharpened;
    mutable std::vector<int> m_stopped;
    mutable std::vector<int> m_readAheads;
    std::int64_t m_readAheadBytes = 0;
    bool m_isReadAheadHeld = false;
    mutable int m_finishedCount = 0;
    mutable DisplayTarget m_lastTarget;
    mutable Urgency m_lastUrgency{};
    mutable int m_lastNiceness = -1;
};

/// The number whose picture has the colour @p pixel; none for any other colour.
[[nodiscard]] std::optional<int> numberOf(QRgb pixel);

} // namespace tavolin::test
