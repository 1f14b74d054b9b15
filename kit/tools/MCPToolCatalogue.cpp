#include "kit/tools/MCPToolCatalogue.h"

#include "kit/jsonrpc/JSONWriter.h"

#include <utility>

namespace VostelMCPKit::MCPToolCatalogue {

namespace {

MCPValue text(std::optional<std::string_view> description = {}) {
    return MCPSchema::property(MCPSchema::Type::string, description);
}
MCPValue number(std::optional<std::string_view> description = {}) {
    return MCPSchema::property(MCPSchema::Type::number, description);
}
MCPValue integer(std::string_view description) { return MCPSchema::property(MCPSchema::Type::integer, description); }
MCPValue boolean(std::optional<std::string_view> description = {}) {
    return MCPSchema::property(MCPSchema::Type::boolean, description);
}

/// Every object of the catalogue is closed.
MCPValue object(MCPSchema::Properties properties, const std::vector<std::string>& required = {}) {
    return MCPSchema::object(std::move(properties), required, /*additionalProperties=*/false);
}

MCPValue language() {
    return text(
        R"(Language hint for the ASR engine. Omit it (or pass "auto") to let the engine detect the language itself; )"
        R"(otherwise pass an ISO 639-1 code such as "ru", "en" or "de". Naming a language can raise accuracy on )"
        R"(single-language audio but suppresses the other language in mixed speech. Codes the active model does not )"
        R"(know are ignored and treated as "auto".)");
}

MCPValue limit() {
    return integer("How many entries to return, newest first. Defaults to 50; the maximum is 500. Entries outside the "
                   "limit are not lost — narrow the window with since/until, or ask for more.");
}

MCPValue since() {
    return text(R"(Only return entries at or after this moment. ISO 8601 — either a full timestamp )"
                R"(("2026-08-30T14:05:00Z") or a plain date ("2026-08-30", read as local midnight).)");
}

MCPValue until() { return text("Only return entries at or before this moment. Same format as since."); }

MCPValue returnedCount() { return integer("How many entries this call returned."); }

MCPValue totalCount() {
    return integer("How many entries matched since/until in total, before the limit was applied. Larger than "
                   "returnedCount means the window was truncated.");
}

MCPValue segmentStart() { return number("Segment start, in seconds."); }
MCPValue segmentEnd() { return number("Segment end, in seconds."); }

MCPSchema transcription() {
    return {object({
        {"text", text("Full transcribed text.")},
        {"segments",
         MCPSchema::array(object({{"text", text()}, {"startTime", segmentStart()}, {"endTime", segmentEnd()}}),
                          "Per-token segments with timestamps, in case a caller needs alignment rather than only the "
                          "full text.")},
    })};
}

/// Appended to every tool that reads what the user has said.
std::string withReadingSetting(std::string_view description) {
    return std::string{description} +
           R"( Reading what the user has dictated and recorded is off by default: they turn "Let agents read your )"
           R"(history and recordings" on in Vostel's MCP settings. Until they do, this tool refuses every call — )"
           R"(that refusal is a deliberate answer, not a failure, so ask the user to turn the setting on instead of )"
           R"(retrying.)";
}

constexpr MCPToolAnnotations changing{
    .readOnlyHint = false, .destructiveHint = false, .idempotentHint = false, .openWorldHint = false};
constexpr MCPToolAnnotations fetching{
    .readOnlyHint = false, .destructiveHint = false, .idempotentHint = false, .openWorldHint = true};
constexpr MCPToolAnnotations reading{
    .readOnlyHint = true, .destructiveHint = false, .idempotentHint = false, .openWorldHint = false};
constexpr MCPToolAnnotations removing{
    .readOnlyHint = false, .destructiveHint = true, .idempotentHint = false, .openWorldHint = false};

MCPTool transcribeFile() {
    return {
        .name = "transcribe_file",
        .description =
            "Transcribe speech in a local audio or video file into text, using Vostel's on-device speech recognition. "
            "Runs entirely on this Mac: the audio, the model, and the resulting text never leave the machine. Reads "
            "any file the user's own account can open, without asking them first — so transcribe the file the user "
            "actually named, and do not go looking through their disk on your own.",
        .inputSchema = {object(
            {
                {"path", text("Absolute path to the local audio or video file to transcribe (e.g. "
                              "/Users/robin/Downloads/meeting.m4a). Relative paths are not supported.")},
                {"language", language()},
            },
            {"path"})},
        .outputSchema = transcription(),
        .annotations = changing,
    };
}

MCPTool transcribeURL() {
    return {
        .name = "transcribe_url",
        .description =
            "Download the audio track from a YouTube video URL and transcribe it into text using Vostel's on-device "
            "speech recognition. Fetching the video is the only network access this operation performs; decoding and "
            "speech recognition after that run locally on this Mac.",
        .inputSchema = {object(
            {
                {"url", text("A YouTube video URL to download audio from.")},
                {"language", language()},
            },
            {"url"})},
        .outputSchema = transcription(),
        .annotations = fetching,
    };
}

MCPTool historyList() {
    return {
        .name = "history_list",
        .description = withReadingSetting(
            "List what the user dictated with Vostel's hotkey — newest first — together with whether Vostel managed to "
            "paste each dictation into the app they were typing in. This is the record of live dictation, not of "
            "transcribed files (transcripts_list) or recorded calls (recordings_list). Useful for reviewing how "
            "recognition actually behaved: recurring mis-hearings of names, jargon or acronyms seen here are exactly "
            "what vocabulary_add rules are for. Read-only: does not change or delete anything."),
        .inputSchema = {object({{"limit", limit()}, {"since", since()}, {"until", until()}})},
        .outputSchema = MCPSchema{object({
            {"entries",
             MCPSchema::array(object({
                 {"date", text("When it was dictated, ISO 8601.")},
                 {"text", text("The dictated text after Vostel's post-processing and vocabulary rules — what was "
                               "actually pasted, not the raw model output.")},
                 {"outcome", text(R"(One of: delivered, notDelivered, pending. "notDelivered" means the text was )"
                                  R"(recognized but never reached the target app.)")},
                 {"failureReason", text("Why delivery failed. Present only when outcome is notDelivered.")},
                 {"targetApplication", text("The app the text was aimed at, when Vostel knew it.")},
                 {"duration", number("How long the person spoke, in seconds. Absent on entries written before Vostel "
                                     "started recording it.")},
             }))},
            {"returnedCount", returnedCount()},
            {"totalCount", totalCount()},
        })},
        .annotations = reading,
    };
}

MCPTool transcriptsList() {
    return {
        .name = "transcripts_list",
        .description = withReadingSetting(
            "List transcripts of local files and links the user ran through Vostel's Transcribe section — newest "
            "first. Each entry is a summary: id, date, source, duration, language and the opening characters of the "
            "text, because a single transcript can run to hours of speech and a list of full texts would be truncated "
            "before it reached you. Pass id to get exactly one transcript in full, with its per-segment timestamps. "
            "Read-only: does not change or delete anything."),
        .inputSchema = {object({
            {"id", text("Return this one transcript in full (text and segments) instead of a list of summaries. Ids "
                        "come from a previous call without id.")},
            {"limit", limit()},
            {"since", since()},
            {"until", until()},
        })},
        .outputSchema = MCPSchema{object({
            {"entries",
             MCPSchema::array(object({
                 {"id", text()},
                 {"date", text("When it was transcribed, ISO 8601.")},
                 {"source",
                  object({
                      {"kind", MCPSchema::string("Whether this transcript came from a local file or a link.",
                                                 {"file", "link"})},
                      {"value", text("The file path, or the link URL. The path is where the file was at the time — it "
                                     "may have moved or been deleted since.")},
                  })},
                 {"duration", number("Length of the source media, in seconds.")},
                 {"language", text("Language code of the transcript, when known.")},
                 {"characterCount", integer("Length of the full text, in characters.")},
                 {"preview", text("Opening characters of the text. Present in list results; call again with id for the "
                                  "whole thing.")},
                 {"text", text("The full text. Present only when id was passed.")},
                 {"segments", MCPSchema::array(object({{"startTime", segmentStart()}, {"endTime", segmentEnd()}}),
                                               "Segments with timestamps. Present only when id was passed.")},
             }))},
            {"returnedCount", returnedCount()},
            {"totalCount", totalCount()},
        })},
        .annotations = reading,
    };
}

MCPTool recordingsList() {
    return {
        .name = "recordings_list",
        .description = withReadingSetting(
            "List the calls the user recorded with Vostel — newest first — as summaries: id, when it started, how long "
            "it ran, whether its transcript is ready, and the opening lines. The full transcript of one call comes "
            "from recording_get; a list of whole call transcripts would be truncated before it reached you. Read-only: "
            "does not change or delete anything."),
        .inputSchema = {object({{"limit", limit()}, {"since", since()}, {"until", until()}})},
        .outputSchema = MCPSchema{object({
            {"recordings",
             MCPSchema::array(object({
                 {"id", text("Pass this to recording_get for the full transcript.")},
                 {"startedAt", text("When the call started, ISO 8601.")},
                 {"duration", number("How long the call ran, in seconds.")},
                 {"state", text(R"(One of: recording, transcribing, ready, failed. Only "ready" means the transcript )"
                                R"(is complete; "recording" means the call is still being recorded right now.)")},
                 {"failureReason", text("Why it failed. Present only when state is failed.")},
                 {"progress", number("Transcription progress, 0...1. Present only when state is transcribing.")},
                 {"language", text("Language code of the transcript, when known.")},
                 {"lineCount",
                  integer("How many spoken turns the transcript holds. Zero is a legitimate outcome — nobody said "
                          "anything — as well as the state before transcription finishes.")},
                 {"preview", text("Opening lines of the transcript, with speaker labels.")},
             }))},
            {"returnedCount", returnedCount()},
            {"totalCount", totalCount()},
        })},
        .annotations = reading,
    };
}

MCPTool recordingGet() {
    return {
        .name = "recording_get",
        .description = withReadingSetting(
            "Get the full transcript of one recorded call by its id, as a sequence of spoken turns. Each turn says "
            R"(which side spoke: Vostel records the microphone and the system audio as two separate tracks, so "who )"
            R"(said what" comes from the recording itself rather than from guesswork. Read-only: does not change or )"
            "delete anything."),
        .inputSchema = {object({{"id", text("Recording id, as returned by recordings_list.")}}, {"id"})},
        .outputSchema = MCPSchema{object({
            {"id", text()},
            {"startedAt", text("When the call started, ISO 8601.")},
            {"duration", number("How long the call ran, in seconds.")},
            {"state", text(R"(One of: recording, transcribing, ready, failed. Anything other than "ready" means the )"
                           R"(transcript below is partial or absent.)")},
            {"language", text("Language code of the transcript, when known.")},
            {"text", text("The whole transcript as plain text, one turn per line, each prefixed with the speaker.")},
            {"lines",
             MCPSchema::array(
                 object({
                     {"track", MCPSchema::string("Which track this turn came from: microphone is the user themselves, "
                                                 "system is everyone else on the call.",
                                                 {"microphone", "system"})},
                     {"speaker", text("Human-readable label for the track.")},
                     {"text", text()},
                     {"startTime", number("Turn start, in seconds from the call start.")},
                     {"endTime", number("Turn end, in seconds from the call start.")},
                 }),
                 "Spoken turns in chronological order.")},
        })},
        .annotations = reading,
    };
}

MCPTool vocabularyList() {
    return {
        .name = "vocabulary_list",
        .description =
            "List the user's custom vocabulary: word/phrase replacement rules Vostel applies to transcribed text after "
            "recognition (for example, correcting names, jargon, or acronyms the ASR model tends to mis-hear). "
            "Read-only: does not change anything.",
        .inputSchema = {object({})},
        .outputSchema = MCPSchema{object({
            {"entries",
             MCPSchema::array(object({
                 {"word", text()},
                 {"replacement", text("Empty means the entry only fixes the spelling/casing of word, without "
                                      "substituting it.")},
             }))},
        })},
        .annotations = reading,
    };
}

MCPTool vocabularyAdd() {
    return {
        .name = "vocabulary_add",
        .description =
            "Add or update vocabulary rules (matched case-insensitively by word) that Vostel applies to transcribed "
            "text after recognition. Takes a batch: pass every rule you want in one call — one rule is a list of one. "
            "Rules are applied independently, and the result reports the outcome of each; a rule that could not be "
            "applied does not stop the others. Matching is by exact word form, so inflected forms need their own "
            "rules.",
        .inputSchema = {object(
            {
                {"rules",
                 MCPSchema::array(
                     object(
                         {
                             {"word", text("The word or phrase to match in transcribed text (case-insensitive).")},
                             {"replacement", text("Text to substitute in place of word. Leave empty to only fix the "
                                                  "spelling/casing of word itself, without substituting it.")},
                         },
                         {"word", "replacement"}),
                     "The rules to add or update. At least one.")},
            },
            {"rules"})},
        .outputSchema = MCPSchema{object({
            {"results",
             MCPSchema::array(object({
                 {"word", text()},
                 {"replacement", text()},
                 {"outcome", text(R"(One of: added, updated, unchanged, skipped. "skipped" means the word had no )"
                                  R"(usable text after normalization and no rule was stored.)")},
             }))},
        })},
        .annotations = changing,
    };
}

MCPTool vocabularyRemove() {
    return {
        .name = "vocabulary_remove",
        .description =
            "Remove vocabulary rules by their words (case-insensitive match). Takes a batch: pass every word you want "
            "gone in one call — one word is a list of one — and the whole batch is confirmed by the user together, in "
            "a single request. Destructive: this requires the user to confirm the removal in Vostel's window and does "
            "NOT complete immediately — the initial call returns a pending confirmation request, not the completed "
            "removal. There is no separate tool or id argument to poll that request: call vocabulary_remove again with "
            "the same words to check on it. A repeat call for the same set of words never creates a second request — "
            "while the user has not yet responded it returns the same pending request again, and once they have (or "
            "the request has expired unanswered) it returns that outcome instead. A different set of words is a "
            "different request, so do not re-send the batch with one word added or dropped while you are waiting on "
            "it.",
        .inputSchema = {object({{"words", MCPSchema::array(text(), "Words of the rules to remove. At least one.")}},
                               {"words"})},
        .outputSchema = MCPSchema{object({
            {"removed", MCPSchema::array(text(), "Words the user confirmed removing. A rule that was not in the "
                                                 "vocabulary is not an error — it simply does not appear here.")},
        })},
        .annotations = removing,
        .requiresUserInteraction = true,
    };
}

MCPTool modelsList() {
    return {
        .name = "models_list",
        .description =
            "List the speech recognition models Vostel knows about, each marked with whether it is currently "
            "installed on this Mac. Read-only: does not install, remove, or change anything.",
        .inputSchema = {object({})},
        .outputSchema = MCPSchema{object({
            {"models",
             MCPSchema::array(object({{"identifier", text()}, {"displayName", text()}, {"installed", boolean()}}))},
        })},
        .annotations = reading,
    };
}

MCPTool modelInstall() {
    return {
        .name = "model_install",
        .description =
            "Install a speech recognition model by its identifier, downloading its weights onto this Mac. Fetching the "
            "weights is the only network access this operation performs; recognition itself always runs locally once a "
            "model is installed.",
        .inputSchema = {object({{"identifier", text("Model identifier, as returned by models_list.")}},
                               {"identifier"})},
        .outputSchema = MCPSchema{object({
            {"identifier", text()},
            {"installed", boolean("Whether the model is installed after this call.")},
        })},
        .annotations = fetching,
    };
}

MCPTool modelRemove() {
    return {
        .name = "model_remove",
        .description =
            "Remove an installed speech recognition model from disk, freeing the space it used. Destructive: this "
            "requires the user to confirm the removal in Vostel's window and does NOT complete immediately — the "
            "initial call returns a pending confirmation request, not the completed removal. There is no separate tool "
            "or id argument to poll that request: call model_remove again with the same identifier to check on it. A "
            "repeat call for the same identifier never creates a second request — while the user has not yet responded "
            "it returns the same pending request again, and once they have (or the request has expired unanswered) it "
            "returns that outcome instead.",
        .inputSchema = {object({{"identifier", text("Model identifier, as returned by models_list.")}},
                               {"identifier"})},
        .outputSchema = MCPSchema{object({
            {"identifier", text()},
            {"removed", boolean("Whether the model was installed and got removed.")},
        })},
        .annotations = removing,
        .requiresUserInteraction = true,
    };
}

const std::vector<MCPTool>& allTools() {
    static const std::vector<MCPTool> tools{
        transcribeFile(), transcribeURL(), historyList(),      transcriptsList(), recordingsList(), recordingGet(),
        vocabularyList(), vocabularyAdd(), vocabularyRemove(), modelsList(),      modelInstall(),   modelRemove(),
    };
    return tools;
}

} // namespace

std::vector<MCPTool> tools(bool youTubeAvailable) {
    std::vector<MCPTool> offered = allTools();
    if (!youTubeAvailable) std::erase_if(offered, [](const MCPTool& tool) { return tool.name == "transcribe_url"; });
    return offered;
}

MCPValue encodedTools(bool youTubeAvailable) {
    if (!youTubeAvailable) {
        static const MCPValue withoutVideo = withCachedText(encode(tools(/*youTubeAvailable=*/false)));
        return withoutVideo;
    }
    static const MCPValue withVideo = withCachedText(encode(tools(/*youTubeAvailable=*/true)));
    return withVideo;
}

} // namespace VostelMCPKit::MCPToolCatalogue
