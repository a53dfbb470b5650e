// How an operation of the layer takes part in the tests' script (win32/script.h). Outside of the test build all of
// this is empty.
#pragma once

#include <optional>
#include <string>

#include "win32/types.h"

#ifdef WIN32_SCRIPTED

#include "linux/file_chooser.h"
#include "linux/proxy_helper.h"

namespace win32 {
class Presenter;
}

namespace win32::script {

std::optional<DWORD> takeFailure(const char* operation);
void record(const char* operation, std::string arguments);
bool takeSleep(DWORD milliseconds);
std::optional<ULONGLONG> takeClock();
std::optional<ProxyHelper> takeProxyHelper();
const void* takeChain();
std::optional<FileAnswer> takeFileAnswer(const FileQuestion& question);
Presenter* pretendedDesktop();  // null: the real one

}  // namespace win32::script

// First statement of an operation that reports through GetLastError.
#define WIN32_MAY_FAIL(operation, failure)                             \
    if (const auto scripted = win32::script::takeFailure(operation)) { \
        SetLastError(*scripted);                                       \
        return failure;                                                \
    }                                                                  \
    static_assert(true)

// First statement of an operation that returns its error code (LSTATUS, HRESULT, CONFIGRET).
#define WIN32_MAY_RETURN(operation, type)                              \
    if (const auto scripted = win32::script::takeFailure(operation)) { \
        return static_cast<type>(*scripted);                           \
    }                                                                  \
    static_assert(true)

#define WIN32_RECORD(operation, arguments) win32::script::record(operation, arguments)

#else

#define WIN32_MAY_FAIL(operation, failure) static_assert(true)
#define WIN32_MAY_RETURN(operation, type) static_assert(true)
#define WIN32_RECORD(operation, arguments) static_cast<void>(0)

#endif
