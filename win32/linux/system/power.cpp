#include "win32/power.h"

#include <fcntl.h>

#include <cerrno>
#include <mutex>
#include <string>

#include "linux/kernel/handle.h"
#include "linux/support/dbus.h"
#include "linux/support/descriptor.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"

namespace win32 {

namespace {

DWORD codeOfBusError(int error) {
    switch (error) {
        case EACCES:
        case EPERM:
            return ERROR_ACCESS_DENIED;
        case ETIMEDOUT:
            return ERROR_TIMEOUT;
        default:
            return ERROR_NOT_SUPPORTED;
    }
}

// logind keeps the machine awake for as long as anybody has the descriptor open. None with the last error set.
Descriptor inhibitSleep(const std::string& reason) {
    constexpr std::uint64_t patience = 5'000'000;
    Bus bus;
    int result = openBus(sd_bus_open_system, bus);
    sd_bus_message* call = nullptr;
    sd_bus_message* answer = nullptr;
    if (result >= 0) {
        constexpr const char* service = "org.freedesktop.login1";
        result = sd_bus_message_new_method_call(bus.get(), &call, service, "/org/freedesktop/login1",
                                                "org.freedesktop.login1.Manager", "Inhibit");
    }
    const BusMessage ownedCall(call);
    if (result >= 0) {
        result = sd_bus_message_append(call, "ssss", "sleep", "Zelmo Dockset", reason.c_str(), "block");
    }
    if (result >= 0) {
        result = sd_bus_call(bus.get(), call, patience, nullptr, &answer);
    }
    const BusMessage ownedAnswer(answer);
    int descriptor = -1;
    if (result < 0 || (result = sd_bus_message_read(answer, "h", &descriptor)) < 0) {
        SetLastError(codeOfBusError(-result));
        return {};
    }
    // The message's own goes with the message.
    return Descriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
}

class PowerRequest : public Object {
public:
    explicit PowerRequest(std::string reason) : reason_(std::move(reason)) {}

    bool set() {
        const std::lock_guard lock(mutex_);
        if (count_ == 0 && !(inhibitor_ = inhibitSleep(reason_))) {
            return false;
        }
        ++count_;
        return true;
    }

    bool clear() {
        const std::lock_guard lock(mutex_);
        if (count_ == 0) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return false;
        }
        if (--count_ == 0) {
            inhibitor_.reset();
        }
        return true;
    }

private:
    const std::string reason_;
    std::mutex mutex_;
    int count_ = 0;
    Descriptor inhibitor_;
};

std::shared_ptr<PowerRequest> requestFor(HANDLE handle, POWER_REQUEST_TYPE type) {
    auto request = objectAs<PowerRequest>(handle);
    if (request && type != PowerRequestSystemRequired) {
        SetLastError(type >= PowerRequestDisplayRequired && type <= PowerRequestExecutionRequired
                         ? ERROR_NOT_SUPPORTED
                         : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return request;
}

}  // namespace

}  // namespace win32

HANDLE WINAPI PowerCreateRequest(REASON_CONTEXT* context) {
    WIN32_MAY_FAIL("PowerCreateRequest", INVALID_HANDLE_VALUE);
    if (context == nullptr || context->Version != POWER_REQUEST_CONTEXT_VERSION ||
        context->Flags != POWER_REQUEST_CONTEXT_SIMPLE_STRING) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const LPCWSTR reason = context->Reason.SimpleReasonString;
    return win32::openHandle(
        std::make_shared<win32::PowerRequest>(reason == nullptr ? std::string() : win32::toBytes(reason)));
}

BOOL WINAPI PowerSetRequest(HANDLE handle, POWER_REQUEST_TYPE type) {
    WIN32_MAY_FAIL("PowerSetRequest", FALSE);
    const auto request = win32::requestFor(handle, type);
    return request && request->set() ? TRUE : FALSE;
}

BOOL WINAPI PowerClearRequest(HANDLE handle, POWER_REQUEST_TYPE type) {
    WIN32_MAY_FAIL("PowerClearRequest", FALSE);
    const auto request = win32::requestFor(handle, type);
    return request && request->clear() ? TRUE : FALSE;
}
