#include "companion/commands/DictateVerb.h"

#include "companion/store/Dictations.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "companion/transcript/VocabularyMatcher.h"

namespace vostel_companion {

Exit run(const Command::Dictate& verb, World& world) {
    const std::string path = world.workingFolder / verb.file;
    const auto done = [&] {
        ProgressBar bar{world.progress, "Transcribing"};
        return world.transcribe(path, verb.language, world.cancellation, [&](double share) { bar.show(share); });
    }();
    if (!done) return world.failed(done.error());
    const auto rules = Vocabulary{world.database}.list();
    if (!rules) return world.failed(rules.error());
    const std::string text = VocabularyMatcher{*rules}.apply(done->transcript.text());
    if (text.empty()) {
        world.tell("No speech was recognised in " + inQuotes(path) + ".");
        return Exit::notAsAsked;
    }

    Dictations dictations{world.database};
    const auto number = dictations.add({.date = std::chrono::floor<Timestamp::duration>(world.now()),
                                        .text = text,
                                        .outcome = Dictation::Outcome::pending,
                                        .failureReason = std::nullopt,
                                        .targetApplication = std::nullopt,
                                        .duration = done->duration});
    if (!number) return world.failed(number.error());
    const bool isPrinted = world.print(printable(text) + "\n");
    const auto settled = dictations.settle(
        *number, isPrinted ? std::nullopt : std::optional<std::string>{"The text could not be printed."});
    if (!settled) return world.failed(settled.error());
    return isPrinted ? Exit::done : Exit::failed;
}

} // namespace vostel_companion
