#include "companion/commands/StatusVerb.h"

#include "companion/commands/RunningApplication.h"
#include "companion/models/ModelStore.h"
#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Schema.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/FolderSize.h"
#include "companion/support/InQuotes.h"
#include "companion/support/LongCalls.h"
#include "companion/support/Paths.h"
#include "companion/support/TerminalSafe.h"
#include "companion/support/Wording.h"

#include <cstdint>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

/// The column in which the facts begin.
constexpr std::size_t nameWidth = 13;

std::string timeText(std::time_t time) {
    return localTimeText(std::chrono::floor<Timestamp::duration>(std::chrono::system_clock::from_time_t(time)));
}

class StatusReport final {
public:
    explicit StatusReport(const StatusContext& context) : context_{context}, paths_{Paths::in(context.support)} {}
    StatusReport(const StatusReport&) = delete;
    StatusReport& operator=(const StatusReport&) = delete;

    Exit print() {
        const Exit running = printRunning();
        printModels();
        const bool isKnown = printKept();
        say("on the disk", sizeText(sizeOfFolder(paths_.folder)) + " in " + inQuotes(paths_.folder.string()));
        return isKnown ? running : Exit::failed;
    }

private:
    void say(std::string name, const std::string& fact) {
        name.resize(nameWidth, ' ');
        context_.print(name + printableLine(fact) + "\n");
    }
    void say(const char* name, std::int64_t count) { say(name, std::to_string(count)); }

    Exit printRunning() {
        const auto found = findRunningApplication(context_.support);
        if (!found) {
            context_.printError(found.error());
            return Exit::failed;
        }
        const auto& application = *found;
        if (!application) {
            say("running", "no; the first call of an AI client starts it");
            return Exit::refused;
        }
        say("running", (application->startedAt ? "since " + timeText(*application->startedAt) + ", " : "") +
                           "as process " + std::to_string(application->process));
        const std::vector<LongCall> calls = LongCalls::readFrom(paths_.longCalls());
        if (calls.empty()) say("working on", "no long call");
        for (const LongCall& call : calls) {
            const std::string client = call.client.empty() ? "an AI client" : inQuotes(call.client);
            say("working on", call.tool + " for " + client + " since " +
                                  localTimeText(Timestamp{std::chrono::milliseconds{call.startedAt}}) + ": " +
                                  (call.message.empty() ? percentText(call.fraction) + " done" : call.message));
        }
        return Exit::done;
    }

    void printModels() {
        const auto models = ModelStore{{paths_.models(), paths_.catalogue(), context_.systemModel}}.list();
        if (!models) return context_.printError(models.error().description());
        std::string installed;
        for (const Model& model : *models) {
            if (model.isInstalled) installed += (installed.empty() ? "" : ", ") + model.identifier;
        }
        say("models", installed.empty() ? "none is installed" : installed);
    }

    bool printKept() {
        std::error_code ignored;
        if (!fs::exists(paths_.database(), ignored)) {
            say("kept", "nothing yet");
            return true;
        }
        auto database = openStore(paths_.database().string());
        if (!database) return failed(database.error());
        const auto dictations = Dictations{*database}.list({});
        if (!dictations) return failed(dictations.error());
        const auto transcripts = Transcripts{*database}.list({});
        if (!transcripts) return failed(transcripts.error());
        const auto recordings = Recordings{*database}.list({});
        if (!recordings) return failed(recordings.error());
        const auto words = Vocabulary{*database}.list();
        if (!words) return failed(words.error());
        say("dictations", dictations->totalCount);
        say("transcripts", transcripts->totalCount);
        say("recordings", recordings->totalCount);
        say("words", static_cast<std::int64_t>(words->size()));
        return true;
    }

    bool failed(const DatabaseError& error) {
        context_.printError(error.description());
        return false;
    }

    const StatusContext& context_;
    const Paths paths_;
};

} // namespace

Exit run(const Command::Status& /*verb*/, const StatusContext& context) { return StatusReport{context}.print(); }

} // namespace vostel_companion
