// For tests only: what the next calls of the layer's operations answer, and what they were called with.
//
// The mechanism is compiled into the test build of the layer alone (WIN32_SCRIPTED); the library that ships has no
// trace of it. Operations are known by their Windows names ("CreateMutexW"). All calls may come from any thread.
//
// A whole program that is built with it is scripted by its environment: WIN32_FAIL_CALL="OPERATION N CODE" makes the
// N-th call of that operation in the process fail, and WIN32_NOTE_CALLS names a file that gets the name of each
// operation as it is called, a line each.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "win32/types.h"

namespace win32::script {

// Makes a later call of `operation` fail with `code`, after `after` calls of it have gone through. Codes queue up:
// calling this twice makes two calls fail. `code` is what GetLastError gives, or, for operations that return an
// error code or an HRESULT, what they return.
void failNext(const std::string& operation, DWORD code, unsigned after = 0);

// Replaces the waiting of Sleep: `answer` gets the milliseconds requested and runs in place of the pause, on the
// thread that sleeps. An empty function gives the real pause back.
void answerSleep(std::function<void(DWORD)> answer);

// Replaces the system clock that GetSystemTimeAsFileTime reads: `answer` gives 100 ns ticks since 1601-01-01 UTC.
void answerClock(std::function<ULONGLONG()> answer);

// Stands in for the desktop: with monitors given, icon, menu and windows work as on a desktop with these (the first one
// is the primary), and nothing is shown. Without any, the real desktop is back.
struct Monitor {
    RECT bounds;
    RECT workArea;
};
void pretendDesktop(const std::vector<Monitor>& monitors);

// Replaces the program that looks up proxies (win32/proxy.h) and the time that it is given. With an empty path the real
// ones are back.
void answerProxyLookups(const std::string& program, unsigned milliseconds);

// Makes InternetQueryOptionA give this chain (a CERT_CHAIN_CONTEXT) for any handle; null takes that back. The test owns
// it.
void answerChain(const void* chain);

// Stands in for the desktop's dialogs for files: `answer` gets "TITLE|FOLDER|FILTER|PATTERN|open", "...|save" or
// "...|open folder" and gives the path chosen, or an empty one for a user who cancels. An empty function gives the real
// dialogs back.
void answerFileChooser(std::function<std::string(const std::string&)> answer);

// The calls of `operation` since the last reset, oldest first, one text a call: its arguments in UTF-8, in
// their order, divided by '|'. Only operations whose effect lies outside of the process are recorded; each header
// says so ("recorded").
std::vector<std::string> calls(const std::string& operation);

// Forgets all of the above.
void reset();

}  // namespace win32::script
