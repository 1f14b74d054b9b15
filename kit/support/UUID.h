// The identity of a forwarded call or of a confirmation request.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace VostelMCPKit {

/// A plain value.
struct UUID {
    /// In the order of the text.
    std::array<std::uint8_t, 16> bytes{};

    /// A version 4 UUID (RFC 9562) from sixteen random bytes; see RandomUUIDs.
    [[nodiscard]] static UUID fromRandom(std::array<std::uint8_t, 16> random);
    /// Reads the canonical 8-4-4-4-12 form in either letter case.
    [[nodiscard]] static std::optional<UUID> parse(std::string_view text);

    /// The canonical form in upper case, 36 characters.
    [[nodiscard]] std::string text() const;

    bool operator==(const UUID&) const = default;
};

/// Where fresh UUIDs come from: RandomUUIDs in the programs, a script in tests.
using UUIDSource = std::function<UUID()>;

/// Fills `count` bytes with random ones and returns 0; any other number when it cannot. getentropy of POSIX does so.
using RandomBytes = std::function<int(void* bytes, std::size_t count)>;

/// Fresh version 4 UUIDs, as thread-safe as the source of their random bytes. The kit asks no system for those:
///
///     const UUIDSource newID = RandomUUIDs{getentropy};
class RandomUUIDs final {
public:
    /// An empty function counts as one that has no bytes.
    explicit RandomUUIDs(RandomBytes random) : random_{std::move(random)} {}

    /// Absent when there are no random bytes.
    [[nodiscard]] std::optional<UUID> next() const;
    /// The same for a program that cannot work without: ends the process where `next` is absent.
    [[nodiscard]] UUID operator()() const;

private:
    RandomBytes random_;
};

} // namespace VostelMCPKit
