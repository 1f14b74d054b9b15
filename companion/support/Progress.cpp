#include "companion/support/Progress.h"

#include <algorithm>
#include <utility>

namespace vostel_companion {

std::function<void(std::size_t)> reportWaiting(ReportProgress report) {
    return [report = std::move(report), fraction = 0.0](std::size_t others) mutable {
        fraction = std::min(fraction + mostWhileWaiting / 100, mostWhileWaiting);
        report({fraction, "Waiting for " + std::to_string(others) + (others == 1 ? " other" : " others")});
    };
}

} // namespace vostel_companion
