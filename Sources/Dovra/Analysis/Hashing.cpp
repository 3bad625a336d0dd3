// The library's newer interface chooses among replaceable implementations at run time. The library would have
// to be loaded whole, which costs every start a millisecond. These three functions can be linked in alone.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "Analysis/Hashing.hpp"

namespace dovra {

// None of the calls can fail: they compute in place.

Sha256::Sha256() {
    (void)SHA256_Init(&context_);
}

void Sha256::update(std::span<const char> bytes) {
    (void)SHA256_Update(&context_, bytes.data(), bytes.size());
}

Digest Sha256::finish() {
    Digest digest;
    (void)SHA256_Final(digest.data(), &context_);
    return digest;
}

}  // namespace dovra
