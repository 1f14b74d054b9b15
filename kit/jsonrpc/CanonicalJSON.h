// Recognises JSON text that our writer would write in exactly the same way.
//
// The application and the server share one writer, so nearly every large result has this form already. Such a text is
// passed on as it came: looking at each of its bytes once costs a fraction of building its value and writing it again.
#pragma once

#include <string_view>

namespace VostelMCPKit {

/// Whether readJSON accepts `text` and writing what it read gives the same bytes again. Thread-safe; keeps no state.
/// Takes a few bytes of memory for each level of nesting.
[[nodiscard]] bool isCanonicalJSON(std::string_view text);

} // namespace VostelMCPKit
