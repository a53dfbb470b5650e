#include "base/log.h"

#include <boost/filesystem/operations.hpp>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "base/directories.h"
#include "win32/kernel.h"

namespace base {

namespace {

// UTC in whole seconds, as it may stand in a file's name.
std::string timeStamp() {
    FILETIME now{};
    SYSTEMTIME date{};
    GetSystemTimeAsFileTime(&now);
    if (FileTimeToSystemTime(&now, &date) == FALSE) {
        return "1970_01_01T00_00_01Z";
    }
    std::ostringstream stamp;
    const auto two = [&](char divider, WORD value) { stamp << divider << std::setw(2) << value; };
    stamp << std::setfill('0') << std::setw(4) << date.wYear;
    two('_', date.wMonth);
    two('_', date.wDay);
    two('T', date.wHour);
    two('_', date.wMinute);
    two('_', date.wSecond);
    return stamp.str() + "Z";
}

}  // namespace

Log::Log(const boost::filesystem::path& path)
    // In the native form, which on Windows is wide: a user's name need not fit the narrow one.
    : stream_(std::filesystem::path(path.native()), std::ios::out | std::ios::trunc),
      startTime_(std::chrono::steady_clock::now()) {}

void Log::writeLine(std::string& line) {
    const std::lock_guard lock(mutex_);
    const auto elapsed = std::chrono::steady_clock::now() - startTime_;
    const std::string time = std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
    const std::size_t begin = timeWidth - time.size();
    line.replace(begin, time.size(), time);
    stream_.write(line.data() + begin, static_cast<std::streamsize>(line.size() - begin)).flush();
}

std::weak_ptr<Log>& globalLog() {
    // Never destroyed: threads that end in static destructors still look here.
    static auto* const slot = new std::weak_ptr<Log>;
    return *slot;
}

std::shared_ptr<Log> createLog() {
    const boost::filesystem::path directory = base::applicationDirectory(base::Logs);
    boost::system::error_code ignored;
    boost::filesystem::create_directories(directory, ignored);
    auto log = std::make_shared<Log>(directory / ("agent_log_" + timeStamp() + ".txt"));
    globalLog() = log;
    return log;
}

}  // namespace base
