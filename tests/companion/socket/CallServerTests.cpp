#include "companion/socket/CallServer.h"
#include "kit/wire/MCPWireFraming.h"
#include "tests/companion/support/CompanionClient.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <condition_variable>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <poll.h>
#include <thread>

namespace vostel_companion {

using namespace std::chrono_literals;
using namespace VostelMCPKit;
using vostel_tests::CompanionClient;
using vostel_tests::isFailure;
using vostel_tests::textOf;

namespace {

/// Counts events and lets other threads wait for them.
class Counter final {
public:
    void add() {
        const std::lock_guard lock{mutex_};
        ++count_;
        changed_.notify_all();
    }
    /// Whether the count is reached within half a minute.
    [[nodiscard]] bool reaches(int count) {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, 120s, [&] { return count_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

MCPToolOutcome succeeded(std::string text) { return {MCPToolOutcome::Text{std::move(text), std::nullopt}}; }

/// A server with tools that do what a test needs.
class CallServerStage {
public:
    explicit CallServerStage(CallServer::Limits limits = {}) {
        tools_["echo"] = [](const ToolCall& call) {
            return succeeded(std::string{call.arguments["text"]->asString().value_or("")});
        };
        tools_["wait"] = [this](const ToolCall& call) {
            Counter cancelled;
            const Cancellation::Listener listener{call.cancellation, [&] { cancelled.add(); }};
            started.add();
            const bool came = cancelled.reaches(1);
            if (came) stopped.add();
            return came ? MCPToolOutcome::failed("cancelled") : succeeded("was never cancelled");
        };
        tools_["stubborn"] = [this](const ToolCall&) {
            started.add();
            return released.reaches(1) ? succeeded("released") : MCPToolOutcome::failed("forgotten");
        };
        tools_["give up"] = [this](const ToolCall& call) {
            call.progress({0.5, ""});
            started.add();
            return released.reaches(1) ? succeeded("after a part of a report") : MCPToolOutcome::failed("forgotten");
        };
        tools_["report"] = [this](const ToolCall& call) {
            for (int step = 1; step <= 1000; ++step) call.progress({step / 1000.0, "Step " + std::to_string(step)});
            reported.add();
            return succeeded("reported");
        };
        tools_["long"] = [](const ToolCall&) { return succeeded(std::string(8'000'000, 'x')); };
        tools_["too long"] = [](const ToolCall&) {
            return succeeded(std::string(MCPWireFraming::maxFrameLength, 'x'));
        };
        tools_["no number"] = [](const ToolCall&) {
            return MCPToolOutcome{MCPToolOutcome::Text{"x", MCPValue{std::numeric_limits<double>::infinity()}}};
        };
        tools_["pending"] = [](const ToolCall&) {
            return MCPToolOutcome{MCPToolOutcome::AwaitingConfirmation{{}, "Remove it"}};
        };
        auto socket = ListeningSocket::open(support());
        server_ = CallServer::make(*std::move(socket), tools_, posix::startBlockingThread, limits).value();
        thread_ = std::thread{[this] { allEnded_ = server_->run(); }};
    }
    ~CallServerStage() {
        std::ignore = stop();
        released.add();
        while (!server_->run()) {}
    }
    CallServerStage(const CallServerStage&) = delete;
    CallServerStage& operator=(const CallServerStage&) = delete;

    /// Whether all calls had ended when the server stopped waiting.
    bool stop() {
        server_->stop();
        if (thread_.joinable()) thread_.join();
        return allEnded_;
    }

    [[nodiscard]] std::filesystem::path support() const { return folder_.path() / "Library"; }
    /// Whether the server answers a call on a new connection. On a busy machine this thread may stop longer than a
    /// test's short timeouts, and its connection is then closed. So there are several attempts.
    [[nodiscard]] bool serves() const {
        for (int attempt = 0; attempt < 100; ++attempt) {
            CompanionClient client{support()};
            client.request("echo", MCPValue::object({{"text", "hello"}}));
            if (textOf(client.response()) == "hello") return true;
        }
        return false;
    }

    Counter started;
    Counter stopped;
    Counter reported;
    Counter released;

private:
    vostel_tests::TemporaryFolder folder_;
    ToolTable tools_;
    std::unique_ptr<CallServer> server_;
    bool allEnded_ = false;
    std::thread thread_;
};

const MCPValue nothing = MCPValue::object({});

} // namespace

TEST(CallServer, answers_a_call_with_the_rendered_outcome_under_its_id) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("echo", MCPValue::object({{"text", "hello"}}), "0A1B");
    const auto response = client.response();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->requestID, "0A1B");
    EXPECT_FALSE(isFailure(response));
    EXPECT_EQ(textOf(response), "hello");

    EXPECT_TRUE(client.isClosed()) << "a connection ends with its answer";

    CompanionClient other{stage.support()};
    other.request("pending", nothing);
    const auto pending = other.response();
    EXPECT_TRUE(isFailure(pending));
    EXPECT_TRUE(textOf(pending).starts_with("This action has NOT been performed."));
}

TEST(CallServer, a_call_of_an_unknown_tool_fails) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("magic\n", nothing);
    const auto response = client.response();
    EXPECT_TRUE(isFailure(response));
    EXPECT_EQ(textOf(response), "There is no tool named 'magic\uFFFD'.");
}

TEST(CallServer, an_answer_that_cannot_be_sent_becomes_a_failure) {
    CallServerStage stage;
    const std::pair<const char*, const char*> rows[] = {
        {"too long", "The result is too large to be sent."},
        {"no number", "The result holds a number that is not finite."},
    };
    for (const auto& [tool, sentence] : rows) {
        SCOPED_TRACE(tool);
        CompanionClient client{stage.support()};
        client.request(tool, nothing);
        const auto response = client.response();
        EXPECT_TRUE(isFailure(response));
        EXPECT_EQ(textOf(response), sentence);
    }
}

TEST(CallServer, a_request_of_another_version_is_answered_with_both_versions) {
    CallServerStage stage;
    struct Row {
        const char* when;
        std::string frame;
        std::string requestID;
        std::int64_t helper;
    };
    const Row rows[] = {
        {"an older one",
         R"({"kind":"request","payload":{"protocolVersion":3,"clientInfo":{"name":"x"},"tool":"echo","arguments":{},"requestID":"A"}})",
         "A", 3},
        {"a later one with another shape",
         R"({"kind":"request","payload":{"protocolVersion":5,"requestID":"B","call":[]}})", "B", 5},
        {"one without an id", R"({"kind":"request","payload":{"protocolVersion":-1}})", "", -1},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        CompanionClient client{stage.support()};
        client.sendFrame(row.frame);
        EXPECT_EQ(client.response(),
                  (MCPWireResponse{row.requestID, MCPWireError{MCPWireError::VersionMismatch{row.helper, 4}}}));
    });
    EXPECT_TRUE(stage.serves());
}

TEST(CallServer, a_cancellation_on_a_connection_of_its_own_stops_the_call) {
    CallServerStage stage;
    CompanionClient other{stage.support()};
    other.request("wait", nothing, "B");
    CompanionClient client{stage.support()};
    client.request("wait", nothing, "A");
    ASSERT_TRUE(stage.started.reaches(2));
    CompanionClient{stage.support()}.cancel("A");
    EXPECT_EQ(textOf(client.response()), "cancelled");
    EXPECT_TRUE(stage.serves());
    other.cancel("B");
    EXPECT_EQ(textOf(other.response()), "cancelled") << "a cancellation on the connection of the call";
}

TEST(CallServer, a_cancellation_may_arrive_before_its_request) {
    CallServerStage stage;
    CompanionClient canceller{stage.support()};
    canceller.cancel("A");
    // Frames of one connection are read in order, so the cancellation has arrived when this is answered.
    canceller.request("echo", MCPValue::object({{"text", "x"}}), "B");
    ASSERT_TRUE(canceller.response());
    CompanionClient client{stage.support()};
    client.request("wait", nothing, "A");
    EXPECT_EQ(textOf(client.response()), "cancelled");
}

TEST(CallServer, a_caller_that_hangs_up_cancels_its_call) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("wait", nothing);
    ASSERT_TRUE(stage.started.reaches(1));
    client.hangUp();
    EXPECT_TRUE(stage.stopped.reaches(1));
    EXPECT_TRUE(stage.serves());
}

TEST(CallServer, calls_run_concurrently_and_answer_in_any_order) {
    CallServerStage stage;
    std::vector<std::unique_ptr<CompanionClient>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<CompanionClient>(stage.support()));
        clients.back()->request("wait", nothing, std::to_string(i));
    }
    ASSERT_TRUE(stage.started.reaches(64));
    for (int i = 63; i >= 0; --i) {
        CompanionClient{stage.support()}.cancel(std::to_string(i));
        EXPECT_EQ(textOf(clients[static_cast<std::size_t>(i)]->response()), "cancelled");
    }
}

TEST(CallServer, progress_rises_and_is_throttled) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("report", nothing);
    EXPECT_EQ(textOf(client.response()), "reported");
    const std::vector<double>& progress = client.progress();
    ASSERT_GE(progress.size(), 1U);
    EXPECT_LT(progress.size(), 100U);
    EXPECT_TRUE(std::ranges::is_sorted(progress));
    EXPECT_EQ(progress.front(), 0.001);
    EXPECT_EQ(client.messages().front(), "Step 1");
}

TEST(CallServer, progress_never_says_that_the_work_is_done) {
    CallServerStage stage{{.progressInterval = 0ms}};
    CompanionClient client{stage.support()};
    client.request("report", nothing);
    EXPECT_EQ(textOf(client.response()), "reported");
    ASSERT_GE(client.progress().size(), 2U);
    EXPECT_LT(client.progress().back(), 1);
}

TEST(CallServer, frames_may_come_in_pieces_or_together) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    const Bytes frame = MCPWireFraming::encode(
        R"({"kind":"request","payload":{"protocolVersion":4,"clientInfo":{"name":"x"},"tool":"echo","arguments":{"text":"pieces"},"requestID":"A"}})");
    for (const char byte : frame.text()) client.sendBytes({&byte, 1});
    EXPECT_EQ(textOf(client.response()), "pieces");

    const Bytes cancellation =
        MCPWireFraming::encode(R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":"Z"}})");
    CompanionClient other{stage.support()};
    other.sendBytes(std::string{cancellation.text()} + std::string{frame.text()});
    EXPECT_EQ(textOf(other.response()), "pieces");
}

TEST(CallServer, a_violation_of_the_protocol_ends_only_its_connection) {
    CallServerStage stage;
    struct Row {
        const char* when;
        std::string payload;
    };
    const Row rows[] = {
        {"an empty frame", ""},
        {"not JSON", "hello"},
        {"not an object", "[1,2]"},
        {"an unknown kind", R"({"kind":"response","payload":{}})"},
        {"a request without a tool", R"({"kind":"request","payload":{"protocolVersion":4,"requestID":"A"}})"},
        {"a version that is not a number", R"({"kind":"request","payload":{"protocolVersion":"4","requestID":"A"}})"},
        {"bytes that are not text", "\xFF\xFE\x00"},
        {"a deep nest", std::string(200'000, '[')},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        CompanionClient client{stage.support()};
        client.sendFrame(row.payload);
        EXPECT_TRUE(client.isClosed());
    });
    EXPECT_TRUE(stage.serves());
}

TEST(CallServer, a_second_call_on_a_busy_connection_ends_both) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("wait", nothing, "A");
    ASSERT_TRUE(stage.started.reaches(1));
    client.request("echo", nothing, "B");
    EXPECT_TRUE(stage.stopped.reaches(1));
    EXPECT_FALSE(client.response());
    EXPECT_TRUE(stage.serves());
}

TEST(CallServer, an_oversized_frame_is_rejected_at_its_header_and_can_be_written_to_its_end) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.sendBytes(std::string_view{"\x04\x00\x00\x01", 4});
    // More than any socket buffer holds, so this ends only if the server continues to read.
    client.sendBytes(std::string(4'000'000, 'x'));
    EXPECT_EQ(client.response(),
              (MCPWireResponse{"", MCPWireError{MCPWireError::FrameTooLarge{67'108'865, 67'108'864}}}));
    EXPECT_TRUE(stage.serves());
}

TEST(CallServer, a_peer_that_is_too_slow_loses_its_connection) {
    struct Row {
        const char* when;
        std::string_view bytes;
    };
    const Row rows[] = {{"says nothing", {}},
                        {"a part of a header", {"\0\0", 2}},
                        {"a part of a frame", {"\0\0\0\x09{\"ki", 8}},
                        {"writes on after a refusal", {"\xFF\xFF\xFF\xFF", 4}}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        CallServerStage stage{{.frameTimeout = 50ms}};
        CompanionClient client{stage.support()};
        client.sendBytes(row.bytes);
        std::ignore = client.response();
        EXPECT_TRUE(client.isClosed());
        EXPECT_TRUE(stage.serves());
    });
}

TEST(CallServer, a_peer_that_does_not_read_loses_its_answer) {
    CallServerStage stage{{.calls = 1, .answerTimeout = 50ms}};
    CompanionClient client{stage.support()};
    client.request("long", nothing);
    EXPECT_TRUE(stage.serves()) << "the limit is one call, so the other one must have ended";
    EXPECT_FALSE(client.response()) << "the answer was cut off";
}

TEST(CallServer, a_slow_reader_still_gets_a_long_answer) {
    CallServerStage stage;
    CompanionClient client{stage.support()};
    client.request("long", nothing);
    EXPECT_EQ(textOf(client.response()).size(), 8'000'000U);
}

TEST(CallServer, progress_does_not_wait_for_a_peer) {
    // The call must end although nothing reads its reports.
    CallServerStage stage{{.progressInterval = 0ms}};
    CompanionClient client{stage.support()};
    client.request("report", nothing);
    EXPECT_TRUE(stage.reported.reaches(1));
    EXPECT_EQ(textOf(client.response()), "reported");
}

TEST(CallServer, half_a_report_is_not_followed_by_the_answer) {
    CallServerStage stage{{.answerTimeout = 50ms}};
    CompanionClient client{stage.support()};
    // A report repeats the id of the call. This id is larger than any socket buffer.
    client.request("give up", nothing, std::string(4'000'000, 'x'));
    ASSERT_TRUE(stage.started.reaches(1));
    stage.released.add();
    EXPECT_FALSE(client.next());
    EXPECT_TRUE(client.isClosed());
}

TEST(CallServer, a_call_above_the_limit_waits_while_cancellations_are_handled) {
    CallServerStage stage{{.connections = 5, .calls = 2}};
    CompanionClient first{stage.support()};
    CompanionClient second{stage.support()};
    first.request("wait", nothing, "A");
    second.request("wait", nothing, "B");
    ASSERT_TRUE(stage.started.reaches(2));
    CompanionClient third{stage.support()};
    third.request("wait", nothing, "C");
    {
        CompanionClient fourth{stage.support()};
        fourth.request("wait", nothing, "D");
        CompanionClient{stage.support()}.cancel("D");
        EXPECT_EQ(textOf(fourth.response()), "The call was cancelled.") << "the waiting call is answered at once";
    }
    CompanionClient{stage.support()}.cancel("A");
    EXPECT_EQ(textOf(first.response()), "cancelled");
    EXPECT_TRUE(stage.started.reaches(3)) << "the third call is next";
    for (const char* id : {"B", "C"}) CompanionClient{stage.support()}.cancel(id);
    EXPECT_EQ(textOf(second.response()), "cancelled");
    EXPECT_EQ(textOf(third.response()), "cancelled");
}

TEST(CallServer, many_calls_at_once_are_all_answered) {
    CallServerStage stage{{.calls = 3}};
    std::vector<std::unique_ptr<CompanionClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<CompanionClient>(stage.support()));
        clients.back()->request("echo", MCPValue::object({{"text", std::to_string(i)}}), std::to_string(i));
    }
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(textOf(clients[static_cast<std::size_t>(i)]->response()), std::to_string(i));
}

TEST(CallServer, a_waiting_call_is_dropped_when_its_peer_hangs_up) {
    CallServerStage stage{{.calls = 1, .waitingCalls = 1}};
    CompanionClient running{stage.support()};
    running.request("wait", nothing, "A");
    ASSERT_TRUE(stage.started.reaches(1));
    {
        CompanionClient dropped{stage.support()};
        dropped.request("stubborn", nothing, "B");
        // The server closes the connection of a waiting call if the peer breaks the protocol.
        dropped.request("stubborn", nothing, "C");
        EXPECT_FALSE(dropped.response());
    }
    CompanionClient next{stage.support()};
    next.request("echo", MCPValue::object({{"text", "x"}}), "D");
    CompanionClient{stage.support()}.cancel("A");
    EXPECT_EQ(textOf(next.response()), "x") << "the next call found room to wait";
}

TEST(CallServer, a_call_is_rejected_as_busy_when_too_many_wait) {
    struct Row {
        const char* when;
        CallServer::Limits limits;
    };
    const Row rows[] = {{"of too many calls", {.calls = 1, .waitingCalls = 1}},
                        {"of too large ones", {.calls = 1, .waitingBytes = 300}}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        CallServerStage stage{row.limits};
        CompanionClient running{stage.support()};
        running.request("wait", MCPValue::object({{"text", std::string(1000, 'x')}}), "A");
        ASSERT_TRUE(stage.started.reaches(1));
        CompanionClient waiting{stage.support()};
        waiting.request("echo", MCPValue::object({{"text", "x"}}), "B");
        CompanionClient third{stage.support()};
        third.request("echo", MCPValue::object({{"text", std::string(150, 'x')}}), "C");
        const auto response = third.response();
        EXPECT_TRUE(isFailure(response));
        EXPECT_EQ(textOf(response), "Vostel is busy with too many calls at the moment; please try again later.");
        CompanionClient{stage.support()}.cancel("A");
        EXPECT_EQ(textOf(waiting.response()), "x");
    });
}

TEST(CallServer, a_connection_above_the_limit_waits_to_be_accepted) {
    CallServerStage stage{{.connections = 1, .calls = 1, .frameTimeout = 50ms}};
    CompanionClient silent{stage.support()};
    EXPECT_TRUE(stage.serves()) << "the silent connection was closed";
}

TEST(CallServer, a_call_is_rejected_as_busy_if_no_thread_can_be_started) {
    const vostel_tests::TemporaryFolder folder;
    const ToolTable tools{{"echo", [](const ToolCall&) { return succeeded("x"); }}};
    const auto noThreads = [](posix::ThreadName, const std::function<void()>&) {
        return std::expected<void, PosixError>{std::unexpected(PosixError{EAGAIN})};
    };
    const auto server = CallServer::make(*ListeningSocket::open(folder.path()), tools, noThreads, {}).value();
    std::thread thread{[&] { EXPECT_TRUE(server->run()); }};
    {
        CompanionClient client{folder.path()};
        client.request("echo", nothing);
        EXPECT_TRUE(textOf(client.response()).starts_with("Vostel is busy"));
    }
    server->stop();
    thread.join();
}

TEST(CallServer, stopping_cancels_running_calls_and_removes_the_socket) {
    CallServerStage stage;
    CompanionClient running{stage.support()};
    running.request("wait", nothing);
    CompanionClient idle{stage.support()};
    ASSERT_TRUE(stage.started.reaches(1));
    EXPECT_TRUE(stage.stop());
    EXPECT_TRUE(stage.stopped.reaches(1));
    EXPECT_EQ(textOf(running.response()), "cancelled");
    EXPECT_TRUE(idle.isClosed());
    EXPECT_FALSE(CompanionClient{stage.support()}.connected());
    EXPECT_FALSE(std::filesystem::exists(stage.support() / "com.vostel.vostel/mcp.sock"));
}

TEST(CallServer, stopping_does_not_wait_for_a_peer_that_does_not_read) {
    CallServerStage stage{{.drainTimeout = 20ms}};
    CompanionClient client{stage.support()};
    client.request("long", nothing);
    CompanionClient other{stage.support()};
    other.request("echo", MCPValue::object({{"text", "x"}}));
    ASSERT_TRUE(other.response());
    EXPECT_TRUE(stage.stop());
    EXPECT_FALSE(client.response());
}

TEST(CallServer, stopping_answers_waiting_calls) {
    CallServerStage stage{{.calls = 1}};
    CompanionClient running{stage.support()};
    running.request("wait", nothing);
    ASSERT_TRUE(stage.started.reaches(1));
    CompanionClient waiting{stage.support()};
    waiting.request("stubborn", nothing, "B");
    // The server has closed a later connection, so it has seen the earlier one.
    CompanionClient garbage{stage.support()};
    garbage.sendFrame("");
    ASSERT_TRUE(garbage.isClosed());
    EXPECT_TRUE(stage.stop());
    EXPECT_EQ(textOf(waiting.response()), "The call was cancelled.");
}

TEST(CallServer, stopping_does_not_wait_forever_for_a_call_that_ignores_its_cancellation) {
    CallServerStage stage{{.drainTimeout = 20ms, .exitTimeout = 20ms}};
    CompanionClient client{stage.support()};
    client.request("stubborn", nothing);
    ASSERT_TRUE(stage.started.reaches(1));
    EXPECT_FALSE(stage.stop());
    EXPECT_FALSE(client.response());
}

TEST(CallServer, sleeps_while_nothing_happens) {
    CallServerStage stage;
    CompanionClient waiting{stage.support()};
    waiting.request("stubborn", nothing);
    CompanionClient gone{stage.support()};
    gone.request("stubborn", nothing);
    ASSERT_TRUE(stage.started.reaches(2));
    // A connection whose peer hung up is always readable. The server must not poll it while the call runs.
    gone.hangUp();
    ASSERT_TRUE(stage.serves());
    const std::clock_t before = std::clock();
    ::poll(nullptr, 0, 200);
    const double busy = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    EXPECT_LT(busy, 0.1);
    stage.released.add();
    EXPECT_EQ(textOf(waiting.response()), "released");
}

} // namespace vostel_companion
