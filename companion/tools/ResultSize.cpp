#include "companion/tools/ResultSize.h"

#include "companion/support/Tool.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/tools/MCPCallResult.h"

#include <limits>

namespace vostel_companion {

using namespace VostelMCPKit;

bool hasRoomForTimes(const MCPValue& record) {
    Bytes written;
    return writeJSON(record, written) && written.size() <= longestRecordWithTimes;
}

std::size_t resultSize(const MCPToolOutcome& outcome) {
    Bytes written;
    if (!writeJSON(MCPCallResult::rendering(outcome), written)) return std::numeric_limits<std::size_t>::max();
    return written.size();
}

MCPToolOutcome fittingOutcome(std::size_t count, const std::function<MCPToolOutcome(std::size_t)>& build) {
    while (true) {
        MCPToolOutcome outcome = build(count);
        if (resultSize(outcome) <= largestResult) return outcome;
        if (count == 0) return MCPToolOutcome::failed("The result is too large to be sent.");
        // Nearly every result fits at once. For the others, steps of a quarter waste little room.
        count = count * 3 / 4;
    }
}

} // namespace vostel_companion
