#include "companion/commands/ClientsVerb.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

#include <unistd.h>

namespace vostel_companion {

Exit run(const Command::Clients& verb, const ClientsWorld& world) {
    if (verb.verb == ClientsVerb::install && ::access(world.helper.c_str(), X_OK) != 0) {
        world.tell("The server " + inQuotes(world.helper.string()) +
                   " is not there or cannot be started, so no client was connected to it.");
        return Exit::failed;
    }
    const ClientsReport report = runClients({.verb = verb.verb,
                                             .kinds = verb.kinds,
                                             .home = world.home.string(),
                                             .helperPath = world.helper.string(),
                                             .force = verb.force});
    for (const std::string& line : report.lines) world.print(printableLine(line) + "\n");
    switch (report.exit) {
    case ClientsExit::asAsked:
        return Exit::done;
    case ClientsExit::notAsAsked:
        return Exit::notAsAsked;
    case ClientsExit::failed:
        break;
    }
    return Exit::failed;
}

} // namespace vostel_companion
