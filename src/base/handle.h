// Owners of the operating system's handles.
#pragma once

#include <utility>

#include "win32/kernel.h"
#include "win32/types.h"

namespace base {

// Closes its handle when it goes. `none` is what an operation gives in place of a handle when it fails.
template <LONG_PTR none>
class UniqueHandle {
public:
    UniqueHandle() = default;
    explicit UniqueHandle(HANDLE handle) : value_(reinterpret_cast<LONG_PTR>(handle)) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(std::exchange(other.value_, none)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const { return value_ != none; }
    HANDLE get() const { return reinterpret_cast<HANDLE>(value_); }
    void reset() {
        if (value_ != none) {
            CloseHandle(reinterpret_cast<HANDLE>(std::exchange(value_, none)));
        }
    }

private:
    LONG_PTR value_ = none;
};

using Handle = UniqueHandle<0>;       // CreateMutexW and most others
using FileHandle = UniqueHandle<-1>;  // CreateFileW

}  // namespace base
