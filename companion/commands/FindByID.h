// Finding a stored thing by the beginning of its id.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Looks in each of `tables` for the id that begins with `prefix`. Prints an error if `prefix` is malformed, and if no
/// id or more than one begins with it. The error calls the stored thing `thing`, such as "request".
[[nodiscard]] std::expected<VostelMCPKit::UUID, Exit> findByID(CommandContext& context,
                                                               std::span<const char* const> tables,
                                                               std::string_view thing, const std::string& prefix);

} // namespace vostel_companion
