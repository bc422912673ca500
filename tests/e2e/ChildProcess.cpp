#include "e2e/ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>

namespace tavolin {

void endWithParent(QProcess &process)
{
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

} // namespace tavolin
