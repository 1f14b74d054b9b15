#include "companion/commands/DictateVerb.h"

#include "companion/store/Dictations.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "companion/transcript/ReadableText.h"
#include "companion/transcript/VocabularyMatcher.h"

namespace vostel_companion {

Exit run(const Command::Dictate& verb, CommandContext& context) {
    const std::string path = context.workingFolder / verb.file;
    const auto done = [&] {
        ProgressBar bar{context.progress, "Transcribing"};
        return context.transcribe(path, verb.language, context.cancellation,
                                  [&](const Progress& now) { bar.show(now.fraction); });
    }();
    if (!done) return context.failed(done.error());
    const auto rules = Vocabulary{context.database}.list();
    if (!rules) return context.failed(rules.error());
    const auto words = VocabularyMatcher{*rules}.apply(done->transcript.segments);
    const std::string text = readableText(words, done->language, *rules);
    if (text.empty()) {
        context.printError("No speech was found in " + inQuotes(path) + ".");
        return Exit::refused;
    }

    Dictations dictations{context.database};
    const VostelMCPKit::UUID id = context.newID();
    const auto added = dictations.add({.id = id,
                                       .date = std::chrono::floor<Timestamp::duration>(context.now()),
                                       .text = text,
                                       .outcome = Dictation::Outcome::pending,
                                       .failureReason = std::nullopt,
                                       .targetApplication = std::nullopt,
                                       .duration = done->duration});
    if (!added) return context.failed(added.error());
    const bool isPrinted = context.print(printable(text) + "\n");
    const auto finished =
        dictations.finish(id, isPrinted ? std::nullopt : std::optional<std::string>{"The text could not be printed."});
    if (!finished) return context.failed(finished.error());
    return isPrinted ? Exit::done : Exit::failed;
}

} // namespace vostel_companion
