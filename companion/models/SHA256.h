// SHA-256 (FIPS 180-4) in pieces; OpenSSL does the arithmetic.
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
    /// The digest of all that was added, in lower-case hexadecimal; the object is used up. Empty, and so equal to no
    /// digest, when the library refused to work.
    [[nodiscard]] std::string finish();

private:
    struct Freer {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, Freer> context_;
    bool isWorking_ = false;
};

} // namespace vostel_companion
