#include "companion/commands/TranscribeVerb.h"

#include "companion/support/TerminalSafe.h"
#include "companion/tools/StoredTranscription.h"

#include <algorithm>

namespace vostel_companion {

namespace {

TranscriptSource sourceOf(const std::string& typed, const std::filesystem::path& workingFolder) {
    if (typed.find("://") != std::string::npos) return {TranscriptSource::Kind::link, typed};
    return {TranscriptSource::Kind::file, workingFolder / typed};
}

/// Prints the notes and the id of the transcript.
Exit printNotes(const StoredTranscription& stored, CommandContext& context) {
    for (const std::string& note : stored.notes) context.printError(note);
    if (!stored.id) return Exit::failed;
    const std::string id = stored.id->text();
    context.printError("Stored as " + id + ". To print it again, run Vostel transcripts " + id.substr(0, 8));
    return stored.text.empty() ? Exit::refused : Exit::done;
}

} // namespace

Exit run(const Command::Transcribe& verb, CommandContext& context) {
    const ToolContext tools{.paths = context.paths,
                            .transcribe = context.transcribe,
                            .models = context.models,
                            .now = context.now,
                            .newID = context.newID,
                            .localMidnight = context.localMidnight,
                            .resolve = context.resolve,
                            .downloadAudio = context.downloadAudio};
    const std::string count = std::to_string(verb.sources.size());
    Exit worst = Exit::done;
    for (std::size_t number = 0; number < verb.sources.size() && !context.cancellation.isCancelled(); ++number) {
        const std::string& typed = verb.sources[number];
        const auto stored = [&] {
            ProgressBar bar{context.progress, verb.sources.size() == 1
                                                  ? std::string{"Transcribing"}
                                                  : "Transcribing " + std::to_string(number + 1) + " of " + count};
            return transcribeAndStore(tools, sourceOf(typed, context.workingFolder), verb.language,
                                      context.cancellation, [&](const Progress& now) { bar.show(now.fraction); });
        }();
        if (!stored) {
            context.printError(stored.error());
            worst = Exit::failed;
            continue;
        }
        if (verb.sources.size() > 1) {
            context.print((number > 0 ? "\n==> " : "==> ") + printableLine(typed) + " <==\n");
        }
        if (!stored->text.empty()) context.print(printable(stored->text) + "\n");
        worst = std::max(worst, printNotes(*stored, context));
    }
    return worst;
}

} // namespace vostel_companion
