// The descriptors, threads and memory after many calls and after large messages.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

namespace vostel_tests {

using nlohmann::json;

namespace {

constexpr int groupSize = 8;
/// An unoptimised server is larger.
const std::size_t smallKiB = (releasedServer != nullptr ? 4 : 6) * 1024;

/// Makes `groupSize` calls at once, one for each way in which a call can go. Their ids begin with `first`.
void makeGroup(Stage& stage, int first) {
    std::vector<ReceivedCall> calls;
    for (int id = first; id < first + groupSize; ++id) {
        stage.server.send(toolsCall(std::to_string(id),
                                    R"(,"arguments":{"text":"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"},)"
                                    R"("_meta":{"progressToken":"a token longer than most"})"));
        calls.push_back(stage.application.nextCall());
    }
    calls[0].connection.write(frame(calls[0].progress("0.5")) + frame(calls[0].response(R"({"content":[]})")));
    calls[1].connection.write(frame(R"({"kind":"response","payload":{"requestID":"","error":)"
                                    R"({"kind":"versionMismatch","helper":4,"app":5}}})"));
    calls[2].connection.close();
    calls[3].connection.write(frame("{"));
    calls[4].connection.write("\xff\xff\xff\xff");
    calls[5].answer('"' + std::string(2000, 'x') + '"');
    calls[6].answer("{}");
    stage.server.send(cancelled(std::to_string(first + 7)));
    EXPECT_EQ(stage.application.nextCancellation().at("requestID"), calls[7].requestID);
    calls[7].connection.close();

    std::vector<int> answers(groupSize, 0);
    for (int line = 0; line < groupSize; ++line) {
        const json message = json::parse(stage.server.line());
        if (message.contains("id")) ++answers.at(static_cast<std::size_t>(message.at("id").get<int>() - first));
    }
    EXPECT_EQ(answers, (std::vector<int>{1, 1, 1, 1, 1, 1, 1, 0}));
}

} // namespace

TEST(Endurance, ten_thousand_calls_leave_no_descriptor_thread_or_memory) {
    constexpr int warmUp = 400;
    const int count = sanitized ? 800 : 10'000;
    // Freed memory that the address sanitizer keeps would hide a leak.
    Stage stage{.environment = {"ASAN_OPTIONS=quarantine_size_mb=1"}};
    stage.expectServing();
    const std::size_t descriptors = stage.server.descriptorCount();
    const std::size_t threads = stage.server.threadCount();
    for (int id = 0; id < warmUp; id += groupSize) makeGroup(stage, id);
    const std::size_t residentKiB = stage.server.residentKiB();
    for (int id = 0; id < count && !testing::Test::HasFailure(); id += groupSize) makeGroup(stage, id);

    EXPECT_TRUE(stage.soon([&] { return stage.server.descriptorCount() == descriptors; }))
        << stage.server.descriptorCount() << " instead of " << descriptors;
    EXPECT_TRUE(stage.soon([&] { return stage.server.threadCount() == threads; }))
        << stage.server.threadCount() << " instead of " << threads;
    // Detects a leak of 100 bytes in every call. A sanitizer keeps freed memory for a while.
    const std::size_t boundKiB = sanitized ? 32 * 1024 : 1000;
    EXPECT_LE(stage.server.residentKiB(), residentKiB + boundKiB);
}

TEST(Endurance, the_memory_of_large_results_is_returned_to_the_system) {
    if (sanitized) GTEST_SKIP() << "a sanitizer keeps what was freed";
    Stage stage;
    stage.expectServing();
    const std::string result = '"' + std::string(16'777'216, 'x') + '"';
    for (int round = 0; round < 3; ++round) {
        stage.server.send(toolsCall("1"));
        stage.application.nextCall().answer(result);
        EXPECT_TRUE(stage.server.line() == resultLine("1", result));
    }
    EXPECT_TRUE(stage.memoryFallsTo(8 * 1024)) << stage.server.residentKiB();
}

TEST(Endurance, after_any_large_message_the_idle_server_is_small_again) {
    if (sanitized) GTEST_SKIP() << "a sanitizer keeps what was freed";
    std::string values = "[";
    while (values.size() < 8'388'608) values += R"([1,"a"],)";
    values += "0]";
    struct Row {
        const char* when;
        std::string line;
    };
    const Row rows[] = {
        {"a notification that is ignored",
         R"({"jsonrpc":"2.0","method":"notifications/other","params":)" + values + "}"},
        {"a line that is not a message", values.substr(0, values.size() - 1)},
        {"a call that waits for its answer", toolsCall("1", R"(,"arguments":)" + values)},
    };
    Stage stage;
    // The test does not read the millions of values, because that would take most of its time.
    std::vector<ApplicationConnection> calls;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        stage.server.send(row.line);
        if (row.line.contains("tools/call")) {
            calls.push_back(stage.application.accept());
            EXPECT_GT(calls.back().readFrame().size(), values.size());
        }
        if (row.line.starts_with("[")) {
            EXPECT_NE(stage.server.line(), "");
        }
        EXPECT_TRUE(stage.memoryFallsTo(smallKiB)) << stage.server.residentKiB();
    });
    calls.at(0).write(frame(R"({"kind":"response","payload":{"requestID":"","result":)" + values + "}}"));
    EXPECT_NE(stage.server.line(), "");
    EXPECT_TRUE(stage.memoryFallsTo(smallKiB)) << stage.server.residentKiB();
}

TEST(Endurance, after_a_million_empty_lines_the_idle_server_is_small_again) {
    if (sanitized) GTEST_SKIP() << "a sanitizer keeps what was freed";
    Stage stage;
    stage.server.write(std::string(1'000'000, '\n'));
    stage.server.send(ping("1"));
    EXPECT_EQ(stage.server.line(), pingReply("1"));
    EXPECT_TRUE(stage.memoryFallsTo(smallKiB)) << stage.server.residentKiB();
}

TEST(Endurance, the_threads_of_a_thousand_waiting_calls_end) {
    const int count = sanitized ? 200 : 1000;
    Stage stage;
    stage.expectServing();
    const std::size_t threads = stage.server.threadCount();
    for (int id = 0; id < count; ++id) stage.server.send(toolsCall(std::to_string(id)));
    std::vector<ReceivedCall> calls;
    for (int index = 0; index < count; ++index) calls.push_back(stage.application.nextCall());
    EXPECT_GE(stage.server.threadCount(), threads + static_cast<std::size_t>(count));
    for (ReceivedCall& call : calls) call.answer("{}");
    for (int index = 0; index < count; ++index) EXPECT_TRUE(json::parse(stage.server.line()).contains("result"));
    EXPECT_TRUE(stage.soon([&] { return stage.server.threadCount() == threads; })) << stage.server.threadCount();
}

} // namespace vostel_tests
