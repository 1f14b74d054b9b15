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

/// Returns a new UUID at each call: RandomUUIDs in the programs, a fixed list in tests.
using UUIDSource = std::function<UUID()>;

/// Fills `count` bytes with random data. Returns 0, or another number on failure. getentropy of POSIX is one.
using RandomBytes = std::function<int(void* bytes, std::size_t count)>;

/// Makes new version 4 UUIDs. As thread-safe as its source of random bytes. The caller passes that source, because the
/// kit does no I/O:
///
///     const UUIDSource newID = RandomUUIDs{getentropy};
class RandomUUIDs final {
public:
    /// An empty function counts as one that always fails.
    explicit RandomUUIDs(RandomBytes random) : random_{std::move(random)} {}

    /// Absent when there are no random bytes.
    [[nodiscard]] std::optional<UUID> next() const;
    /// The same for a program that cannot work without a UUID. Ends the process where `next` would be absent.
    [[nodiscard]] UUID operator()() const;

private:
    RandomBytes random_;
};

} // namespace VostelMCPKit
