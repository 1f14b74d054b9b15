// The program Vostel: gives the verb of its command line the dependencies, and runs it.
#pragma once

#include <string>
#include <vector>

namespace vostel_companion {

/// Runs the verb that the arguments name, and returns the exit status of the process.
[[nodiscard]] int runProgram(const std::vector<std::string>& arguments);

} // namespace vostel_companion
