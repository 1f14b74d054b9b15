#include "kit/support/UUID.h"

#include "kit/support/ASCII.h"

#include <cstdlib>

namespace VostelMCPKit {

namespace {

bool isHyphenPosition(std::size_t position) {
    return position == 8 || position == 13 || position == 18 || position == 23;
}

} // namespace

UUID UUID::fromRandom(std::array<std::uint8_t, 16> random) {
    random[6] = static_cast<std::uint8_t>((random[6] & 0x0F) | 0x40);
    random[8] = static_cast<std::uint8_t>((random[8] & 0x3F) | 0x80);
    return {random};
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    UUID result;
    std::size_t digits = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (isHyphenPosition(position)) {
            if (text[position] != '-') return std::nullopt;
            continue;
        }
        const auto digit = hexDigit(text[position]);
        if (!digit) return std::nullopt;
        std::uint8_t& byte = result.bytes[digits++ / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | *digit);
    }
    return result;
}

std::string UUID::text() const {
    std::string result(36, '-');
    char* at = result.data();
    for (const std::uint8_t byte : bytes) {
        if (isHyphenPosition(static_cast<std::size_t>(at - result.data()))) ++at;
        *at++ = "0123456789ABCDEF"[byte >> 4];
        *at++ = "0123456789ABCDEF"[byte & 0x0F];
    }
    return result;
}

std::optional<UUID> RandomUUIDs::next() const {
    std::array<std::uint8_t, 16> random{};
    if (!random_ || random_(random.data(), random.size()) != 0) return std::nullopt;
    return UUID::fromRandom(random);
}

UUID RandomUUIDs::operator()() const {
    const auto fresh = next();
    if (!fresh) std::abort();
    return *fresh;
}

} // namespace VostelMCPKit
