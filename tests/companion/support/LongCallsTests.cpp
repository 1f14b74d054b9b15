#include "companion/support/LongCalls.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <memory>

namespace vostel_companion {

namespace {

using namespace std::chrono_literals;

struct LongCallsTest : testing::Test {
    vostel_tests::TemporaryFolder folder;
    std::filesystem::path file = folder / "calls";
    std::chrono::system_clock::time_point time{1000s};
    LongCalls calls{file, [this] { return time; }};

    [[nodiscard]] std::vector<LongCall> listed() const { return LongCalls::readFrom(file); }
};

} // namespace

TEST_F(LongCallsTest, a_call_is_listed_from_its_first_report_to_its_end) {
    EXPECT_TRUE(listed().empty());
    auto first = std::make_unique<LongCalls::Call>(calls, "transcribe_file", "claude \"code\"");
    EXPECT_TRUE(listed().empty()) << "it may be a short one";
    time += 3s;
    first->report({0.25, "Transcribing 1:00 of 4:00"});
    const LongCall one{"transcribe_file", "claude \"code\"", 1'000'000, 0.25, "Transcribing 1:00 of 4:00"};
    EXPECT_EQ(listed(), std::vector{one});
    {
        LongCalls::Call second{calls, "model_install", ""};
        second.report({0, ""});
        EXPECT_EQ(listed(), (std::vector{one, LongCall{"model_install", "", 1'003'000, 0, ""}}));
        first.reset();
        EXPECT_EQ(listed().size(), 1U);
    }
    EXPECT_TRUE(listed().empty());
}

TEST_F(LongCallsTest, frequent_reports_are_written_once_a_second) {
    LongCalls::Call call{calls, "transcribe_file", "x"};
    call.report({0.1, ""});
    time += 999ms;
    call.report({0.2, ""});
    EXPECT_EQ(listed().at(0).fraction, 0.1);
    time += 1ms;
    call.report({0.3, ""});
    EXPECT_EQ(listed().at(0).fraction, 0.3);
}

TEST_F(LongCallsTest, a_short_call_writes_nothing) {
    { const LongCalls::Call call{calls, "models_list", "x"}; }
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(LongCallsTest, the_file_of_a_crashed_application_is_deleted) {
    vostel_tests::writeFile(file, R"({"calls":[{"client":"x","fraction":0.5,"message":"","startedAt":1,"tool":"y"}]})");
    EXPECT_EQ(listed().size(), 1U);
    const LongCalls next{file};
    EXPECT_TRUE(listed().empty());
}

TEST_F(LongCallsTest, a_file_that_cannot_be_read_lists_nothing) {
    for (const char* text : {"", "{", "{\"calls\":[{}]}", "[]"}) {
        vostel_tests::writeFile(file, text);
        EXPECT_TRUE(listed().empty()) << text;
    }
}

} // namespace vostel_companion
