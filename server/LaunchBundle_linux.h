// Starts an application bundle on Linux, which has no system service for that.
#pragma once

#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/resource.h>

namespace vostel_mcp {

/// Runs the bundle's executable as an independent background process. It has a session of its own, its standard streams
/// on /dev/null, `descriptorLimit` for its open files, and none of our descriptors. It is not our child, so we need not
/// reap it. Returns when the executable runs or could not be run.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> launchBundle(const std::filesystem::path& bundle,
                                                                         const rlimit& descriptorLimit);

/// X.app/Contents/MacOS/ + the CFBundleExecutable of X.app/Contents/Info.plist, or X when the file names none.
[[nodiscard]] std::filesystem::path bundleExecutable(const std::filesystem::path& bundle);

/// The CFBundleExecutable in the text of an XML property list; empty when it names no plain file.
[[nodiscard]] std::string executableName(std::string_view inPropertyList);

} // namespace vostel_mcp
