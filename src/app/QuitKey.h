#pragma once
// The one menu command: quit, by Command-Q on macOS and by Ctrl and Q elsewhere.

class QObject;

namespace tavolin {

/// Makes the whole application quit on the quit key, whichever of its windows has the keyboard and
/// whatever the layout: Q is the key that writes it, and the one at its place where the layout has
/// no Latin letters. Lasts as long as @p owner.
void installQuitKey(QObject &owner);

} // namespace tavolin
