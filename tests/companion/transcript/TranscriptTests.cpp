#include "companion/transcript/Transcript.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(Transcript, its_text_is_the_words_with_single_spaces) {
    EXPECT_EQ(Transcript{}.text(), "");
    EXPECT_EQ((Transcript{{{"one", {}, {}}}}.text()), "one");
    EXPECT_EQ((Transcript{{{"one", {}, {}}, {"two", {}, {}}, {"three", {}, {}}}}.text()), "one two three");
}

} // namespace vostel_companion
