#pragma once
// Spreads independent rows over the processor's cores, within one job.

#include "pixels/Geometry.h"

#include <algorithm>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

namespace tavolin {

/// Calls work(begin, end) for bands that together cover rows 0 to @p rows, at the same time where
/// there are cores and at least @p leastRows rows for each; returns when all are done. Rows must
/// not depend on each other.
inline void forBands(int rows, int leastRows, const std::function<void(int, int)> &work)
{
    const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    const int bands = clamped(rows / std::max(1, leastRows), 1, cores);
    const auto edge = [&](int band) {
        return static_cast<int>(static_cast<long long>(rows) * band / bands);
    };
    std::vector<std::jthread> helpers;
    for (int band = 1; band < bands; ++band) {
        try {
            helpers.emplace_back(work, edge(band), edge(band + 1));
        } catch (const std::system_error &) { // no more threads to be had
            work(edge(band), edge(band + 1));
        }
    }
    work(0, edge(1));
}

} // namespace tavolin
