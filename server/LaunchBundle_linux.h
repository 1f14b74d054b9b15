// Starts an application bundle on Linux, where no system service opens one.
#pragma once

#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/resource.h>

namespace vostel_mcp {

/// Runs the bundle's executable as a background process of its own: a new session, standard streams on /dev/null,
/// `descriptorLimit` for its open files, no descriptor of ours, and nobody's child to reap. Returns once the executable
/// runs or is known not to.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> launchBundle(const std::filesystem::path& bundle,
                                                                         const rlimit& descriptorLimit);

/// X.app/Contents/MacOS/ + the CFBundleExecutable of X.app/Contents/Info.plist, or X when the file names none.
[[nodiscard]] std::filesystem::path bundleExecutable(const std::filesystem::path& bundle);

/// The CFBundleExecutable in the text of an XML property list; empty when it names no plain file.
[[nodiscard]] std::string executableName(std::string_view inPropertyList);

} // namespace vostel_mcp
