// Memory that isn't needed for a long while.
#pragma once

namespace base {

// Gives back what the system can have: for threads that work rarely, behind their work. What a request brings in, its
// libraries above all, isn't used again for hours. Any thread.
void emptyWorkingSet();

}  // namespace base
