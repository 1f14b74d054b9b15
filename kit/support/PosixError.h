// A failure of the operating system.
#pragma once

#include <string>
#include <system_error>

namespace VostelMCPKit {

struct PosixError {
    /// An errno value.
    int code = 0;

    /// The system's text for the number.
    [[nodiscard]] std::string systemText() const { return std::generic_category().message(code); }

    bool operator==(const PosixError&) const = default;
};

} // namespace VostelMCPKit
