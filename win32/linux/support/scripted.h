// How an operation of the layer takes part in the tests' script (win32/script.h). Outside of the test build all of
// this is empty.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "win32/types.h"

#ifdef WIN32_SCRIPTED

namespace win32::script {

std::optional<DWORD> takeFailure(const char* operation);
void record(const char* operation, std::string arguments);

// Has `forget` called by each reset().
void onReset(std::function<void()> forget);

// What a test puts in the place of the real thing, a value or a function; empty until then, and after reset(). Each
// lives where it is used and is never destroyed, as threads that outlive main's statics may still ask it. Any thread.
template <typename T>
class Substitute {
public:
    Substitute() {
        onReset([this] { set(std::nullopt); });
    }

    void set(std::optional<T> value) {
        const std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }

    std::optional<T> get() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }

private:
    mutable std::mutex mutex_;
    std::optional<T> value_;
};

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
