#include "linux/kernel/handle.h"

#include <mutex>
#include <unordered_map>
#include <utility>

#include "linux/support/scripted.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace win32 {

namespace {

struct HandleTable {
    std::mutex mutex;
    std::unordered_map<ULONG_PTR, std::shared_ptr<Object>> objects;
    ULONG_PTR next = 4;  // Windows' handles are multiples of four, and programs rely on null being none.
};

// Never destroyed: threads that outlive main's statics may still close handles.
HandleTable& table() {
    static auto* const instance = new HandleTable;
    return *instance;
}

BOOL unsupported() {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

}  // namespace

BOOL Object::read(void* /*buffer*/, DWORD /*size*/, DWORD* /*done*/) { return unsupported(); }
BOOL Object::write(const void* /*bytes*/, DWORD /*size*/, DWORD* /*done*/) { return unsupported(); }
BOOL Object::flush() { return unsupported(); }

DWORD Object::wait(DWORD /*milliseconds*/) {
    unsupported();
    return WAIT_FAILED;
}

bool isGranted(DWORD granted, DWORD access) {
    if ((granted & access) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return (granted & access) != 0;
}

HANDLE openHandle(std::shared_ptr<Object> object) {
    const std::lock_guard lock(table().mutex);
    const ULONG_PTR number = table().next;
    table().objects.emplace(number, std::move(object));
    table().next += 4;
    return reinterpret_cast<HANDLE>(number);
}

std::shared_ptr<Object> findObject(HANDLE handle) {
    if (handle == GetCurrentProcess()) {
        return currentProcess();
    }
    const std::lock_guard lock(table().mutex);
    const auto found = table().objects.find(reinterpret_cast<ULONG_PTR>(handle));
    return found == table().objects.end() ? nullptr : found->second;
}

}  // namespace win32

using win32::table;

BOOL WINAPI CloseHandle(HANDLE handle) {
    WIN32_MAY_FAIL("CloseHandle", FALSE);
    if (handle == GetCurrentProcess()) {
        return TRUE;  // nothing that was opened
    }
    std::shared_ptr<win32::Object> object;
    {
        const std::lock_guard lock(table().mutex);
        const auto found = table().objects.find(reinterpret_cast<ULONG_PTR>(handle));
        if (found == table().objects.end()) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        object = std::move(found->second);
        table().objects.erase(found);
    }
    object->closing();
    return TRUE;
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    WIN32_MAY_FAIL("WaitForSingleObject", WAIT_FAILED);
    const auto object = win32::objectAs<win32::Object>(handle);
    return object ? object->wait(milliseconds) : WAIT_FAILED;
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped) {
    DWORD unasked = 0;
    done = done == nullptr ? &unasked : done;
    *done = 0;
    WIN32_MAY_FAIL("ReadFile", FALSE);
    if (overlapped != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    const auto object = win32::objectAs<win32::Object>(file);
    return object ? object->read(buffer, size, done) : FALSE;
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped) {
    DWORD unasked = 0;
    done = done == nullptr ? &unasked : done;
    *done = 0;
    WIN32_MAY_FAIL("WriteFile", FALSE);
    if (overlapped != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    const auto object = win32::objectAs<win32::Object>(file);
    return object ? object->write(bytes, size, done) : FALSE;
}

BOOL WINAPI FlushFileBuffers(HANDLE file) {
    WIN32_MAY_FAIL("FlushFileBuffers", FALSE);
    const auto object = win32::objectAs<win32::Object>(file);
    return object ? object->flush() : FALSE;
}
