// Reading what a client gave a tool.
#pragma once

#include "companion/tools/Tool.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// The arguments of one call. The first thing that is wrong with them is kept as a sentence for the client; readers
/// then give empty values, so a tool reads all that it takes and looks at `wrong` once. A null stands for an argument
/// that was left out. An argument that the tool does not take is wrong: a misspelt one must not go unnoticed.
class Arguments final {
public:
    /// The most elements that a list may have.
    static constexpr std::size_t mostElements = 1000;

    /// `call` and `tool` outlive this object.
    Arguments(const ToolCall& call, std::string_view tool, std::initializer_list<std::string_view> taken);
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    [[nodiscard]] std::optional<std::string> text(std::string_view name);
    [[nodiscard]] std::string neededText(std::string_view name);
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name);
    [[nodiscard]] std::vector<std::string> neededTexts(std::string_view name);
    /// A list of objects that have exactly the members `members`, all of them strings; the strings in that order.
    [[nodiscard]] std::vector<std::vector<std::string>> neededRecords(std::string_view name,
                                                                      std::initializer_list<std::string_view> members);

    [[nodiscard]] const std::optional<std::string>& wrong() const { return wrong_; }

private:
    /// Null when it is missing.
    [[nodiscard]] const VostelMCPKit::MCPValue* find(std::string_view name) const;
    [[nodiscard]] std::span<const VostelMCPKit::MCPValue> neededList(std::string_view name, std::string_view elements);
    /// Keeps the sentence "tool verb 'name' rest." unless there is one.
    void complain(std::string_view verb, std::string_view name, std::string_view rest);

    const VostelMCPKit::MCPValue& given_;
    const std::string_view tool_;
    std::optional<std::string> wrong_;
};

} // namespace vostel_companion
