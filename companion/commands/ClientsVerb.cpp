#include "companion/commands/ClientsVerb.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

#include <unistd.h>

namespace vostel_companion {

Exit run(const Command::Clients& verb, const ClientsContext& context) {
    if (verb.action == ClientConfigAction::install && ::access(context.helper.c_str(), X_OK) != 0) {
        context.printError("The server " + inQuotes(context.helper.string()) +
                           " does not exist or cannot be executed, so no client was connected to it.");
        return Exit::failed;
    }
    const ClientConfigReport report = processClientConfigs({.action = verb.action,
                                                            .kinds = verb.kinds,
                                                            .home = context.home.string(),
                                                            .helperPath = context.helper.string(),
                                                            .force = verb.force,
                                                            .searchPath = context.searchPath});
    for (const std::string& line : report.lines) context.print(printableLine(line) + "\n");
    switch (report.exit) {
    case ClientConfigExit::done:
        return Exit::done;
    case ClientConfigExit::refused:
        return Exit::refused;
    case ClientConfigExit::failed:
        break;
    }
    return Exit::failed;
}

} // namespace vostel_companion
