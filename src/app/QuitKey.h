#pragma once
// The one menu command: quit, by Command-Q on macOS and Ctrl and the physical Q key elsewhere.

class QObject;

namespace tavolin {

/// Makes the whole application quit on the quit key, whichever of its windows has the keyboard and
/// whatever the layout. Lasts as long as @p owner.
void installQuitKey(QObject &owner);

} // namespace tavolin
