#pragma once
// Starting the programs that a test needs so that none outlives the test.

#include <QProcess>

namespace tavolin {

/// Makes the child of @p process (not started yet) end together with the thread that starts it,
/// also when that is killed.
void endWithParent(QProcess &process);

} // namespace tavolin
