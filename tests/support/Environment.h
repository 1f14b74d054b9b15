// The variables of a program that a test starts.
#pragma once

#include "posix/ChildProcess.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vostel_tests {

/// The variables of this process, except that `variables` have these values.
[[nodiscard]] inline std::vector<std::string>
environmentWith(std::initializer_list<std::pair<std::string, std::string>> variables) {
    std::vector<std::string> environment = posix::currentEnvironment();
    for (const auto& [name, value] : variables) {
        std::erase_if(environment, [&](const std::string& known) { return known.starts_with(name + "="); });
        environment.push_back(name + "=" + value);
    }
    return environment;
}

} // namespace vostel_tests
