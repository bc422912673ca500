#pragma once
// For a process that is about to lose its rights.

namespace tavolin {

/// Has the libraries load, look up and remember whatever they would look for in the file system
/// while they decode. Takes a few milliseconds; on the main thread, before any other.
void warmUp();

} // namespace tavolin
