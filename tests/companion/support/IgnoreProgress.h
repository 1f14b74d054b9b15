// For tests that do not check progress.
#pragma once

namespace vostel_tests {

/// Takes a report in any form.
inline constexpr auto ignoreProgress = [](const auto& /*report*/) {};

} // namespace vostel_tests
