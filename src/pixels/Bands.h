#pragma once
// Spreads independent rows over the processor's cores, within one job.

#include "pixels/Geometry.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

namespace tavolin {

/// How many threads run at the same time. Asked of the system once.
inline int coreCount()
{
    static const int count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    return count;
}

/// Calls work(begin, end) for bands that together cover rows 0 to @p rows, at the same time where
/// there are cores and at least @p leastRows rows for each; returns when all are done. Rows must
/// not depend on each other. What one of them throws is thrown again here.
inline void forBands(int rows, int leastRows, const std::function<void(int, int)> &work)
{
    const int bands = clamped(rows / std::max(1, leastRows), 1, coreCount());
    const auto edge = [&](int band) {
        return static_cast<int>(static_cast<long long>(rows) * band / bands);
    };
    std::vector<std::exception_ptr> failures(static_cast<std::size_t>(bands));
    const auto attempt = [&](int band) noexcept {
        try {
            work(edge(band), edge(band + 1));
        } catch (...) {
            failures[static_cast<std::size_t>(band)] = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> helpers;
        for (int band = 1; band < bands; ++band) {
            try {
                helpers.emplace_back(attempt, band);
            } catch (const std::system_error &) { // no more threads to be had
                attempt(band);
            }
        }
        attempt(0);
    }
    for (const std::exception_ptr &failure : failures) {
        if (failure)
            std::rethrow_exception(failure);
    }
}

} // namespace tavolin
