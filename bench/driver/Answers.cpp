#include "bench/driver/Answers.h"

#include "bench/driver/Failure.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace vostel_bench::Answers {

namespace {

/// Removes the first line from `lines` and returns it without its line feed.
std::string_view takeLine(std::string_view& lines) {
    const std::size_t end = lines.find('\n');
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(end + 1);
    return line;
}

[[noreturn]] void failAt(std::string_view line, std::string_view reason) {
    constexpr std::size_t shown = 400;
    fail("a server gave a wrong answer (" + std::string{reason} + "): " + std::string{line.substr(0, shown)});
}

/// The id is near one end of the line in any order of keys, so a large result need not be searched.
std::optional<std::uint64_t> idOf(std::string_view line) {
    constexpr std::string_view key = "\"id\":";
    constexpr std::size_t reach = 64;
    const std::size_t tail = line.size() > reach ? line.size() - reach : 0;
    for (const std::string_view part : {line.substr(0, reach), line.substr(tail)}) {
        std::size_t at = part.find(key);
        if (at == std::string_view::npos) continue;
        std::uint64_t id = 0;
        for (at += key.size(); at < part.size() && part[at] >= '0' && part[at] <= '9'; ++at) {
            id = id * 10 + static_cast<std::uint64_t>(part[at] - '0');
        }
        return id;
    }
    return std::nullopt;
}

void expectResult(std::string_view line, std::uint64_t id, const Workload::Result& result) {
    constexpr std::string_view envelope = R"({"id":,"jsonrpc":"2.0","result":})";
    if (line.size() != envelope.size() + std::to_string(id).size() + result.json.size()) failAt(line, "its size");
    for (const std::string& part : result.parts) {
        if (line.find(part) == std::string_view::npos) failAt(line, "lost " + part.substr(0, 80));
    }
}

} // namespace

void expectResults(std::string_view lines, std::uint64_t firstID, std::size_t count, const Workload::Result& result) {
    std::vector<bool> answered(count, false);
    while (!lines.empty()) {
        const std::string_view line = takeLine(lines);
        const std::optional<std::uint64_t> id = idOf(line);
        if (!id || *id < firstID || *id >= firstID + count || answered[*id - firstID]) failAt(line, "its id");
        answered[*id - firstID] = true;
        expectResult(line, *id, result);
    }
    if (!std::ranges::all_of(answered, [](bool is) { return is; })) fail("a server did not answer a call");
}

void expectProgressThenResult(std::string_view lines, std::uint64_t id, const Workload::Tool& tool,
                              const Workload::Result& result) {
    const std::string token = "\"progressToken\":" + std::to_string(id);
    for (std::size_t index = 0; index < tool.progressFrames; ++index) {
        const std::string_view line = takeLine(lines);
        const std::string progress = "\"progress\":0." + Workload::progressDigits(index, tool.progressFrames);
        for (const std::string_view part :
             {std::string_view{R"("method":"notifications/progress")"}, std::string_view{"\"total\":1"},
              std::string_view{token}, std::string_view{progress}}) {
            if (line.find(part) == std::string_view::npos) failAt(line, "a report lost " + std::string{part});
        }
    }
    expectResults(lines, id, 1, result);
}

std::vector<std::uint64_t> ids(std::string_view lines) {
    std::vector<std::uint64_t> found;
    while (!lines.empty()) {
        const std::string_view line = takeLine(lines);
        const auto id = idOf(line);
        if (!id) failAt(line, "its id");
        found.push_back(*id);
    }
    return found;
}

std::string resultOf(std::string_view line, std::uint64_t id) {
    const auto answer = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!answer.is_object() || answer.value("jsonrpc", "") != "2.0" || answer.value("id", std::uint64_t{0}) != id ||
        !answer.contains("result")) {
        failAt(line, "no result");
    }
    return answer["result"].dump();
}

} // namespace vostel_bench::Answers
