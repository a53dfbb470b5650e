// libcurl and OpenSSL for a program that is started at every logon: loaded when they are used and not at the start.
// With the thirty libraries behind them that would take longer than all that the program does until it listens.
// Windows' linkers have this built in.
#include <curl/curl.h>
#include <dlfcn.h>
#include <openssl/crypto.h>

#include <array>
#include <atomic>
#include <iterator>

namespace {

enum Library { crypto, ssl, curl };

struct Function {
    Library home;
    const char* name;
};

constexpr Function functions[] = {
#define DELAYED(library, name) {library, #name},
#include "functions.inc"
#undef DELAYED
};

std::atomic<long> curlFlags = CURL_GLOBAL_ALL;

void* open(const char* name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }

template <typename Signature>
Signature* find(void* library, const char* name) {
    return library == nullptr ? nullptr : reinterpret_cast<Signature*>(dlsym(library, name));
}

// OpenSSL must still work for threads that are joined in static destructors, so it never cleans up at the exit.
void* openCrypto() {
    void* const library = open("libcrypto.so.3");
    if (auto* const init = find<decltype(OPENSSL_init_crypto)>(library, "OPENSSL_init_crypto")) {
        init(OPENSSL_INIT_NO_ATEXIT, nullptr);
    }
    return library;
}

void* handleOf(Library library);

// Null for a library that doesn't start.
void* openCurl() {
    handleOf(crypto);
    void* const library = open("libcurl.so.4");
    auto* const init = find<decltype(curl_global_init)>(library, "curl_global_init");
    return init != nullptr && init(curlFlags) == CURLE_OK ? library : nullptr;
}

void* handleOf(Library library) {
    static void* const cryptoHandle = openCrypto();
    if (library == crypto) {
        return cryptoHandle;
    }
    if (library == ssl) {
        static void* const sslHandle = open("libssl.so.3");
        return sslHandle;
    }
    static void* const curlHandle = openCurl();
    return curlHandle;
}

// What a missing library's functions are: a failure by the custom of these libraries.
void* giveNull() { return nullptr; }

}  // namespace

extern "C" {

// Takes effect when the library is loaded.
CURLcode curl_global_init(long flags) {
    curlFlags = flags;
    return CURLE_OK;
}

__attribute__((visibility("hidden"))) std::array<std::atomic<void*>, std::size(functions)> delayedTargets{};

__attribute__((visibility("hidden"))) void* findDelayed(unsigned index) {
    const Function& function = functions[index];
    void* const found = find<void>(handleOf(function.home), function.name);
    void* const target = found != nullptr ? found : reinterpret_cast<void*>(giveNull);
    delayedTargets[index] = target;
    return target;
}
}
