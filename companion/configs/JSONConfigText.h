// Edits of JSON text that leave every byte outside the edit as it is, and write what they add in the text's own style.
//
// Each function takes text that readJSON has accepted (a byte order mark before it allowed), which is what keeps the
// scanning here short: strings and brackets are known to be closed. Nothing recurses. Thread-safe.
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

/// Whether `text` is empty but for white space, as a file is that its program has not written yet.
[[nodiscard]] bool isBlank(std::string_view text);

/// Reads the value that `text` holds.
[[nodiscard]] std::expected<VostelMCPKit::MCPValue, ConfigError> readConfigJSON(std::string_view text);

/// The member that the names of `path` lead to, beginning at the outermost object; keys are compared as what their
/// escapes stand for. Absent when a name is missing or leads through something that is no object. Fails for a name
/// that stands twice in one object, since programs differ on which of them counts.
[[nodiscard]] std::expected<std::optional<JSONMemberSpan>, ConfigError>
memberAt(std::string_view text, std::span<const std::string_view> path);

/// Adds a member behind the last one of the object that begins at `object`, over as many lines as the object's other
/// members suggest. The object has no member `name` yet.
[[nodiscard]] std::string withMember(std::string_view text, std::size_t object, std::string_view name,
                                     const VostelMCPKit::MCPValue& value);

/// Puts `value` in the place of the member's value.
[[nodiscard]] std::string withMemberValue(std::string_view text, const JSONMemberSpan& member,
                                          const VostelMCPKit::MCPValue& value);

/// Takes `member` out of the object that begins at `object`, with the comma that parted it from its neighbour.
[[nodiscard]] std::string withoutMember(std::string_view text, std::size_t object, const JSONMemberSpan& member);

/// A document of its own for `value`, which is an object, over several lines.
[[nodiscard]] std::string documentText(const VostelMCPKit::MCPValue& value, std::string_view lineBreak);

/// `whole`, an object, with `leaf` as the value that the names of `path` lead to, or without that member.
[[nodiscard]] VostelMCPKit::MCPValue withValueAt(const VostelMCPKit::MCPValue& whole,
                                                 std::span<const std::string_view> path,
                                                 const std::optional<VostelMCPKit::MCPValue>& leaf);

/// `edited`, if it reads as `expected`.
[[nodiscard]] std::expected<std::string, ConfigError> verifiedJSON(std::string edited,
                                                                   const VostelMCPKit::MCPValue& expected);

} // namespace vostel_companion
