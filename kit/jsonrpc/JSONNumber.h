// The rules that turn the decimal text of a JSON number into an integer or a double, and a double back into text.
#pragma once

#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/Bytes.h"

#include <optional>
#include <string_view>

namespace VostelMCPKit {

/// The value of `token`, which follows the number grammar of RFC 8259. Decided exactly, from the decimal text: a value
/// that is integral and fits 64 signed bits is an integer in any notation, every other one the nearest double. Absent
/// for a value beyond the range of double.
[[nodiscard]] std::optional<MCPValue> numberFromDecimal(std::string_view token);

/// Appends `value`, which is finite, with the fewest digits that read back as it: "0.1", never "0.1000000000000000055".
/// Zero and numbers with 1e-5 <= |value| < 1e16 have no exponent, and no fraction if they are integral. All others have
/// an exponent with a sign and at least two digits ("1e+16", "1e-06"). This is not always the shortest text.
void appendDecimal(double value, Bytes& out);

} // namespace VostelMCPKit
