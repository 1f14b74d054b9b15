// The one thing that the person means by the beginning of an id.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Looks in each of `tables` for the id that begins with `prefix`. Says what is wrong when it is no such beginning, or
/// begins no id or several; `thing` is what has the id, as in "request".
[[nodiscard]] std::expected<VostelMCPKit::UUID, Exit> findByID(World& world, std::span<const char* const> tables,
                                                               std::string_view thing, const std::string& prefix);

} // namespace vostel_companion
