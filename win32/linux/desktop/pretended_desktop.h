// The desktop that a test puts in the place of the real one (win32/script.h).
#pragma once

#ifdef WIN32_SCRIPTED

#include <memory>

#include "linux/windows/presenter.h"

namespace win32 {

// Null: the real one is in place.
std::shared_ptr<Presenter> pretendedDesktop();

}  // namespace win32

#endif
