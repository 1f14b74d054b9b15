#include "tests/companion/support/Program.h"
#include "tests/support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>

namespace vostel_companion {

namespace {

/// Ends the application that the server has launched. It outlives the demo.
void endApplication(const std::filesystem::path& home) {
    pid_t process = 0;
    std::ifstream{home / "Library/Application Support/com.vostel.vostel/Vostel.pid"} >> process;
    ASSERT_GT(process, 0);
    EXPECT_EQ(::kill(process, SIGTERM), 0);
    for (int tries = 0; ::kill(process, 0) == 0 && tries < 3000; ++tries) ::poll(nullptr, 0, 10);
}

} // namespace

TEST(Demo, adds_applies_and_removes_a_rule_after_confirmation) {
    const vostel_tests::TemporaryFolder home;
    const std::filesystem::path bundle = VOSTEL_BUNDLE;
    vostel_tests::Program demo{
        VOSTEL_DEMO,
        {(bundle / "vostel-mcp").string(), VOSTEL_SPEECH_DATA "/sense_and_sensibility_01_austen_64kb-0930.wav"},
        home.path()};
    EXPECT_EQ(demo.status(), 0) << demo.errors();
    const std::string shown = demo.output();
    std::size_t seen = 0;
    for (const char* expected : {
             "\"method\":\"initialize\"",
             "   model_remove\n",
             "\"method\":\"notifications/progress\"",
             "   He might even have been made amiable himself.\n",
             R"({"results":[{"outcome":"added","replacement":"AMIABLE","word":"amiable"}]})",
             "   after   He might even have been made AMIABLE himself.\n",
             "This action has NOT been performed.",
             "$ Vostel pending\n",
             "left  'demo': Remove the vocabulary rule for \"amiable\"\n",
             "$ Vostel confirm ",
             "Confirmed; removed \"amiable\".\n",
             R"({"removed":["amiable"]})",
         }) {
        const auto at = shown.find(expected, seen);
        ASSERT_NE(at, std::string::npos) << expected << " is missing after byte " << seen << " of\n" << shown;
        seen = at;
    }
    endApplication(home.path());
}

TEST(Demo, ends_with_the_reason_if_the_recording_cannot_be_read) {
    const vostel_tests::TemporaryFolder home;
    const std::filesystem::path bundle = VOSTEL_BUNDLE;
    vostel_tests::Program demo{VOSTEL_DEMO, {(bundle / "vostel-mcp").string(), "/nowhere.wav"}, home.path()};
    EXPECT_EQ(demo.status(), 1);
    EXPECT_TRUE(demo.errors().ends_with("\nThere is no file at '/nowhere.wav'.\n")) << demo.errors();
    endApplication(home.path());
}

} // namespace vostel_companion
