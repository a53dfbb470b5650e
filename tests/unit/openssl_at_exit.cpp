// As in the agent, OpenSSL doesn't clean up at the exit: a provider's worker, which nobody joins, may still be in it.
#include <openssl/crypto.h>

namespace {

[[gnu::constructor(101)]] void keepOpenSsl() { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

}  // namespace
