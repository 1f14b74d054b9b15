#include "companion/commands/FindByID.h"

#include "companion/store/IDPrefix.h"
#include "companion/support/InQuotes.h"

namespace vostel_companion {

using VostelMCPKit::UUID;

std::expected<UUID, Exit> findByID(World& world, std::span<const char* const> tables, std::string_view thing,
                                   const std::string& prefix) {
    if (!isIDPrefix(prefix)) {
        world.tell(inQuotes(prefix) + " is not the beginning of an id.");
        return std::unexpected(Exit::failed);
    }
    std::vector<UUID> found;
    for (const char* table : tables) {
        const auto ids = idsBeginningWith(world.database, table, prefix);
        if (!ids) return std::unexpected(world.failed(ids.error()));
        found.insert(found.end(), ids->begin(), ids->end());
    }
    if (found.size() == 1) return found.front();
    world.tell(found.empty() ? "No " + std::string{thing} + " has an id that begins with " + prefix + "."
                             : "More than one " + std::string{thing} + " has an id that begins with " + prefix +
                                   "; please give more of it.");
    return std::unexpected(Exit::notAsAsked);
}

} // namespace vostel_companion
