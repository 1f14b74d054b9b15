#include "companion/tools/Arguments.h"

#include "companion/support/InQuotes.h"

#include <algorithm>
#include <cmath>

namespace vostel_companion {

using VostelMCPKit::MCPValue;

namespace {

/// Deliberate: 10.0 is a whole number too. JSON Schema says so, and some clients write whole numbers like this.
std::optional<std::int64_t> wholeNumber(const MCPValue& value) {
    if (const auto integer = value.asInt()) return integer;
    const auto real = value.asDouble();
    constexpr double exact = 1LL << 53;
    if (!real || std::trunc(*real) != *real || std::abs(*real) > exact) return std::nullopt;
    return static_cast<std::int64_t>(*real);
}

} // namespace

ArgumentReader::ArgumentReader(std::string_view tool, const MCPValue& given) : tool_{tool}, given_{given} {
    if (!given.asObject() && !given.isNull()) complain("takes", "arguments", "as an object");
}

void ArgumentReader::operator()(std::string_view name, std::string& field) {
    const MCPValue* value = find(name);
    const auto text = value != nullptr ? value->asString() : std::nullopt;
    if (!text) return complain("needs", name, "as a string");
    field = *text;
}

void ArgumentReader::operator()(std::string_view name, std::optional<std::string>& field) {
    const MCPValue* value = find(name);
    if (value == nullptr) return;
    field = value->asString();
    if (!field) complain("takes", name, "as a string");
}

void ArgumentReader::operator()(std::string_view name, std::optional<std::int64_t>& field) {
    const MCPValue* value = find(name);
    if (value == nullptr) return;
    field = wholeNumber(*value);
    if (!field) complain("takes", name, "as a whole number");
}

std::optional<std::string> ArgumentReader::error() const {
    const auto members = given_.asObject();
    if (!members) return error_;
    // Checked before `error_`, because a misspelt argument has also been noticed as a missing one.
    for (const MCPValue::Member& member : *members) {
        if (std::ranges::find(taken_, member.key()) == taken_.end()) {
            return std::string{tool_} + " takes no argument " + inQuotes(member.key()) + ".";
        }
    }
    return error_;
}

const MCPValue* ArgumentReader::find(std::string_view name) {
    taken_.push_back(name);
    const MCPValue* value = given_[name];
    return value == nullptr || value->isNull() ? nullptr : value;
}

std::span<const MCPValue> ArgumentReader::list(std::string_view name, const std::string& asElements) {
    const MCPValue* value = find(name);
    const auto list = value != nullptr ? value->asArray() : std::nullopt;
    if (!list) {
        complain("needs", name, asElements);
    } else if (list->empty()) {
        complain("needs", name, "to have at least one element");
    } else if (list->size() > mostElements) {
        complain("takes", name, "with at most " + std::to_string(mostElements) + " elements at a time");
    } else {
        return *list;
    }
    return {};
}

void ArgumentReader::complain(std::string_view verb, std::string_view name, std::string_view rest) {
    if (error_) return;
    error_ = std::string{tool_}.append(" ").append(verb).append(" '").append(name).append("' ").append(rest) + ".";
}

} // namespace vostel_companion
