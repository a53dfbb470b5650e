// The log: one text file for each run, in the Logs directory, each line flushed at once.
//
// A line is the whole milliseconds since the log was made, "ms ", and the text, behind a tag if a module speaks. The
// agent's own code calls logLine; modules call base::logMessage, which reaches the log through AgentLogReceiver.
#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "base/log_receiver.h"

namespace base {

class Log {
public:
    // Opens the file at `path`, emptying one that is there. A file that can't be opened makes a log that
    // writes nothing.
    explicit Log(const boost::filesystem::path& path);

    // Writes one line. Any thread: the parts of a line never mix with another's, and times never go back.
    template <typename... Parts>
    void write(const Parts&... parts) {
        std::string line(timeWidth, ' ');
        line += "ms ";
        (append(line, parts), ...);
        line += '\n';
        writeLine(line);
    }

private:
    // Of the longest number of milliseconds.
    static constexpr std::size_t timeWidth = 20;

    static void append(std::string& line, std::string_view part) { line += part; }
    static void append(std::string& line, char part) { line += part; }
    static void append(std::string& line, std::unsigned_integral auto part) { line += std::to_string(part); }

    // Puts the time into the room for it.
    void writeLine(std::string& line);

    std::mutex mutex_;
    std::ofstream stream_;
    std::chrono::steady_clock::time_point startTime_;
};

class AgentLogReceiver : public base::GlobalLogReceiver {
public:
    explicit AgentLogReceiver(std::shared_ptr<Log> log) : log_(std::move(log)) {}
    void log(const std::string& tag, const std::string& text) override { log_->write(tag, ' ', text); }

private:
    std::shared_ptr<Log> log_;
};

// Makes the directory and the file, and puts the log where logLine finds it. Called once, before any second thread
// exists. Always gives a log, whether or not its file could be opened.
std::shared_ptr<Log> createLog();

// Where logLine finds the log: written by createLog, before any second thread exists, and only read afterwards.
std::weak_ptr<Log>& globalLog();

// Writes a line without a tag: string literals, strings and 32-bit unsigned numbers. Nothing without a log. Any thread.
template <typename... Parts>
void logLine(const Parts&... parts) {
    if (const auto log = globalLog().lock()) {
        log->write(parts...);
    }
}

}  // namespace base
