#include "server/MCPHandshake.h"
#include "tests/server/Forwarding.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_mcp {
namespace {

using namespace VostelMCPKit;
using vostel_tests::Forwarding;
using vostel_tests::ManualExecutor;
using vostel_tests::ScriptedPeer;

using Lines = std::vector<std::string>;

const std::string someCall = R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"models_list"}})";
const std::string ping = R"({"jsonrpc":"2.0","id":7,"method":"ping"})";
const std::string pong = R"({"error":{"code":-32601,"message":"Method not found: ping"},"id":7,"jsonrpc":"2.0"})";
const std::string cancelled = R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":1}})";

std::string initialize(const std::string& params, const std::string& id = R"("id":0,)") {
    return R"({"jsonrpc":"2.0",)" + id + R"("method":"initialize","params":)" + params + "}";
}

/// The server loop on an executor that the test drains, with the fakes of Forwarding.
class MCPHandshakeTest : public testing::Test, protected Forwarding {
protected:
    void TearDown() override {
        lines.finish();
        mainThread.drain();
    }

    void serve(MCPHandshake& handshake) {
        spawn(watching(handshake, &ended), mainThread);
        mainThread.drain();
    }
    /// The lines that are written while the loop handles `input`.
    Lines take(Lines input) {
        lines.push(std::move(input));
        mainThread.drain();
        return output.takeLines();
    }
    /// The client information that the application receives with a call.
    std::string forwardedClientInfo() {
        ScriptedPeer& peer = application.answers({answer("{}")});
        std::ignore = take({someCall});
        threads.runAll();
        std::ignore = output.takeLines();
        const std::string request = peer.received();
        const std::string key = R"("clientInfo":)";
        const auto begin = request.find(key) + key.size();
        return request.substr(begin, request.find('}', begin) + 1 - begin);
    }

    ManualExecutor mainThread;
    LineChannel lines;
    bool ended = false;

private:
    static Task<void> watching(MCPHandshake& handshake, bool* ended) {
        co_await handshake.serve();
        *ended = true;
    }
};

TEST_F(MCPHandshakeTest, before_any_initialize_the_client_is_unknown) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    EXPECT_EQ(forwardedClientInfo(), R"({"name":"unknown client"})");
}

TEST_F(MCPHandshakeTest, the_last_initialize_with_a_client_name_identifies_the_client) {
    struct Row {
        const char* when;
        std::string line;
        std::string identity;
    };
    const Row rows[] = {
        {"name and version", initialize(R"({"clientInfo":{"name":"A","version":"1"}})"),
         R"({"name":"A","version":"1"})"},
        {"a later one replaces it whole", initialize(R"({"clientInfo":{"name":"B"}})"), R"({"name":"B"})"},
        {"a version that is not a string counts as absent", initialize(R"({"clientInfo":{"name":"C","version":2}})"),
         R"({"name":"C"})"},
        {"without client information it stays", initialize(R"({"protocolVersion":"2025-06-18"})"), R"({"name":"C"})"},
        {"without a name it stays", initialize(R"({"clientInfo":{"version":"9"}})"), R"({"name":"C"})"},
        {"with a name that is not a string it stays", initialize(R"({"clientInfo":{"name":7}})"), R"({"name":"C"})"},
        {"a notification does not count", initialize(R"({"clientInfo":{"name":"D"}})", /*id=*/""), R"({"name":"C"})"},
        {"another method does not count",
         R"({"jsonrpc":"2.0","id":1,"method":"Initialize","params":{"clientInfo":{"name":"D"}}})", R"({"name":"C"})"},
    };
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        std::ignore = take({row.line});
        EXPECT_EQ(forwardedClientInfo(), row.identity);
    });
}

TEST_F(MCPHandshakeTest, replies_come_in_the_order_of_their_requests_and_only_requests_get_one) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    const Lines replies = take({
        initialize(R"({"protocolVersion":"2024-11-05"})"),
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
        "",
        "  \r",
        ping,
        "not JSON",
        R"({"jsonrpc":"2.0","id":null,"method":"ping"})",
        "[]",
        R"({"jsonrpc":"2.0","method":"tools/call","params":{"name":"models_list"}})",
        R"({"jsonrpc":"2.0","id":"d","method":"server/discover"})" + std::string{"\r"},
    });
    EXPECT_EQ(
        replies,
        (Lines{
            R"({"id":0,"jsonrpc":"2.0","result":{"capabilities":{"tools":{"listChanged":false}},)"
            R"("protocolVersion":"2024-11-05","serverInfo":{"name":"vostel-mcp","version":"4"}}})",
            pong,
            R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})",
            R"({"error":{"code":-32600,"message":"Invalid Request"},"id":null,"jsonrpc":"2.0"})",
            R"({"error":{"code":-32600,"message":"Batch requests are not supported"},"id":null,"jsonrpc":"2.0"})",
            R"({"id":"d","jsonrpc":"2.0","result":{"versions":["2024-11-05","2025-03-26","2025-06-18","2025-11-25"]}})",
        }));
    EXPECT_EQ(threads.waitingCount(), 0U);
    EXPECT_FALSE(ended);
}

TEST_F(MCPHandshakeTest, the_tool_for_video_links_is_listed_when_it_is_available) {
    for (const bool available : {true, false}) {
        SCOPED_TRACE(available);
        LineChannel other;
        ManualExecutor executor;
        MCPHandshake handshake{other, standardOutput, proxy, available, memory};
        other.push({R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})"});
        other.finish();
        spawn(handshake.serve(), executor);
        executor.drain();
        const Lines replies = output.takeLines();
        ASSERT_EQ(replies.size(), 1U);
        EXPECT_EQ(replies[0].contains(R"("name":"transcribe_url")"), available);
        EXPECT_TRUE(replies[0].contains(R"("name":"transcribe_file")"));
    }
}

TEST_F(MCPHandshakeTest, the_next_line_is_not_read_before_the_reply_to_this_one_is_written) {
    ManualExecutor slowOutput;
    MCPStdoutWriter slowWriter{slowOutput, output.attempt()};
    MCPHandshake handshake{lines, slowWriter, proxy, true, memory};
    serve(handshake);
    EXPECT_EQ(take({ping, someCall}), Lines{});
    EXPECT_EQ(threads.waitingCount(), 0U);
    slowOutput.drain();
    EXPECT_EQ(output.takeLines(), Lines{pong});
    EXPECT_EQ(threads.waitingCount(), 0U);
    mainThread.drain();
    EXPECT_EQ(threads.waitingCount(), 1U) << "now the call has begun";
}

TEST_F(MCPHandshakeTest, a_long_call_does_not_delay_the_reply_to_a_later_request) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    application.answers({answer("{}")});
    EXPECT_EQ(take({someCall, ping}), Lines{pong});
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{R"({"id":1,"jsonrpc":"2.0","result":{}})"});
}

TEST_F(MCPHandshakeTest, a_cancellation_that_the_application_does_not_accept_delays_no_later_line) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    application.refuses(1);
    EXPECT_EQ(take({someCall}), Lines{});
    threads.runNext();
    ASSERT_EQ(threads.suffixes().back(), "socket-poll") << "from here on, cancellations are sent";
    EXPECT_EQ(take({cancelled, ping}), Lines{pong});
    EXPECT_EQ(threads.suffixes().back(), "socket-client") << "the cancellation is still connecting";
    EXPECT_EQ(threads.waitingCount(), 2U);
}

TEST_F(MCPHandshakeTest, when_forwarding_is_impossible_every_call_fails_and_the_rest_works) {
    const ConnectError tooLong{ConnectError::SocketPathTooLong{"/long", 104, 103}};
    MCPHandshake handshake{lines, standardOutput, std::unexpected(tooLong), true, memory};
    serve(handshake);
    const std::string refusal =
        R"({"error":{"code":-32603,"message":"Vostel MCP socket path '/long' is 104 bytes, over the 103-byte sun_path )"
        R"(limit. Shorten your macOS username or home directory path."},"id":1,"jsonrpc":"2.0"})";
    EXPECT_EQ(take({someCall}), Lines{refusal});
    EXPECT_EQ(take({R"({"jsonrpc":"2.0","id":1,"method":"tools/call"})"}), Lines{refusal})
        << "its params do not matter";
    EXPECT_EQ(take({cancelled}), Lines{});
    EXPECT_EQ(take({ping}), Lines{pong});
    EXPECT_TRUE(take({initialize("{}")}).at(0).contains(R"("protocolVersion":"2025-06-18")"));
    EXPECT_TRUE(take({R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})"}).at(0).contains(R"("tools":[{)"));
    EXPECT_EQ(take({someCall}), Lines{refusal});
}

TEST_F(MCPHandshakeTest, a_reply_that_cannot_be_written_is_dropped_and_the_loop_continues) {
    struct Row {
        const char* when;
        vostel_tests::RecordingOutput::Written outcome;
    };
    const Row rows[] = {
        {"a system error", std::unexpected(PosixError{EIO})},
        {"no progress", 0},
        {"a negative count", -1},
    };
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        output.nextWrite(row.outcome);
        EXPECT_EQ(take({initialize("{}"), ping}), Lines{pong});
    });
}

TEST_F(MCPHandshakeTest, a_reply_that_is_taken_in_parts_is_finished) {
    output.nextWrite(3);
    output.nextWrite(1);
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    EXPECT_EQ(take({ping}), Lines{pong});
    EXPECT_EQ(output.writes(), 3U);
}

TEST_F(MCPHandshakeTest, what_was_written_before_a_failure_stays_written) {
    output.nextWrite(3);
    output.nextWrite(std::unexpected(PosixError{EIO}));
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    EXPECT_EQ(take({ping}), Lines{"unfinished: " + pong.substr(0, 3)});
    EXPECT_EQ(output.writes(), 2U);
}

TEST_F(MCPHandshakeTest, the_end_of_input_ends_the_loop_and_leaves_running_calls_alone) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    EXPECT_EQ(take({someCall, ping}), Lines{pong});
    lines.finish();
    mainThread.drain();
    EXPECT_TRUE(ended);
    EXPECT_EQ(threads.waitingCount(), 1U) << "neither awaited nor cancelled";
    EXPECT_EQ(output.takeLines(), Lines{});
}

TEST_F(MCPHandshakeTest, every_large_line_counts_as_memory_to_return) {
    const std::string large = '"' + std::string(100'000, 'a') + '"';
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    const std::string given[] = {
        R"({"jsonrpc":"2.0","method":"notifications/other","params":)" + large + "}",
        R"({"jsonrpc":"2.0","id":)" + large + R"(,"method":"ping"})",
        large,
        large.substr(1),
    };
    for (const std::string& line : given) {
        SCOPED_TRACE(line.substr(0, 50));
        trimRequests = 0;
        std::ignore = take({line});
        EXPECT_GT(trimRequests, 0);
    }
    trimRequests = 0;
    EXPECT_EQ(take({ping}), Lines{pong});
    EXPECT_EQ(trimRequests, 0);
}

TEST_F(MCPHandshakeTest, many_empty_lines_count_as_memory_to_return) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    std::ignore = take(Lines(2'000, ""));
    EXPECT_GT(trimRequests, 0);
}

TEST_F(MCPHandshakeTest, a_large_line_is_forwarded_or_refused_like_a_small_one) {
    struct Row {
        const char* when;
        std::string line;
    };
    const auto withParams = [](const std::string& params) {
        return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":)" + params + "}";
    };
    // The small line is the row's text. In the large line, many letters replace the @.
    const Row rows[] = {
        {"our own form", withParams(R"({"arguments":{"a":"@","b":[1]},"name":"t"})")},
        {"another form", withParams(R"({"name":"t", "arguments":{"b":1.0,"a":"@"},"_meta":{"progressToken":7}})")},
        {"arguments that are not an object", withParams(R"({"name":"t","arguments":"@"})")},
        {"no arguments", withParams(R"({"name":"t","_meta":"@"})")},
        {"arguments of null", withParams(R"({"name":"t","arguments":null,"_meta":"@"})")},
        {"arguments twice", withParams(R"({"name":"t","arguments":1,"arguments":{"b":1,"a":"@"}})")},
        {"no name", withParams(R"({"arguments":"@"})")},
        {"a name of another type", withParams(R"({"name":7,"arguments":"@"})")},
        {"an invalid ID", R"({"id":null,"method":"tools/call","params":{"name":"t","arguments":"@"}})"},
        {"no JSON", withParams(R"({"name":"t","arguments":["@",]})")},
        {"no JSON after the arguments", withParams(R"({"name":"t","arguments":"@"]})")},
        {"another method", R"({"id":1,"method":"ping","params":{"name":"t","arguments":"@"}})"},
        {"a batch", R"( [{"id":1,"method":"ping"}, "@"])"},
        {"a batch with a key twice", R"([{"\t":"@","\t":1}])"},
        {"a batch that is not JSON", R"(["@",])"},
        {"a text", R"("@")"},
    };
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    ScriptedPeer* next = nullptr;
    /// What the client receives, and what the application receives without the id of the call.
    const auto outcomeOf = [&](const std::string& line, const std::string& filling) {
        std::string filled = line;
        filled.replace(filled.find('@'), 1, filling);
        const std::size_t before = application.attempts();
        if (next == nullptr) next = &application.answers({answer("{}")});
        Lines outcome = take({filled});
        threads.runAll();
        for (std::string& later : output.takeLines()) outcome.push_back(std::move(later));
        if (application.attempts() == before) return outcome;
        std::string received = std::exchange(next, nullptr)->received().substr(4);
        const std::string key = R"("requestID":")";
        received.erase(received.find(key) + key.size(), 36);
        if (const auto at = received.find(filling); at != received.npos) received.replace(at, filling.size(), "@");
        outcome.push_back(std::move(received));
        return outcome;
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const Lines small = outcomeOf(row.line, "@");
        EXPECT_EQ(outcomeOf(row.line, std::string(100'000, 'x')), small);
        EXPECT_FALSE(small.empty());
    });
}

TEST_F(MCPHandshakeTest, no_message_ends_the_loop) {
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};
    serve(handshake);
    std::ignore =
        take({R"({"jsonrpc":"2.0","id":1,"method":"shutdown"})", R"({"jsonrpc":"2.0","method":"exit"})", "\x04"});
    EXPECT_FALSE(ended);
    EXPECT_EQ(take({ping}), Lines{pong});
}

} // namespace
} // namespace vostel_mcp
