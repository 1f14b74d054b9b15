// A failure of the operating system, and what was attempted.
#pragma once

#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <string>

namespace posix {

using VostelMCPKit::PosixError;

/// An errno value is held in a PosixError, and in this where the user has to learn what failed.
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
/// The same about a file or folder: systemError("write", "/x") is the failure to "write '/x'".
[[nodiscard]] std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path);
[[nodiscard]] std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path,
                                                       int errorNumber);

} // namespace posix
