// A failure of the operating system as a value. It is in the kit because an error of MCPStdoutWriter contains it.
#pragma once

#include <string>
#include <system_error>

namespace VostelMCPKit {

/// A plain value.
struct PosixError {
    /// A value of errno, such as ENOENT.
    int errorNumber = 0;

    /// The system's English text for the number, without a full stop: "No such file or directory". Thread-safe.
    [[nodiscard]] std::string systemText() const { return std::generic_category().message(errorNumber); }

    bool operator==(const PosixError&) const = default;
};

} // namespace VostelMCPKit
