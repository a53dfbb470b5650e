#include "base/working_set.h"

#include "win32/kernel.h"

namespace base {

void emptyWorkingSet() {
    constexpr auto empty = static_cast<SIZE_T>(-1);
    SetProcessWorkingSetSize(GetCurrentProcess(), empty, empty);
}

}  // namespace base
