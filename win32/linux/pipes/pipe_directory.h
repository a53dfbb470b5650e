// The sockets behind named pipes: one for each instance, named after the pipe, its process and a number.
//
// A socket's mode says whether the instance is free (executable) or serves somebody, and by its time how often
// that has changed. A socket whose server has ended refuses connections, which is how it is distinguished from a live
// one; servers remove such files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "linux/support/descriptor.h"

namespace win32 {

struct PipeState {
    bool isFree = false;
    long changes = 0;
};

// A folder of pipes. Opening it never makes it.
struct PipeDirectory {
    std::string path;
    bool isMachineWide = false;

    // The file names of the instances of the pipe, dead ones among them.
    std::vector<std::string> instances(const std::string& pipe) const;
    // Whether a process still serves the socket `file`.
    bool isAlive(const std::string& file) const;
    PipeState stateOf(const std::string& file) const;
    void setFree(const std::string& file, bool isFree) const;
    void remove(const std::string& file) const;

    // Each a socket or none, with errno set.
    Descriptor listenAt(const std::string& file) const;
    Descriptor connectTo(const std::string& file) const;
};

// Where clients look, in this order.
std::vector<PipeDirectory> clientDirectories();

// Where this process serves, made when missing. An empty path, with the last error set, if it can't be.
PipeDirectory serverDirectory();

// Whether the process at the other end is this user's or root's.
bool isPeerTrusted(int socket);

bool isPipePath(std::u16string_view path);

// "\\.\pipe\NAME" as the name of a file; empty, with ERROR_INVALID_NAME, if it is no such path.
std::string pipeFileName(std::u16string_view path);

}  // namespace win32
