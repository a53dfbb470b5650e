// libcurl for a program that is started at every logon: loaded at the first request and not at the start. With the
// thirty libraries behind it that would take longer than all that the program does until it listens. Windows' linkers
// have this built in; here it is written out for the functions that the program calls.

#include <curl/curl.h>
#include <dlfcn.h>
#include <openssl/crypto.h>

#include <atomic>
#include <cstdarg>

#undef curl_easy_getinfo
#undef curl_easy_setopt

namespace {

constexpr const char* libraryName = "libcurl.so.4";

std::atomic<long> globalFlags = CURL_GLOBAL_ALL;

struct Library {
    decltype(&::curl_global_init) globalInit;
    decltype(&::curl_easy_init) easyInit;
    decltype(&::curl_easy_setopt) easySetopt;
    decltype(&::curl_easy_perform) easyPerform;
    decltype(&::curl_easy_getinfo) easyGetinfo;
    decltype(&::curl_easy_cleanup) easyCleanup;
    decltype(&::curl_easy_strerror) easyStrerror;
    decltype(&::curl_slist_append) slistAppend;
    decltype(&::curl_slist_free_all) slistFreeAll;
};

// All null if the library isn't there.
Library load() {
    Library library{};
    void* const handle = dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        return library;
    }
    const auto find = [handle](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(handle, name));
        return function != nullptr;
    };
    const bool isWhole =
        find(library.globalInit, "curl_global_init") && find(library.easyInit, "curl_easy_init") &&
        find(library.easySetopt, "curl_easy_setopt") && find(library.easyPerform, "curl_easy_perform") &&
        find(library.easyGetinfo, "curl_easy_getinfo") && find(library.easyCleanup, "curl_easy_cleanup") &&
        find(library.easyStrerror, "curl_easy_strerror") && find(library.slistAppend, "curl_slist_append") &&
        find(library.slistFreeAll, "curl_slist_free_all");
    return isWhole && library.globalInit(globalFlags) == CURLE_OK ? library : Library{};
}

const Library& curl() {
    static const Library library = load();
    return library;
}

}  // namespace

// The signatures are libcurl's, and who calls another function than curl_easy_init has a handle, and so the library.
// NOLINTBEGIN(clang-diagnostic-varargs, clang-analyzer-core.CallAndMessage)
extern "C" {

// Takes effect when the library is loaded. OpenSSL, which it would have started here, must still work for threads that
// are joined in static destructors, so it never cleans up at the exit.
CURLcode curl_global_init(long flags) {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    globalFlags = flags;
    return CURLE_OK;
}

// Null without the library.
CURL* curl_easy_init() { return curl().easyInit == nullptr ? nullptr : curl().easyInit(); }

void curl_easy_cleanup(CURL* handle) {
    if (handle != nullptr) {
        curl().easyCleanup(handle);
    }
}

// Numbers and pointers travel alike.
CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return curl().easySetopt(handle, option, value);
}

CURLcode curl_easy_getinfo(CURL* handle, CURLINFO info, ...) {
    va_list arguments;
    va_start(arguments, info);
    void* const target = va_arg(arguments, void*);
    va_end(arguments);
    return curl().easyGetinfo(handle, info, target);
}

CURLcode curl_easy_perform(CURL* handle) { return curl().easyPerform(handle); }
const char* curl_easy_strerror(CURLcode code) { return curl().easyStrerror(code); }
curl_slist* curl_slist_append(curl_slist* list, const char* text) { return curl().slistAppend(list, text); }
void curl_slist_free_all(curl_slist* list) { curl().slistFreeAll(list); }
}
// NOLINTEND(clang-diagnostic-varargs, clang-analyzer-core.CallAndMessage)
