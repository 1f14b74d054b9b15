// A failure of the operating system, and what was attempted.
#pragma once

#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <string>

namespace posix {

using VostelMCPKit::PosixError;

/// A PosixError with the attempt that failed, for errors that the user reads.
struct SystemError {
    /// Completes the sentence "Vostel could not ...": "write '/x'".
    std::string attempt;
    PosixError reason;

    /// One full sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const SystemError&) const = default;
};

/// The error of an attempt that set errno. Call it before anything else can change errno.
[[nodiscard]] std::unexpected<SystemError> systemError(const char* attempt);
/// The same for a file or folder: systemError("write", "/x") has the attempt "write '/x'".
[[nodiscard]] std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path);
[[nodiscard]] std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path,
                                                       int errorNumber);

} // namespace posix
