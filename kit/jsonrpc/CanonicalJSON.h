// Checks whether a JSON text has the form that our writer gives it, and brings other texts into that form. Neither
// builds a value.
//
// The application and the server share one writer, so nearly every large result has this form already. Such a text is
// passed on unchanged. Checking each byte once costs a fraction of building the value and writing it again. A value can
// also take twenty times the memory of its text.
#pragma once

#include "kit/support/Bytes.h"

#include <string_view>

namespace VostelMCPKit {

/// Whether readJSON accepts `text` and writing what it read gives the same bytes again. Thread-safe; keeps no state.
/// Takes a few bytes of memory for each level of nesting.
[[nodiscard]] bool isCanonicalJSON(std::string_view text);

/// Appends `text` in our writer's form to `out`. False for a text that is not JSON, and for a rare text whose keys are
/// so far out of order that building its value is faster. Then call readJSON, and ignore what was appended.
/// Thread-safe; keeps no state.
[[nodiscard]] bool appendCanonicalJSON(std::string_view text, Bytes& out);

/// The same for the value at the beginning of `text`. Removes that value from `text`. What follows is not examined:
/// from `1e` it removes the 1.
[[nodiscard]] bool takeCanonicalJSON(std::string_view& text, Bytes& out);

} // namespace VostelMCPKit
