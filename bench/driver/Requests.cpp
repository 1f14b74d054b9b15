#include "bench/driver/Requests.h"

namespace vostel_bench {

void Requests::add(std::string_view line) {
    lines += line;
    lines += '\n';
    ends.push_back(lines.size());
}

Requests Requests::initialize(std::uint64_t id) {
    Requests made;
    made.add(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
             R"(,"method":"initialize","params":{"protocolVersion":"2025-06-18","capabilities":{},)"
             R"("clientInfo":{"name":"bench-driver","version":"1.0"}}})");
    return made;
}

Requests Requests::listTools(std::uint64_t id) {
    Requests made;
    made.add(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"tools/list"})");
    return made;
}

Requests Requests::emptyArrays(std::size_t bytes) {
    std::string line = "[[]";
    while (line.size() + 4 <= bytes) line += ",[]";
    line += ']';
    Requests made;
    made.add(line);
    return made;
}

Requests Requests::call(const Workload::Tool& tool, std::uint64_t firstID, std::size_t count) {
    const std::string arguments =
        tool.sendsLargeArguments ? Workload::largeArgumentsJSON() : std::string{Workload::smallArgumentsJSON};
    Requests made;
    for (std::uint64_t id = firstID; id < firstID + count; ++id) {
        const std::string number = std::to_string(id);
        const std::string meta = tool.progressFrames > 0 ? R"("_meta":{"progressToken":)" + number + "}," : "";
        made.add(R"({"jsonrpc":"2.0","id":)" + number + R"(,"method":"tools/call","params":{)" + meta + R"("name":")" +
                 std::string{tool.name} + R"(","arguments":)" + arguments + "}}");
    }
    return made;
}

} // namespace vostel_bench
