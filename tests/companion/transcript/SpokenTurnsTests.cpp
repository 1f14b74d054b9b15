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
        {"words close together", {word("good", 0, 0.5), word("morning", 0.5, 1)}, {}, {me("Good morning.", 0, 1)}},
        {"a pause just below the limit", {word("a", 0, 1), word("b", 1.999, 3)}, {}, {me("A. B.", 0, 3)}},
        {"a pause at the limit", {word("a", 0, 1), word("b", 2, 3)}, {}, {me("A.", 0, 1), me("B.", 2, 3)}},
        {"question and answer",
         {word("how", 0, 1), word("fine", 5, 6)},
         {word("well", 2, 3)},
         {me("How.", 0, 1), them("Well.", 2, 3), me("Fine.", 5, 6)}},
        {"both at once, the one that began first comes first",
         {word("one", 1, 2), word("two", 2, 3)},
         {word("no", 0.5, 1.5), word("wait", 1.5, 2.5)},
         {them("No wait.", 0.5, 2.5), me("One two.", 1, 3)}},
        {"the same moment", {word("a", 0, 1)}, {word("b", 0, 1)}, {me("A.", 0, 1), them("B.", 0, 1)}},
        {"words that overlap", {word("a", 0, 2), word("b", 1, 3)}, {}, {me("A b.", 0, 3)}},
        {"two sentences in one turn",
         {word("well", 0, 1), word("i", 1.5, 2), word("know", 2, 3)},
         {},
         {me("Well. I know.", 0, 3)}},
        {"a taught word", {word("npm", 0, 1)}, {}, {me("npm.", 0, 1)}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const VocabularyRule rules[] = {{"node package manager", "npm"}};
        const auto turns = conversation({row.microphone, "en"}, {row.system, "en"}, rules);
        EXPECT_TRUE(turns == row.turns) << plainText(turns);
    });
}

} // namespace vostel_companion
