#pragma once
// What benchmarks share that step through a folder on a virtual screen: large pictures, telling
// which one is there, and the time that takes.

#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QJsonObject>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tavolin {

using Clock = std::chrono::steady_clock;

/// 24 megapixels in the proportions of a photograph.
inline constexpr QSize PICTURE_SIZE{6000, 4000};

/// Where such a picture is on the screen.
inline constexpr QRect PICTURE_RECT{150, 0, 1620, 1080};

/// Bits of a picture's index bar, and the row of pixels through the bar's middle: each bit a 40th
/// of the width, the bar's centre in the middle at 7/8 of the height. A row is all that has to be
/// fetched to tell pictures apart, so watching takes next to nothing from the viewer.
inline constexpr int BAR_BITS = 16;
inline constexpr QRect BAR_ROW{636, 945, 648, 1};

/// The number that the index bar on the screen shows. Any number when no picture is there.
[[nodiscard]] inline int barIndex(const XClient &client)
{
    const QImage row = client.screen(BAR_ROW);
    int index = 0;
    for (int bit = 0; bit < BAR_BITS; ++bit) {
        const int x = (2 * bit + 1) * BAR_ROW.width() / (2 * BAR_BITS);
        index = 2 * index + (qGray(row.pixel(x, 0)) > 127 ? 1 : 0);
    }
    return index;
}

/// Calls @p write, on two threads, with the index and the path of each picture from 1 to @p count
/// that is not in @p folder, which is made if missing. False when one can't be written.
template <typename Write>
[[nodiscard]] bool writeMissing(const std::filesystem::path &folder, int count, Write write)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    std::atomic<int> next = 1;
    std::atomic<bool> ok = true;
    const auto work = [&] {
        for (int index = next++; index <= count && ok; index = next++) {
            const auto file = folder / ("IMG_" + std::to_string(10000 + index) + ".jpg");
            if (!std::filesystem::exists(file) && !write(index, file))
                ok = false;
        }
    };
    {
        const std::jthread other(work);
        work();
    }
    return ok;
}

/// Writes picture @p index of @p count, of PICTURE_SIZE.
[[nodiscard]] inline bool writeLargePicture(int index, int count, const std::filesystem::path &file,
                                            const pictures::WriteOptions &options = {})
{
    const pictures::PictureSpec spec{
        .size = PICTURE_SIZE, .index = index, .count = count, .seed = static_cast<quint32>(index)};
    return pictures::writePicture(pictures::drawPicture(spec), spec, file, options);
}

/// Time from pressing @p key to @p isShown saying true. Empty when it does not.
template <typename Predicate>
[[nodiscard]] std::optional<Clock::duration> timeStep(XClient &client, int key, Predicate isShown)
{
    const auto start = Clock::now();
    client.tapKey(key);
    while (!isShown()) {
        if (Clock::now() - start > WAIT_LIMIT)
            return {};
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return Clock::now() - start;
}

/// Milliseconds, in tenths: two looks at the screen are farther apart.
[[nodiscard]] inline double toMs(Clock::duration duration)
{
    return std::round(std::chrono::duration<double, std::milli>(duration).count() * 10) / 10;
}

[[nodiscard]] inline QJsonObject summary(std::vector<Clock::duration> times)
{
    std::sort(times.begin(), times.end());
    return {{QStringLiteral("medianMs"), toMs(times[times.size() / 2])},
            {QStringLiteral("maxMs"), toMs(times.back())}};
}

} // namespace tavolin
