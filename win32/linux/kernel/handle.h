// The table behind HANDLE: each open handle is a number that stands for a shared object of the layer.
//
// A number is never given out twice in a process, so a handle that was closed can't come to mean another object.
// All calls may come from any thread.
#pragma once

#include <memory>

#include "win32/error.h"
#include "win32/types.h"

namespace win32 {

// What a HANDLE stands for. The destructor releases what the object holds of the system; it runs when the last
// handle is closed and no operation uses the object any more.
class Object {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    // Called once, when the handle is closed, before the table lets go of the object.
    virtual void closing() {}

    // Each operation below reports as its Windows counterpart does: a result, and the last error on failure. By
    // default an object doesn't support them, which gives ERROR_INVALID_HANDLE.
    virtual BOOL read(void* buffer, DWORD size, DWORD* done);
    virtual BOOL write(const void* bytes, DWORD size, DWORD* done);
    virtual BOOL flush();
    virtual DWORD wait(DWORD milliseconds);
};

// Whether a handle that was opened with `granted` may be used so; ERROR_ACCESS_DENIED if not.
bool isGranted(DWORD granted, DWORD access);

// Enters the object into the table. Never fails but by std::bad_alloc.
HANDLE openHandle(std::shared_ptr<Object> object);

// This process, as the handle of GetCurrentProcess stands for it.
std::shared_ptr<Object> currentProcess();

// The object, or null if the number stands for nothing.
std::shared_ptr<Object> findObject(HANDLE handle);

// The object as a T, or null with ERROR_INVALID_HANDLE if there is none or it is of another kind.
template <typename T>
std::shared_ptr<T> objectAs(HANDLE handle) {
    auto object = std::dynamic_pointer_cast<T>(findObject(handle));
    if (!object) {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return object;
}

}  // namespace win32
