#include "net/http_handler.h"

namespace base {

GlobalSlot<GlobalHttpHandler>& globalHttpHandler() {
    // Never destroyed: threads that end in static destructors still look for it.
    static auto* const slot = new GlobalSlot<GlobalHttpHandler>;
    return *slot;
}

}  // namespace base
