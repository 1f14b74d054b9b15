// Finding what a person means who types the beginning of an id.
#pragma once

#include "companion/store/Database.h"
#include "kit/support/UUID.h"

#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// Whether `text` can begin an id, in either letter case; nothing at all cannot.
[[nodiscard]] bool isIDPrefix(std::string_view text);

/// The ids in `table`, which has them in its column `id`, that begin with `prefix`; no more than two, since two are
/// already too many.
[[nodiscard]] std::expected<std::vector<VostelMCPKit::UUID>, DatabaseError>
idsBeginningWith(Database& database, const std::string& table, std::string_view prefix);

} // namespace vostel_companion
