// The entry that starts the agent at the user's logon.
#pragma once

namespace dockset {

// Sets the entry, or removes it. Failures are logged.
void applyAutostart(bool enable);

}  // namespace dockset
