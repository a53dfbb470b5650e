// Files that stand for the names of kernel objects.
#pragma once

#include <string>
#include <string_view>

#include "linux/support/descriptor.h"

namespace win32 {

// A file name for any text: letters, digits, '-', '_', '{' and '}' stay, every other byte of its UTF-8 becomes "%XX".
// Beyond 64 characters the rest is a hash. Different texts have different file names, and none holds a '.' or a '/'.
std::string fileNameOf(std::u16string_view name);

// The same for names that differ only in the case of their ASCII letters.
std::string fileNameOfAnyCase(std::u16string_view name);

// Opens the regular file for reading and writing; with `create`, makes it with exactly `mode` when it is missing.
// Works for another user's file in a sticky directory, and follows no link. None, with the last error set, on failure.
Descriptor openNameFile(const std::string& path, bool create, unsigned mode);

// Whether the path still leads to the open file.
bool isFileAt(int file, const std::string& path);

// Takes the exclusive lock of one byte of the file, against every other opening of it, waiting at most `milliseconds`
// (INFINITE: for ever). False with WAIT_TIMEOUT or another code as the last error.
bool lockByte(int file, int byte, unsigned milliseconds);
void unlockByte(int file, int byte);

// Opens the file at `path`, alive as this name's file and with its byte `byte` locked: whoever unlinks such a file
// holds that lock. None, with the last error set, if it can't be opened or the lock isn't had within 5 seconds.
Descriptor openLocked(const std::string& path, int byte, bool create, unsigned mode);

}  // namespace win32
