#include "companion/commands/FindByID.h"

#include "companion/store/IDPrefix.h"
#include "companion/support/InQuotes.h"

namespace vostel_companion {

using VostelMCPKit::UUID;

std::expected<UUID, Exit> findByID(CommandContext& context, std::span<const char* const> tables, std::string_view thing,
                                   const std::string& prefix) {
    if (!isIDPrefix(prefix)) {
        context.printError(inQuotes(prefix) + " is not the beginning of an id.");
        return std::unexpected(Exit::failed);
    }
    std::vector<UUID> found;
    for (const char* table : tables) {
        const auto ids = idsBeginningWith(context.database, table, prefix);
        if (!ids) return std::unexpected(context.failed(ids.error()));
        found.insert(found.end(), ids->begin(), ids->end());
    }
    if (found.size() == 1) return found.front();
    context.printError(found.empty() ? "No " + std::string{thing} + " has an id that begins with " + prefix + "."
                                     : "More than one " + std::string{thing} + " has an id that begins with " + prefix +
                                           "; please give more characters of the id.");
    return std::unexpected(Exit::refused);
}

} // namespace vostel_companion
