#include "companion/store/Places.h"

#include "kit/connect/MCPConnectLogic.h"

namespace vostel_companion {

Places Places::in(const std::filesystem::path& applicationSupportDirectory) {
    return {applicationSupportDirectory / VostelMCPKit::MCPConnectLogic::hostApplicationSupportDirectoryName};
}

} // namespace vostel_companion
