#include "outcome.h"

#include <kit/jsonrpc/Codec.h>
#include <kit/jsonrpc/JSONWriter.h>
#include <kit/tools/MCPCallResult.h>

using namespace VostelMCPKit;

std::string renderedOutcome() {
    const MCPToolOutcome outcome = MCPToolOutcome::denied("reading transcripts is off");
    Bytes text;
    if (!writeJSON(MCPCallResult::rendering(outcome), text)) return "not written";
    return std::string{text.text()};
}
