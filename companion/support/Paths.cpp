#include "companion/support/Paths.h"

#include "kit/connect/MCPConnectLogic.h"

namespace vostel_companion {

Paths Paths::in(const std::filesystem::path& applicationSupportDirectory) {
    return {applicationSupportDirectory / VostelMCPKit::MCPConnectLogic::hostApplicationSupportDirectoryName};
}

} // namespace vostel_companion
