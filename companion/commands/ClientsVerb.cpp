#include "companion/commands/ClientsVerb.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

#include <unistd.h>

namespace vostel_companion {

Exit run(const Command::Clients& verb, const ClientsContext& context) {
    if (verb.verb == ClientsVerb::install && ::access(context.helper.c_str(), X_OK) != 0) {
        context.printError("The server " + inQuotes(context.helper.string()) +
                           " does not exist or cannot be executed, so no client was connected to it.");
        return Exit::failed;
    }
    const ClientsReport report = runClients({.verb = verb.verb,
                                             .kinds = verb.kinds,
                                             .home = context.home.string(),
                                             .helperPath = context.helper.string(),
                                             .force = verb.force});
    for (const std::string& line : report.lines) context.print(printableLine(line) + "\n");
    switch (report.exit) {
    case ClientsExit::done:
        return Exit::done;
    case ClientsExit::refused:
        return Exit::refused;
    case ClientsExit::failed:
        break;
    }
    return Exit::failed;
}

} // namespace vostel_companion
