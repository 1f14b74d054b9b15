#include "companion/models/SHA256.h"

#include <openssl/evp.h>
#include <span>

namespace vostel_companion {

void SHA256::Freer::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

SHA256::SHA256()
    : context_{EVP_MD_CTX_new()},
      isWorking_{context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1} {}

void SHA256::add(std::string_view bytes) {
    isWorking_ = isWorking_ && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1;
}

std::string SHA256::finish() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (!isWorking_ || EVP_DigestFinal_ex(context_.get(), digest, &size) != 1) return {};
    isWorking_ = false;
    std::string text;
    for (const unsigned char byte : std::span<const unsigned char>{digest, size}) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 0x0F];
    }
    return text;
}

} // namespace vostel_companion
