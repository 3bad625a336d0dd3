#include "Analysis/Sha256.hpp"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "Base/FatalError.hpp"

namespace dovra {

namespace {

/// Fetched once: looking the algorithm up takes longer than hashing a small file. Without the library's
/// configuration file, which could only replace the algorithm.
const EVP_MD* sha256() {
    static const EVP_MD* const method = [] {
        OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
        return EVP_MD_fetch(nullptr, "SHA256", nullptr);
    }();
    return method;
}

/// The library fails for want of memory only.
void require(bool succeeded) {
    if (!succeeded) fatalError("SHA-256 cannot be computed");
}

}  // namespace

void Sha256::ContextDeleter::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
    require(context_ != nullptr);
    start();
}

void Sha256::start() {
    require(EVP_DigestInit_ex2(context_.get(), sha256(), nullptr) == 1);
}

void Sha256::update(std::span<const char> bytes) {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1);
}

Digest Sha256::finish() {
    Digest digest;
    require(EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) == 1);
    start();
    return digest;
}

}  // namespace dovra
