// The identity of a forwarded call or of a confirmation request.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// A plain value.
struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    /// A version 4 UUID (RFC 9562) from sixteen random bytes. The kit asks no system for them:
    ///
    ///     std::array<std::uint8_t, 16> random;
    ///     if (getentropy(random.data(), random.size()) != 0) return fail();
    ///     const UUID id = UUID::fromRandom(random);
    [[nodiscard]] static UUID fromRandom(std::array<std::uint8_t, 16> random);
    /// Reads the canonical 8-4-4-4-12 form in either letter case.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    /// The canonical form in upper case, 36 characters.
    [[nodiscard]] std::string text() const;

    bool operator==(const UUID&) const = default;
};

/// Where fresh UUIDs come from: the system's random source in the programs, a script in tests.
using UUIDSource = std::function<UUID()>;

} // namespace VostelMCPKit
