#include "companion/commands/SettingsVerbs.h"

#include "companion/store/Settings.h"

namespace vostel_companion {

namespace {

std::string readingText(bool isAllowed) {
    return isAllowed ? "reading on: AI clients may read your history, transcripts and recordings.\n"
                     : "reading off: AI clients may not read your history, transcripts and recordings.\n";
}

} // namespace

Exit run(const Command::ShowSettings&, CommandContext& context) {
    const auto settings = loadSettings(context.database);
    if (!settings) return context.failed(settings.error());
    context.print(readingText(settings->isReadingAllowed));
    return Exit::done;
}

Exit run(const Command::SetReading& verb, CommandContext& context) {
    if (verb.isAllowed && !context.requireTerminal("Allowing AI clients to read")) return Exit::refused;
    // Reads and writes in one transaction. Otherwise one of two changes at the same time could be lost.
    const auto saved =
        inTransaction(context.database, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
            auto settings = loadSettings(context.database);
            if (!settings) return std::unexpected(std::move(settings.error()));
            settings->isReadingAllowed = verb.isAllowed;
            return saveSettings(context.database, *settings);
        });
    if (!saved) return context.failed(saved.error());
    context.print(readingText(verb.isAllowed));
    return Exit::done;
}

} // namespace vostel_companion
