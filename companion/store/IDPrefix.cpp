#include "companion/store/IDPrefix.h"

#include "kit/support/ASCII.h"

#include <algorithm>
#include <array>

namespace vostel_companion {

using VostelMCPKit::UUID;

namespace {

constexpr std::size_t idLength = 36;
constexpr std::array<std::size_t, 4> hyphens = {8, 13, 18, 23};

} // namespace

bool isIDPrefix(std::string_view text) {
    if (text.empty() || text.size() > idLength) return false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isHyphen = std::ranges::find(hyphens, at) != hyphens.end();
        if (isHyphen ? text[at] != '-' : !VostelMCPKit::hexDigit(text[at])) return false;
    }
    return true;
}

std::expected<std::vector<UUID>, DatabaseError> idsBeginningWith(Database& database, const std::string& table,
                                                                 std::string_view prefix) {
    Statement select{database, "SELECT id FROM " + table + " WHERE substr(id, 1, length(?1)) = upper(?1) LIMIT 2"};
    return select.bind(prefix).all([](const Statement& row) { return UUID::parse(row.text(0)).value_or(UUID{}); });
}

} // namespace vostel_companion
