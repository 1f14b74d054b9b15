#include "companion/tools/Arguments.h"

#include "companion/support/InQuotes.h"

#include <algorithm>
#include <cmath>

namespace vostel_companion {

using VostelMCPKit::MCPValue;

namespace {

/// Deliberate: 10.0 is a whole number too. That is how JSON Schema counts, and how some clients write.
std::optional<std::int64_t> wholeNumber(const MCPValue& value) {
    if (const auto integer = value.asInt()) return integer;
    const auto real = value.asDouble();
    constexpr double exact = 1LL << 53;
    if (!real || std::trunc(*real) != *real || std::abs(*real) > exact) return std::nullopt;
    return static_cast<std::int64_t>(*real);
}

/// The strings of exactly those members; none when the value is anything else.
std::vector<std::string> record(const MCPValue& value, std::initializer_list<std::string_view> members) {
    const auto object = value.asObject();
    if (!object || object->size() != members.size()) return {};
    std::vector<std::string> strings;
    for (const std::string_view member : members) {
        const MCPValue* found = value[member];
        const auto string = found != nullptr ? found->asString() : std::nullopt;
        if (!string) return {};
        strings.emplace_back(*string);
    }
    return strings;
}

} // namespace

Arguments::Arguments(const ToolCall& call, std::string_view tool, std::initializer_list<std::string_view> taken)
    : given_{call.arguments}, tool_{tool} {
    const auto members = given_.asObject();
    if (!members && !given_.isNull()) complain("takes", "arguments", "as an object");
    if (!members) return;
    for (const MCPValue::Member& member : *members) {
        if (std::ranges::find(taken, member.key()) != taken.end()) continue;
        wrong_ = std::string{tool_} + " takes no argument " + inQuotes(member.key()) + ".";
        return;
    }
}

std::optional<std::string> Arguments::text(std::string_view name) {
    const MCPValue* value = find(name);
    if (value == nullptr) return std::nullopt;
    const auto text = value->asString();
    if (!text) complain("takes", name, "as a string");
    return text ? std::optional{std::string{*text}} : std::nullopt;
}

std::string Arguments::neededText(std::string_view name) {
    const MCPValue* value = find(name);
    const auto text = value != nullptr ? value->asString() : std::nullopt;
    if (!text) complain("needs", name, "as a string");
    return std::string{text.value_or("")};
}

std::optional<std::int64_t> Arguments::integer(std::string_view name) {
    const MCPValue* value = find(name);
    if (value == nullptr) return std::nullopt;
    const auto number = wholeNumber(*value);
    if (!number) complain("takes", name, "as a whole number");
    return number;
}

std::vector<std::string> Arguments::neededTexts(std::string_view name) {
    constexpr std::string_view elements = "strings";
    std::vector<std::string> texts;
    for (const MCPValue& element : neededList(name, elements)) {
        const auto text = element.asString();
        if (!text) {
            complain("needs", name, "as a list of strings");
            return {};
        }
        texts.emplace_back(*text);
    }
    return texts;
}

std::vector<std::vector<std::string>> Arguments::neededRecords(std::string_view name,
                                                               std::initializer_list<std::string_view> members) {
    std::string elements = "objects with";
    for (const std::string_view member : members)
        elements.append(member == *members.begin() ? " the strings '" : " and '").append(member).append("'");
    std::vector<std::vector<std::string>> records;
    for (const MCPValue& element : neededList(name, elements)) {
        records.push_back(record(element, members));
        if (!records.back().empty()) continue;
        complain("needs", name, "as a list of " + elements);
        return {};
    }
    return records;
}

const MCPValue* Arguments::find(std::string_view name) const {
    const MCPValue* value = wrong_ ? nullptr : given_[name];
    return value == nullptr || value->isNull() ? nullptr : value;
}

std::span<const MCPValue> Arguments::neededList(std::string_view name, std::string_view elements) {
    const MCPValue* value = find(name);
    const auto list = value != nullptr ? value->asArray() : std::nullopt;
    if (!list) {
        complain("needs", name, "as a list of " + std::string{elements});
        return {};
    }
    if (list->empty()) complain("needs", name, "to have at least one element");
    if (list->size() > mostElements)
        complain("takes", name, "with at most " + std::to_string(mostElements) + " elements at a time");
    return wrong_ ? std::span<const MCPValue>{} : *list;
}

void Arguments::complain(std::string_view verb, std::string_view name, std::string_view rest) {
    if (wrong_) return;
    wrong_ = std::string{tool_}.append(" ").append(verb).append(" '").append(name).append("' ").append(rest) + ".";
}

} // namespace vostel_companion
