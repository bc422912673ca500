#pragma once
// Where work on a file begins: no exception goes further.

namespace tavolin {

/// What @p work returns; the result's default where memory or threads are lacking, or a library
/// throws.
template <typename Work>
auto guarded(const Work &work) -> decltype(work())
{
    try {
        return work();
    } catch (...) {
        return {};
    }
}

} // namespace tavolin
