// SHA-256 (FIPS 180-4) of data that comes in pieces, computed by OpenSSL.
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace vostel_companion {

class SHA256 final {
public:
    SHA256();

    void add(std::string_view bytes);
    /// The digest of everything that was added, in lower-case hexadecimal. Call it once. Empty, and so equal to no
    /// digest, when OpenSSL failed.
    [[nodiscard]] std::string finish();

private:
    struct Freer {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, Freer> context_;
    bool isWorking_ = false;
};

} // namespace vostel_companion
