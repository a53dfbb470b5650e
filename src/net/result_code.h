// How a step that takes its time reports.
#pragma once

#include <cstddef>
#include <functional>

namespace base {

enum ResultCode {
    Success = 0,
    InProgress = 3,  // the only one that isn't final
    GeneralFailure = 6000,
    DownloadFailed = 6002,
    VerificationFailed = 6003,
    InstallerFailed = 6005,
};

// Called any number of times with InProgress and what is done of the total, and exactly once with another code, which
// ends the step: (1, 1, Success) or (1, 0, the failure). Who forwards a callback hands its result on; nobody reads it.
using ProgressCallback = std::function<bool(std::size_t done, std::size_t total, ResultCode code)>;

}  // namespace base
