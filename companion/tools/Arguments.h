// Reads the arguments of a tool call.
#pragma once

#include "companion/support/Tool.h"
#include "kit/jsonrpc/Codec.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace vostel_companion {

/// Fills the arguments record of one call through its codingKeys. If something is wrong, it keeps a sentence for the
/// client. VostelMCPKit::decode ignores keys that a record does not list. Here they are errors, so that a misspelt
/// argument is noticed. A null counts as a missing argument.
class ArgumentReader final {
public:
    /// The most elements that a list may have.
    static constexpr std::size_t mostElements = 1000;

    /// `tool` and `given` outlive the reader.
    ArgumentReader(std::string_view tool, const VostelMCPKit::MCPValue& given);
    ArgumentReader(const ArgumentReader&) = delete;
    ArgumentReader& operator=(const ArgumentReader&) = delete;

    void operator()(std::string_view name, std::string& field);
    void operator()(std::string_view name, std::optional<std::string>& field);
    void operator()(std::string_view name, std::optional<std::int64_t>& field);
    /// Lists have at least one element: a string, or a record whose fields are strings.
    template <class Element>
    void operator()(std::string_view name, std::vector<Element>& field);

    /// What is wrong with the arguments. Call it after every key was read.
    [[nodiscard]] std::optional<std::string> error() const;

private:
    /// Collects the keys of a record.
    struct KeyNames {
        std::vector<std::string_view> names;
        void operator()(std::string_view name, const std::string& /*field*/) { names.push_back(name); }
    };

    /// Null when it is missing.
    [[nodiscard]] const VostelMCPKit::MCPValue* find(std::string_view name);
    [[nodiscard]] std::span<const VostelMCPKit::MCPValue> list(std::string_view name, const std::string& asElements);
    /// Keeps the sentence "tool verb 'name' rest." unless there is an earlier one.
    void complain(std::string_view verb, std::string_view name, std::string_view rest);

    const std::string_view tool_;
    const VostelMCPKit::MCPValue& given_;
    std::vector<std::string_view> taken_;
    std::optional<std::string> error_;
};

/// The arguments of a call of the tool `Signature`, or a sentence for the client that says what is wrong with them.
template <class Signature>
[[nodiscard]] std::expected<typename Signature::Arguments, std::string> readArguments(const ToolCall& call) {
    typename Signature::Arguments arguments;
    ArgumentReader reader{Signature::name, call.arguments};
    Signature::Arguments::codingKeys(arguments, reader);
    if (auto error = reader.error()) return std::unexpected(*std::move(error));
    return arguments;
}

template <class Element>
void ArgumentReader::operator()(std::string_view name, std::vector<Element>& field) {
    KeyNames keys;
    std::string asElements = "as a list of strings";
    if constexpr (!std::is_same_v<Element, std::string>) {
        const Element example;
        Element::codingKeys(example, keys);
        asElements = "as a list of objects with";
        for (const std::string_view key : keys.names) {
            asElements.append(key == keys.names.front() ? " the strings '" : " and '").append(key).append("'");
        }
    }
    for (const VostelMCPKit::MCPValue& value : list(name, asElements)) {
        auto element = VostelMCPKit::decode<Element>(value);
        const auto members = value.asObject();
        if (!element || (members && members->size() != keys.names.size())) return complain("needs", name, asElements);
        field.push_back(*std::move(element));
    }
}

} // namespace vostel_companion
