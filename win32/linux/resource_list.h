// The resources that the program brought along.
#pragma once

#include "win32/embedded.h"

namespace win32 {

// The last one made, from where `next` leads on; null if there is none.
const EmbeddedResource* embeddedResources();

}  // namespace win32
