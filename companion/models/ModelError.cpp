#include "companion/models/ModelError.h"

#include "kit/support/match.h"

namespace vostel_companion {

std::string ModelError::description() const {
    return VostelMCPKit::match(
        is,
        [](const BadCatalogue& error) {
            return "The model catalogue " + error.path + " could not be read: " + error.reason + ".";
        },
        [](const Unknown&) { return std::string{"Vostel knows no speech recognition model with this identifier."}; },
        [](const BelongsToSystem& error) {
            return "The model " + error.identifier + " belongs to the system and cannot be removed by Vostel.";
        },
        [](const PackageMissing& error) {
            return "The model " + error.identifier + " comes with the system package " + error.package +
                   ", which is not installed.";
        },
        [](const BadSource& error) {
            return "The model could not be copied from " + error.path + ": " + error.reason + ".";
        },
        [](const DownloadFailed& error) {
            return "The model " + error.identifier + " could not be downloaded from " + error.link + ": " +
                   error.reason + ".";
        },
        [](const BeingDownloaded& error) {
            return "The model " + error.identifier +
                   " is being downloaded by another process. Try again when that has finished.";
        },
        [](const WrongChecksum& error) {
            return "The model " + error.identifier + " was not installed, because its SHA-256 is " + error.found +
                   " and not " + error.expected + " as the catalogue says.";
        },
        [](const Cancelled&) { return std::string{"The installation was cancelled; nothing was installed."}; },
        [](const posix::SystemError& error) { return error.description(); });
}

} // namespace vostel_companion
