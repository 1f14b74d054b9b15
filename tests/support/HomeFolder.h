// The home folder that a test gives to a program. It is never the user's own.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace vostel_tests {

/// The variables that name the home folder. macOS prefers the second one.
inline constexpr std::array homeVariables{"HOME", "CFFIXED_USER_HOME"};

/// Ends the test when `folder` is the real home folder. A test must never change the user's application and settings.
inline void refuseRealHome(const std::filesystem::path& folder) {
    const passwd* user = ::getpwuid(::getuid());
    std::error_code ignored;
    if (user != nullptr && !std::filesystem::equivalent(folder, user->pw_dir, ignored)) return;
    std::fprintf(stderr, "a test must not use the real home folder %s\n", folder.c_str());
    std::abort();
}

/// For a program that is started with `environment`, which does not have the variables yet.
inline void setHome(std::vector<std::string>& environment, const std::filesystem::path& folder) {
    refuseRealHome(folder);
    for (const char* name : homeVariables) environment.push_back(std::string{name} + "=" + folder.string());
}

/// For this process.
inline void setHome(const std::filesystem::path& folder) {
    refuseRealHome(folder);
    for (const char* name : homeVariables) ::setenv(name, folder.c_str(), /*overwrite=*/1);
}

} // namespace vostel_tests
