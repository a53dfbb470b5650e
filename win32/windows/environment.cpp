// libcurl takes a proxy from the environment whenever it is told none, so a program whose user chose "no proxy" must
// not have these variables. They go before main begins, and so before any thread; programs that this one starts don't
// get them either.

#include <windows.h>

#include <initializer_list>

namespace {

[[maybe_unused]] const bool areTaken = [] {
    for (const char* const name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"}) {
        SetEnvironmentVariableA(name, nullptr);  // in any case
    }
    return true;
}();

}  // namespace
