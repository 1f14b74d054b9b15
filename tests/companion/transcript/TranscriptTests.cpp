#include "companion/transcript/Transcript.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(Transcript, ItsTextIsTheWordsWithSingleSpaces) {
    EXPECT_EQ(Transcript{}.text(), "");
    EXPECT_EQ((Transcript{{{"one", {}, {}}}}.text()), "one");
    EXPECT_EQ((Transcript{{{"one", {}, {}}, {"two", {}, {}}, {"three", {}, {}}}}.text()), "one two three");
}

} // namespace vostel_companion
