#include "companion/transcript/SpokenTurns.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

namespace {

using Segments = std::vector<TranscriptSegment>;

TranscriptSegment word(const char* text, double start, double end) { return {text, Seconds{start}, Seconds{end}}; }

RecordingLine me(const char* text, double start, double end) {
    return {RecordingLine::Track::microphone, "Me", text, Seconds{start}, Seconds{end}};
}
RecordingLine them(const char* text, double start, double end) {
    return {RecordingLine::Track::system, "Them", text, Seconds{start}, Seconds{end}};
}

} // namespace

TEST(Conversation, is_made_of_the_turns_of_both_tracks) {
    struct Row {
        const char* when;
        Segments microphone;
        Segments system;
        std::vector<RecordingLine> turns;
    };
    const Row rows[] = {
        {"nobody speaks", {}, {}, {}},
        {"words close together", {word("good", 0, 0.5), word("morning", 0.5, 1)}, {}, {me("good morning", 0, 1)}},
        {"a pause just below the limit", {word("a", 0, 1), word("b", 1.999, 3)}, {}, {me("a b", 0, 3)}},
        {"a pause at the limit", {word("a", 0, 1), word("b", 2, 3)}, {}, {me("a", 0, 1), me("b", 2, 3)}},
        {"question and answer",
         {word("how", 0, 1), word("fine", 5, 6)},
         {word("well", 2, 3)},
         {me("how", 0, 1), them("well", 2, 3), me("fine", 5, 6)}},
        {"both at once, the one that began first comes first",
         {word("one", 1, 2), word("two", 2, 3)},
         {word("no", 0.5, 1.5), word("wait", 1.5, 2.5)},
         {them("no wait", 0.5, 2.5), me("one two", 1, 3)}},
        {"the same moment", {word("a", 0, 1)}, {word("b", 0, 1)}, {me("a", 0, 1), them("b", 0, 1)}},
        {"words that overlap", {word("a", 0, 2), word("b", 1, 3)}, {}, {me("a b", 0, 3)}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_TRUE(conversation(row.microphone, row.system) == row.turns)
            << plainText(conversation(row.microphone, row.system));
    });
}

} // namespace vostel_companion
