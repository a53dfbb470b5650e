#include "platform/sleep_lock.h"

#include "base/log_receiver.h"
#include "base/number.h"
#include "base/text.h"
#include "win32/kernel.h"
#include "win32/power.h"

namespace base {

namespace {

constexpr const char* tag = "base";

HANDLE createRequest(const std::string& reason) {
    WideString text = widen(reason);
    REASON_CONTEXT context{};
    context.Version = POWER_REQUEST_CONTEXT_VERSION;
    context.Flags = POWER_REQUEST_CONTEXT_SIMPLE_STRING;
    context.Reason.SimpleReasonString = text.data();
    return PowerCreateRequest(&context);
}

}  // namespace

SleepLock::SleepLock(const std::string& reason) : request_(createRequest(reason)) {
    if (request_ == INVALID_HANDLE_VALUE) {
        logMessage(tag, "PowerCreateRequest failed");
        return;
    }
    active_ = PowerSetRequest(request_, PowerRequestSystemRequired) != FALSE;
    if (!active_) {
        logMessage(tag, "Failed to enable no-sleep mode, 0x" + hexadecimal(GetLastError()));
    }
}

SleepLock::~SleepLock() {
    if (request_ == INVALID_HANDLE_VALUE) {
        return;
    }
    if (PowerClearRequest(request_, PowerRequestSystemRequired) == FALSE) {
        logMessage(tag, "Failed to disable no-sleep mode");
    }
    if (CloseHandle(request_) == FALSE) {
        logMessage(tag, "Failed to close power request handle");
    }
}

}  // namespace base
