#include "companion/tools/Tool.h"

#include <utility>

namespace vostel_companion {

VostelMCPKit::MCPToolOutcome failedOutcome(std::string message) {
    return {VostelMCPKit::MCPToolError{std::move(message)}};
}

} // namespace vostel_companion
