#include "companion/commands/SettingsVerbs.h"

#include "companion/store/Settings.h"

namespace vostel_companion {

namespace {

std::string readingText(bool isAllowed) {
    return isAllowed ? "reading on: AI clients may read your history, transcripts and recordings.\n"
                     : "reading off: AI clients may not read your history, transcripts and recordings.\n";
}

} // namespace

Exit run(const Command::ShowSettings&, World& world) {
    const auto settings = loadSettings(world.database);
    if (!settings) return world.failed(settings.error());
    world.print(readingText(settings->isReadingAllowed));
    return Exit::done;
}

Exit run(const Command::SetReading& verb, World& world) {
    // Read and written in one go, so that of two settings changed at once both are kept.
    const auto saved =
        inTransaction(world.database, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
            auto settings = loadSettings(world.database);
            if (!settings) return std::unexpected(std::move(settings.error()));
            settings->isReadingAllowed = verb.isAllowed;
            return saveSettings(world.database, *settings);
        });
    if (!saved) return world.failed(saved.error());
    world.print(readingText(verb.isAllowed));
    return Exit::done;
}

} // namespace vostel_companion
