// The form in which our writer writes JSON, recognised in a text and given to a text, without building its value.
//
// The application and the server share one writer, so nearly every large result has this form already. Such a text is
// passed on as it came. Looking at each byte once costs a fraction of building the value and writing it again, and a
// value can take twenty times the memory of its text.
#pragma once

#include "kit/support/Bytes.h"

#include <string_view>

namespace VostelMCPKit {

/// Whether readJSON accepts `text` and writing what it read gives the same bytes again. Thread-safe; keeps no state.
/// Takes a few bytes of memory for each level of nesting.
[[nodiscard]] bool isCanonicalJSON(std::string_view text);

/// Appends to `out` what writing the value of `text` gives. False for a text that is not JSON, and for a rare one whose
/// keys are so far out of order that building its value is quicker: then ask readJSON; what was appended has no
/// meaning. Thread-safe; keeps no state.
[[nodiscard]] bool appendCanonicalJSON(std::string_view text, Bytes& out);

/// The same for the value at the beginning of `text`, which becomes what follows the value. That is not looked at: of
/// `1e` it takes the 1.
[[nodiscard]] bool takeCanonicalJSON(std::string_view& text, Bytes& out);

} // namespace VostelMCPKit
