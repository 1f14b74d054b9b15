// Finding an entry by the beginning of its id, which a user types.
#pragma once

#include "companion/store/Database.h"
#include "kit/support/UUID.h"

#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// Whether an id can begin with `text`, in either letter case. `text` is not empty.
[[nodiscard]] bool isIDPrefix(std::string_view text);

/// The ids in the column `id` of `table` that begin with `prefix`. Returns at most two, because two are ambiguous
/// already.
[[nodiscard]] std::expected<std::vector<VostelMCPKit::UUID>, DatabaseError>
idsBeginningWith(Database& database, const std::string& table, std::string_view prefix);

} // namespace vostel_companion
