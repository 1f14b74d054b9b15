// Edits of JSON text that change no other byte, and add text in the style of the file.
//
// Each function takes text that readConfigJSON has accepted, after an optional byte order mark. So the scanning here is
// short: strings and brackets are known to be closed. Nothing recurses. Thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "companion/configs/ConfigText.h"
#include "kit/jsonrpc/MCPValue.h"

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vostel_companion {

struct JSONMemberSpan {
    /// With its quotation marks.
    ConfigRange key;
    ConfigRange value;

    bool operator==(const JSONMemberSpan&) const = default;
};

/// Whether `text` is empty or only white space, as before its program has written the file.
[[nodiscard]] bool isBlank(std::string_view text);

/// Reads the value in `text`. Half a surrogate pair, written as an escape, reads as U+FFFD: other programs write such
/// escapes when they cut a text, and an edit does not touch them.
[[nodiscard]] std::expected<VostelMCPKit::MCPValue, ConfigError> readConfigJSON(std::string_view text);

/// The member at `path`, from the outermost object on. Keys are compared after their escapes are decoded. Absent if a
/// name is missing or a value on the way is not an object. Fails for a name that occurs twice in one object, because
/// programs differ on which of them counts.
[[nodiscard]] std::expected<std::optional<JSONMemberSpan>, ConfigError>
memberAt(std::string_view text, std::span<const std::string_view> path);

/// Adds a member after the last one of the object that begins at `object`, laid out like its other members. The object
/// has no member `name` yet.
[[nodiscard]] std::string withMember(std::string_view text, std::size_t object, std::string_view name,
                                     const VostelMCPKit::MCPValue& value);

/// Replaces the member's value by `value`.
[[nodiscard]] std::string withMemberValue(std::string_view text, const JSONMemberSpan& member,
                                          const VostelMCPKit::MCPValue& value);

/// Removes `member` from the object that begins at `object`, with the comma between it and its neighbour.
[[nodiscard]] std::string withoutMember(std::string_view text, std::size_t object, const JSONMemberSpan& member);

/// A new document of several lines for `value`, an object.
[[nodiscard]] std::string documentText(const VostelMCPKit::MCPValue& value, std::string_view lineBreak);

/// `whole`, an object, with `leaf` as the value at `path`, or without that member.
[[nodiscard]] VostelMCPKit::MCPValue withValueAt(const VostelMCPKit::MCPValue& whole,
                                                 std::span<const std::string_view> path,
                                                 const std::optional<VostelMCPKit::MCPValue>& leaf);

/// `edited`, if it reads as `expected`.
[[nodiscard]] std::expected<std::string, ConfigError> verifiedJSON(std::string edited,
                                                                   const VostelMCPKit::MCPValue& expected);

} // namespace vostel_companion
