// Finding a stored thing by the beginning of its id.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Looks in each of `tables` for the id that begins with `prefix`. Prints an error if `prefix` is malformed or if no id
/// or several ids begin with it. `thing` is what has the id, as in "request".
[[nodiscard]] std::expected<VostelMCPKit::UUID, Exit> findByID(CommandContext& context,
                                                               std::span<const char* const> tables,
                                                               std::string_view thing, const std::string& prefix);

} // namespace vostel_companion
