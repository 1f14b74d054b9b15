// Builds an object whose keys or members are known only at run time.
//
//     MCPObjectBuilder entry;
//     entry.add("command", path).addIfPresent("language", language);
//     for (const auto& [name, text] : environment) entry.add(name, text);
//     return entry.take();
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace VostelMCPKit {

/// Not thread-safe. The object shares nothing with the builder.
class MCPObjectBuilder final {
public:
    /// Has room for a record of the usual size.
    MCPObjectBuilder() { keysAndValues_.reserve(16); }

    /// Members in any order; of several with one key the last one wins. Key and value are copied or moved in.
    MCPObjectBuilder& add(std::string_view key, MCPValue value) {
        keysAndValues_.emplace_back(key);
        keysAndValues_.push_back(std::move(value));
        return *this;
    }
    /// Leaves the member out when `value` is absent.
    template <class T>
    MCPObjectBuilder& addIfPresent(std::string_view key, const std::optional<T>& value) {
        return value ? add(key, *value) : *this;
    }

    /// The object. The builder is empty afterwards.
    [[nodiscard]] MCPValue take() {
        MCPValue object = MCPValue::takingObject(keysAndValues_);
        keysAndValues_.clear();
        return object;
    }

private:
    std::vector<MCPValue> keysAndValues_;
};

} // namespace VostelMCPKit
