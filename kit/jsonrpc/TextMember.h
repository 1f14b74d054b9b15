// A large member of a message, taken out of its text. The rest of the message is short and is read as usual.
//
// The server passes arguments and results on without reading them. An MCPValue can take twenty times the memory of its
// text.
#pragma once

#include "kit/support/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// Moved, never copied.
struct TextMember {
    /// The JSON text of the member's value, as our writer writes it. Has room for a short prefix; see Bytes::prepend.
    Bytes value;
    /// The message with null in place of the value. The caller reads it, which finds any error in it.
    std::string remainder;
};

/// Finds the member `key` of the object that is the member `outerKey` of the object in `text`. Absent when there is no
/// such member, or the text has an unusual form. Then read `text` as a value. Checks nothing but the value and what is
/// before it. Thread-safe; keeps no state.
[[nodiscard]] std::optional<TextMember> findTextMember(std::string_view text, std::string_view outerKey,
                                                       std::string_view key);

} // namespace VostelMCPKit
