// The roots that the system trusts, as bytes: its headers and OpenSSL's don't go together in one source.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace base {

// Hands each certificate of the system's stores to `visit`, encoded in DER; a store that doesn't open is passed over.
void visitSystemCertificates(const std::function<void(const std::uint8_t* bytes, std::size_t size)>& visit);

}  // namespace base
