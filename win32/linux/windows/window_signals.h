// The signals that ask a program to end, as a request to close its windows.
#pragma once

namespace win32 {

// Counts a top-level window that came (1) or went (-1). The first one installs the handlers of SIGTERM, SIGINT and
// SIGHUP, each unless it is ignored: the first signal becomes a request, as long as there is a top-level window; any
// other has its default effect. Any thread.
void countTopLevelWindow(int change);

// Whether there is a request that nobody has taken yet; takes it. Any thread.
bool takeCloseRequest();

}  // namespace win32
