// The system's messages whose parameters are addresses in the sender's memory.
#pragma once

#include "win32/types.h"

namespace win32 {

// Whether the message can only be sent: posted, its addresses would be stale or, from another process, foreign.
bool carriesPointer(UINT message);

}  // namespace win32
