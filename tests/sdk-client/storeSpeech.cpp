// Stores the words of standard input as a transcript and as a recorded call, as if they had been recognised. Allows
// clients to read them. Prints their common id.
//
//     sdk_client_store_speech DATABASE WORDS_PER_SECOND < words

#include "companion/store/Recordings.h"
#include "companion/store/Schema.h"
#include "companion/store/Settings.h"
#include "companion/store/Transcripts.h"
#include "companion/transcript/ReadableText.h"
#include "posix/RandomUUID.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <span>
#include <string>

using namespace vostel_companion;

namespace {

/// After this many words, the speaker of the call changes, and the transcript has a new paragraph.
constexpr std::size_t wordsInTurn = 25;

bool store(Database& database, const VostelMCPKit::UUID& id, const std::vector<TranscriptSegment>& words) {
    const Timestamp now = std::chrono::floor<Timestamp::duration>(std::chrono::system_clock::now());
    const Seconds duration = words.empty() ? Seconds{0} : words.back().endTime;
    std::vector<RecordingLine> turns;
    std::span<const TranscriptSegment> rest = words;
    while (!rest.empty()) {
        const auto turn = rest.first(std::min(rest.size(), wordsInTurn));
        const bool isMine = turns.size() % 2 == 0;
        turns.push_back({isMine ? RecordingLine::Track::microphone : RecordingLine::Track::system,
                         isMine ? "Me" : "Them", readableText(turn, "en", {}), turn.front().startTime,
                         turn.back().endTime});
        rest = rest.subspan(turn.size());
    }
    Recordings recordings{database};
    return saveSettings(database, {.isReadingAllowed = true}) &&
           Transcripts{database}.add(id, {now,
                                          {TranscriptSource::Kind::file, "/home/robin/meeting.m4a"},
                                          duration,
                                          "en",
                                          readableText(words, "en", {}),
                                          words}) &&
           recordings.begin(id, now) && recordings.beginTranscribing(id, duration).value_or(false) &&
           recordings.finish(id, "en", std::move(turns)).value_or(false);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) return EXIT_FAILURE;
    const double rate = std::strtod(argv[2], nullptr);
    std::vector<TranscriptSegment> words;
    for (std::string word; std::cin >> word;) {
        const Seconds pause = words.empty() || words.size() % wordsInTurn != 0 ? Seconds{0} : paragraphPause;
        const Seconds start = (words.empty() ? Seconds{0} : words.back().endTime) + pause;
        words.push_back({word, start, start + Seconds{1 / rate}});
    }
    auto database = openStore(argv[1]);
    if (!database) {
        std::fprintf(stderr, "%s\n", database.error().description().c_str());
        return EXIT_FAILURE;
    }
    const VostelMCPKit::UUID id = VostelMCPKit::RandomUUIDs{posix::randomBytes}();
    if (!store(*database, id, words)) return EXIT_FAILURE;
    std::printf("%s\n", id.text().c_str());
    return EXIT_SUCCESS;
}
