// For tests that do not check progress.
#pragma once

namespace vostel_tests {

inline void ignoreProgress(double) {}

} // namespace vostel_tests
