#include "companion/store/DatabaseError.h"

#include "kit/support/match.h"

namespace vostel_companion {

std::string DatabaseError::description() const {
    return VostelMCPKit::match(
        is, [](const Refused& error) { return "Vostel's database could not be used: " + error.reason + "."; },
        [](const Damaged& error) {
            return "Vostel's database " + error.path + " is damaged (" + error.reason +
                   "); nothing in it was changed, please restore it from a backup or move it away.";
        },
        [](const NewerSchema& error) {
            return "Vostel's database " + error.path + " was written by a newer version of Vostel (schema " +
                   std::to_string(error.found) + ", this version knows " + std::to_string(error.known) +
                   "); please update Vostel.";
        },
        [](const Foreign& error) {
            return "The file " + error.path + " is a database of another application, so Vostel does not touch it.";
        },
        [](const Inaccessible& error) {
            return "Vostel's database " + error.path + " could not be opened: " + error.reason.systemText() + ".";
        });
}

} // namespace vostel_companion
