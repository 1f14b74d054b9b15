#include "companion/store/Recovery.h"

#include "companion/store/Recordings.h"
#include "companion/support/WorkFolder.h"
#include "posix/FileLock.h"

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

std::expected<void, ConfirmationError> failAbandonedRecordings(Database& database, const Paths& paths) {
    const auto isWorkedOn = [&](const VostelMCPKit::UUID& id) {
        return posix::FileLock::isHeld(paths.lockOfRecording(id));
    };
    const auto done = Recordings{database}.failAbandoned(
        isWorkedOn, "Vostel ended before the recording was transcribed, so its transcript is missing.");
    if (!done) return std::unexpected(ConfirmationError{done.error()});
    return {};
}

/// Deletes the lock files of recordings that no process works on. Keeps those of recordings that are not stored:
/// another process may have just made the lock and not yet stored its recording.
void deleteDeadLocks(Database& database, const Paths& paths) {
    std::error_code failure;
    for (fs::directory_iterator entry{paths.unfinishedRecordings(), failure};
         !failure && entry != fs::directory_iterator{}; entry.increment(failure)) {
        const auto id = VostelMCPKit::UUID::parse(entry->path().stem().string());
        if (!id || posix::FileLock::isHeld(entry->path())) continue;
        const auto stored = Recordings{database}.find(*id);
        std::error_code ignored;
        if (stored && *stored) fs::remove(entry->path(), ignored);
    }
}

} // namespace

std::expected<void, ConfirmationError> recoverAfterCrash(Database& database, const Paths& paths,
                                                         Confirmations& confirmations) {
    // A failure is ignored, because it only leaves files on the disk.
    std::ignore = deleteAbandonedWork(paths.downloads());
    auto failed = failAbandonedRecordings(database, paths);
    deleteDeadLocks(database, paths);
    auto recovered = confirmations.recover();
    return failed ? recovered : failed;
}

} // namespace vostel_companion
