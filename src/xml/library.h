// The XML library as a whole.
#pragma once

namespace xml {

// Starts the library at the first call, for the process, and never ends it: a thread may still parse while the process
// ends. False if it can't be started. Any thread.
bool startLibrary();

}  // namespace xml
