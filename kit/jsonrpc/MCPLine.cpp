#include "kit/jsonrpc/MCPLine.h"

#include <tuple>

namespace VostelMCPKit {

Bytes resultLine(const MCPRequestID& id, Bytes result) {
    Bytes head{R"({"id":)"};
    std::ignore = writeJSON(id, head);
    head.append(R"(,"jsonrpc":"2.0","result":)");
    result.prepend(head.text());
    result.append("}\n");
    return result;
}

} // namespace VostelMCPKit
