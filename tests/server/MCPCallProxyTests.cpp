#include "tests/server/Forwarding.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_mcp {
namespace {

using vostel_tests::Forwarding;
using vostel_tests::frame;
using vostel_tests::ScriptedPeer;

using Lines = std::vector<std::string>;

/// A tools/call whose id and further params are given as JSON.
std::string call(const std::string& id, const std::string& params = R"("arguments":{})") {
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"tools/call","params":{"name":"transcribe_file",)" + params +
           "}}";
}

std::string cancel(const std::string& id) {
    return R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)" + id + "}}";
}

std::string progressFrame(int number, const std::string& fraction, const std::string& more = {}) {
    return frame(R"({"kind":"progress","payload":{"fraction":)" + fraction + R"(,"requestID":")" +
                 Forwarding::wireID(number) + "\"" + more + "}}");
}

std::string result(const std::string& id, const std::string& value) {
    return R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)" + value + "}";
}

std::string error(const std::string& code, const std::string& message, const std::string& id = "1") {
    return R"({"error":{"code":)" + code + R"(,"message":")" + message + R"("},"id":)" + id + R"(,"jsonrpc":"2.0"})";
}

constexpr const char* withToken = R"("_meta":{"progressToken":7})";
const std::string halfway =
    R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.5,"progressToken":7,"total":1}})";

class MCPCallProxyTest : public testing::Test, protected Forwarding {
protected:
    /// The arguments that the application receives for a call with `params`.
    std::string forwardedArguments(const std::string& params) {
        ScriptedPeer& peer = application.answers({answer("{}")});
        handle(call("1", params));
        threads.runAll();
        const std::string request = peer.received();
        const std::string before = R"({"kind":"request","payload":{"arguments":)";
        const std::string after = R"(,"clientInfo":{"name":"Some Client","version":"1.2"},)";
        const auto end = request.find(after);
        if (request.substr(4, before.size()) != before || end == request.npos) return "unexpected: " + request;
        return request.substr(4 + before.size(), end - 4 - before.size());
    }
};

TEST_F(MCPCallProxyTest, a_call_reaches_the_application_under_a_wire_ID_and_comes_back_under_its_own) {
    ScriptedPeer& peer = application.answers({answer(R"({"content":[],"isError":false})")});
    handle(call(R"("abc")", R"("arguments":{"path":"/a/b.wav"})"));
    threads.runAll();
    EXPECT_EQ(peer.received(),
              frame(R"({"kind":"request","payload":{"arguments":{"path":"/a/b.wav"},"clientInfo":)"
                    R"({"name":"Some Client","version":"1.2"},"protocolVersion":4,)"
                    R"("requestID":"00000000-0000-0000-0000-000000000001","tool":"transcribe_file"}})"));
    EXPECT_EQ(output.takeLines(), Lines{result(R"("abc")", R"({"content":[],"isError":false})")});
}

TEST_F(MCPCallProxyTest, the_result_is_forwarded_without_being_read) {
    const std::string results[] = {"null", "7", R"("text")", R"([{"b":1,"a":[null]}])",
                                   R"({"content":"not even an array","unknown":1.5})"};
    for (const std::string& value : results) {
        SCOPED_TRACE(value);
        application.answers({answer(value)});
        handle(call("1"));
        threads.runAll();
        const std::string sorted = value == results[3] ? R"([{"a":[null],"b":1}])" : value;
        EXPECT_EQ(output.takeLines(), Lines{result("1", sorted)});
    }
}

TEST_F(MCPCallProxyTest, every_large_part_of_a_call_counts_as_memory_to_return) {
    const std::string large = '"' + std::string(60'000, 'a') + '"';
    struct Row {
        const char* when;
        std::string id, params, result;
        bool counts;
    };
    const Row rows[] = {
        {"all small", "1", "", "{}", false},
        // Only the id of a response does not come over the socket.
        {"the response", large, "", "{}", true},
        {"the request", "1", R"("arguments":)" + large, "{}", true},
        {"an answer that cannot be read", "1", "", large + "?", true},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        Forwarding forwarding;
        const std::string bytes = Forwarding::answer(row.result);
        // The length of the first read, and the rest.
        forwarding.application.answers({bytes.substr(0, 512), bytes.substr(std::min<std::size_t>(512, bytes.size()))});
        forwarding.handle(call(row.id, row.params.empty() ? R"("arguments":{})" : row.params));
        forwarding.threads.runAll();
        EXPECT_EQ(forwarding.trimRequests > 0, row.counts);
    });
}

TEST_F(MCPCallProxyTest, a_call_whose_name_is_not_a_string_is_refused_at_once) {
    struct Row {
        const char* when;
        std::string params;
    };
    const Row rows[] = {
        {"no params", ""},
        {"null", R"(,"params":null)"},
        {"an array", R"(,"params":["name"])"},
        {"no name", R"(,"params":{"arguments":{"name":"x"}})"},
        {"the name is null", R"(,"params":{"name":null})"},
        {"the name is a number", R"(,"params":{"name":7})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        handle(R"({"jsonrpc":"2.0","id":1,"method":"tools/call")" + row.params + "}");
        EXPECT_EQ(output.takeLines(), Lines{error("-32602", "tools/call requires params.name")});
        EXPECT_EQ(threads.waitingCount(), 0U);
    });
}

TEST_F(MCPCallProxyTest, arguments_of_any_type_are_forwarded_and_missing_ones_become_an_empty_object) {
    struct Row {
        const char* when;
        std::string params;
        std::string forwarded;
    };
    const Row rows[] = {
        {"missing", R"("other":1)", "{}"},
        {"null", R"("arguments":null)", "null"},
        {"an object", R"("arguments":{"path":"/a"})", R"({"path":"/a"})"},
        {"an array", R"("arguments":[1,2.5])", "[1,2.5]"},
        {"a string", R"("arguments":"a")", R"("a")"},
        {"false", R"("arguments":false)", "false"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(forwardedArguments(row.params), row.forwarded); });
}

TEST_F(MCPCallProxyTest, progress_carries_the_token_as_the_client_gave_it) {
    for (const std::string token : {"7", "1.5", R"("t1")", "true", "null", "[1,\"a\"]", R"({"a":{}})"}) {
        SCOPED_TRACE(token);
        Forwarding forwarding;
        forwarding.application.answers({progressFrame(1, "0.5"), Forwarding::answer("{}")});
        forwarding.handle(call("1", R"("_meta":{"progressToken":)" + token + "}"));
        forwarding.threads.runAll();
        EXPECT_EQ(forwarding.output.takeLines(),
                  (Lines{R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.5,)"
                         R"("progressToken":)" +
                             token + R"(,"total":1}})",
                         result("1", "{}")}));
    }
}

TEST_F(MCPCallProxyTest, without_a_token_there_is_only_the_response) {
    struct Row {
        const char* when;
        std::string params;
    };
    const Row rows[] = {
        {"no _meta", R"("arguments":{"_meta":{"progressToken":7}})"},
        {"_meta is null", R"("_meta":null)"},
        {"_meta is a string", R"("_meta":"progressToken")"},
        {"_meta is an array", R"("_meta":["progressToken",7])"},
        {"_meta holds none", R"("_meta":{"token":7})"},
        {"the token is in params itself", R"("progressToken":7)"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Forwarding forwarding;
        forwarding.application.answers({progressFrame(1, "0.5"), Forwarding::answer("{}")});
        forwarding.handle(call("1", row.params));
        forwarding.threads.runAll();
        EXPECT_EQ(forwarding.output.takeLines(), Lines{result("1", "{}")});
    });
}

TEST_F(MCPCallProxyTest, progress_comes_in_order_before_the_response_and_all_of_one_read_in_one_write) {
    application.answers({progressFrame(1, "0.25", R"(,"message":"a quarter")") + progressFrame(1, "0.5"),
                         progressFrame(1, "1") + answer("{}")});
    handle(call("1", R"("_meta":{"progressToken":7})"));
    threads.runAll();
    EXPECT_EQ(output.writes(), 3U);
    EXPECT_EQ(output.takeLines(),
              (Lines{R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"message":"a quarter",)"
                     R"("progress":0.25,"progressToken":7,"total":1}})",
                     R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.5,)"
                     R"("progressToken":7,"total":1}})",
                     R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":1,)"
                     R"("progressToken":7,"total":1}})",
                     result("1", "{}")}));
}

TEST_F(MCPCallProxyTest, progress_of_an_unknown_call_is_dropped) {
    application.answers({progressFrame(9, "0.5") + answer("{}")});
    handle(call("1", R"("_meta":{"progressToken":7})"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
}

TEST_F(MCPCallProxyTest, every_failure_is_an_internal_error_with_a_sentence_for_the_user) {
    struct Row {
        const char* when;
        std::function<void(Forwarding&)> arrange;
        std::string message;
    };
    const auto answering = [](std::string piece, ScriptedPeer::Ending ending = ScriptedPeer::Ending::endOfStream) {
        return [piece, ending](Forwarding& f) { f.application.answers({piece}, ending); };
    };
    const Row rows[] = {
        {"the application speaks another version",
         answering(frame(R"({"kind":"response","payload":{"requestID":"any","error":)"
                         R"({"kind":"versionMismatch","helper":4,"app":5}}})")),
         "Vostel MCP wire protocol mismatch (helper v4, app v5). Restart the Vostel MCP server — quit and relaunch "
         "your AI client so it spawns vostel-mcp again."},
        {"the application refused an oversized frame",
         answering(frame(R"({"kind":"response","payload":{"requestID":"any","error":)"
                         R"({"kind":"frameTooLarge","declared":70000000,"limit":67108864}}})")),
         "Vostel MCP frame of 70000000 bytes exceeds the 67108864-byte limit and was rejected."},
        {"the application cannot be launched", [](Forwarding& f) { f.launcher.fail(); },
         "Vostel could not be launched automatically. Please open Vostel yourself and try again."},
        {"the application never listens", [](Forwarding&) {},
         "Vostel did not become ready within 120 seconds after launch. Please open Vostel yourself and try again."},
        {"the connection closes first", answering(progressFrame(1, "0.5")),
         "Vostel closed the connection before it answered. Please try again."},
        {"the application has died", answering("", ScriptedPeer::Ending::gone),
         "Vostel could not be reached: Broken pipe."},
        {"the application sends an oversized frame", answering({"\x04\0\0\x01", 4}),
         "Vostel MCP frame of 67108865 bytes exceeds the 67108864-byte limit and was rejected."},
        {"no JSON", answering(frame("{\"kind\":?}")),
         "Vostel sent an answer that could not be read: it is not valid JSON at byte 8."},
        {"a frame of the other direction", answering(frame(R"({"kind":"request","payload":{}})")), "*"},
        {"a response with a result and an error",
         answering(frame(R"({"kind":"response","payload":{"requestID":"any","result":1,"error":null}})")),
         "Vostel sent an answer that could not be read: Ответ провода обязан нести либо result, либо error, но не оба "
         "и не ни одного."},
        {"no thread for the exchange",
         [](Forwarding& f) {
             f.application.answers({});
             f.threads.failFrom(/*count=*/2, EAGAIN);
         },
         "Vostel could not be reached: Resource temporarily unavailable."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Forwarding forwarding;
        row.arrange(forwarding);
        forwarding.handle(call("1"));
        forwarding.threads.runAll();
        const Lines lines = forwarding.output.takeLines();
        if (row.message == "*") {
            ASSERT_EQ(lines.size(), 1U);
            EXPECT_TRUE(lines[0].starts_with(R"({"error":{"code":-32603,"message":"Vostel sent an answer that could )"
                                             "not be read: "))
                << lines[0];
        } else {
            EXPECT_EQ(lines, Lines{error("-32603", row.message)});
        }
        EXPECT_EQ(forwarding.threads.waitingCount(), 0U);
    });
}

TEST_F(MCPCallProxyTest, a_system_without_random_numbers_fails_the_call_with_a_sentence) {
    isWithoutRandomness = true;
    handle(call("1"));
    EXPECT_EQ(output.takeLines(),
              Lines{error("-32603", "The call could not be sent because the system has no random numbers: Function not "
                                    "implemented.")});
    isWithoutRandomness = false;
    application.answers({answer("{}")});
    handle(call("1"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
}

TEST_F(MCPCallProxyTest, reports_of_several_calls_that_come_together_go_to_each_call) {
    handle(call("1", withToken));
    handle(call("2"));
    handle(call("3", R"("_meta":{"progressToken":8})"));
    std::vector<VostelMCPKit::MCPProgressReports> reports;
    for (const int number : {1, 2, 3, 4}) {
        reports.emplace_back(wireID(number)).add(VostelMCPKit::MCPWireProgressText{"0.5", {}, wireID(number)});
    }
    spawn(proxy->forward(std::move(reports)), calls);
    EXPECT_EQ(output.takeLines(),
              (Lines{halfway, R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.5,)"
                              R"("progressToken":8,"total":1}})"}));
}

TEST_F(MCPCallProxyTest, a_failure_affects_only_its_own_call) {
    application.answers({});
    application.answers({answer("{}")});
    handle(call("1"));
    handle(call("2"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(),
              (Lines{error("-32603", "Vostel closed the connection before it answered. Please try again."),
                     result("2", "{}")}));
}

TEST_F(MCPCallProxyTest, responses_come_in_the_order_in_which_calls_end) {
    constexpr int count = 64;
    Lines expected;
    for (int number = 1; number <= count; ++number) {
        const std::string id = std::to_string(number);
        application.answers({answer(id)});
        handle(call(id));
        threads.runNewest();
        expected.insert(expected.begin(), result(id, id));
    }
    ASSERT_EQ(threads.waitingCount(), 64U);
    while (threads.waitingCount() > 0) threads.runNewest();
    EXPECT_EQ(output.takeLines(), expected);
}

TEST_F(MCPCallProxyTest, a_call_cancelled_before_its_request_is_written_is_not_sent_at_all) {
    struct Row {
        const char* when;
        int threadsBefore;
        bool listens;
    };
    const Row rows[] = {
        {"before it connects", 0, true},
        {"before it is written", 1, true},
        {"before it finds that no application listens", 0, false},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        Forwarding forwarding;
        if (!row.listens) forwarding.application.refuses(1);
        ScriptedPeer& peer = forwarding.application.answers({Forwarding::answer("{}")});
        forwarding.handle(call("1"));
        for (int thread = 0; thread < row.threadsBefore; ++thread) forwarding.threads.runNext();
        forwarding.handle(cancel("1"));
        forwarding.threads.runAll();
        EXPECT_EQ(peer.received(), "");
        EXPECT_EQ(forwarding.application.attempts(), 1U) << "what was never sent needs no cancellation";
        EXPECT_TRUE(forwarding.launcher.opened().empty());
        EXPECT_EQ(forwarding.output.takeLines(), Lines{});
    });
}

TEST_F(MCPCallProxyTest, a_cancellation_drops_a_response_that_waits_to_be_written) {
    vostel_tests::ManualExecutor busyOutput;
    Forwarding forwarding{busyOutput};
    forwarding.application.answers({Forwarding::answer("{}")});
    forwarding.application.answers({});
    forwarding.handle(call("1"));
    forwarding.threads.runAll();
    forwarding.handle(cancel("1"));
    busyOutput.drain();
    EXPECT_EQ(forwarding.output.takeLines(), Lines{});
}

TEST_F(MCPCallProxyTest, a_cancellation_drops_progress_that_waits_to_be_written) {
    vostel_tests::ManualExecutor busyOutput;
    Forwarding forwarding{busyOutput};
    forwarding.application.answers({progressFrame(1, "0.5"), Forwarding::answer("{}")});
    forwarding.application.answers({});
    forwarding.handle(call("1", R"("_meta":{"progressToken":7})"));
    forwarding.threads.runAll();
    forwarding.handle(cancel("1"));
    busyOutput.drain();
    EXPECT_EQ(forwarding.output.takeLines(), Lines{});
}

TEST_F(MCPCallProxyTest, a_call_cancelled_while_the_application_is_opened_keeps_waiting_and_is_never_answered) {
    launcher.hold();
    application.refuses(2);
    ScriptedPeer& peer = application.answers({answer("{}")});
    handle(call("1"));
    threads.runNext();
    ASSERT_EQ(launcher.opened().size(), 1U);
    handle(cancel("1"));
    threads.runAll();
    EXPECT_EQ(launcher.opened().size(), 1U) << "a cancellation launches nothing";
    EXPECT_EQ(threads.waitingCount(), 0U) << "no application listens, so the cancellation is not sent";

    launcher.release();
    threads.runAll();
    EXPECT_TRUE(peer.received().contains(R"("kind":"request")"));
    EXPECT_EQ(output.takeLines(), Lines{});
}

TEST_F(MCPCallProxyTest, a_call_cancelled_while_it_waits_for_the_socket_keeps_waiting_and_is_never_answered) {
    application.refuses(2);
    handle(call("1"));
    threads.runNext();
    ASSERT_EQ(threads.suffixes().back(), "socket-poll");
    handle(cancel("1"));
    threads.runNewest();
    EXPECT_EQ(threads.suffixes(), (Lines{"socket-client", "socket-poll", "socket-client"}));
    EXPECT_EQ(output.takeLines(), Lines{});

    threads.runAll();
    EXPECT_EQ(clock.sleeps().size(), 240U) << "the wait continues to its end";
    EXPECT_EQ(output.takeLines(), Lines{}) << "the time-out is not reported either";
}

TEST_F(MCPCallProxyTest, a_call_cancelled_while_it_runs_gets_no_more_progress_and_no_response) {
    application.answers({progressFrame(1, "0.25"), progressFrame(1, "0.5"), answer("{}")});
    ScriptedPeer& second = application.answers({});
    output.onWrite([this] {
        if (output.writes() == 1) handle(cancel("1"));
    });
    handle(call("1", R"("_meta":{"progressToken":7})"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(),
              Lines{R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.25,)"
                    R"("progressToken":7,"total":1}})"});
    EXPECT_EQ(second.received(), cancellation(1));
}

TEST_F(MCPCallProxyTest, a_failure_after_the_cancellation_is_not_reported) {
    application.answers({progressFrame(1, "0.5")});
    application.answers({});
    handleAfterNextWrite(cancel("1"));
    handle(call("1", withToken));
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{halfway});
}

TEST_F(MCPCallProxyTest, a_cancellation_after_the_answer_does_nothing) {
    application.answers({answer("{}")});
    handle(call("1"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
    handle(cancel("1"));
    EXPECT_EQ(threads.waitingCount(), 0U);
    EXPECT_EQ(application.attempts(), 1U);
    EXPECT_EQ(output.takeLines(), Lines{});
}

TEST_F(MCPCallProxyTest, a_second_cancellation_of_a_call_that_still_runs_is_sent_again) {
    application.answers({progressFrame(1, "0.5"), answer("{}")});
    ScriptedPeer& first = application.answers({});
    ScriptedPeer& second = application.answers({});
    output.onWrite([this] {
        handle(cancel("1"));
        handle(cancel("1"));
    });
    handle(call("1", withToken));
    threads.runAll();
    EXPECT_EQ(first.received(), cancellation(1));
    EXPECT_EQ(second.received(), cancellation(1));
    EXPECT_EQ(output.takeLines(), Lines{halfway});
}

TEST_F(MCPCallProxyTest, a_number_and_a_string_of_the_same_text_name_the_same_call) {
    struct Row {
        std::string made, cancelled;
    };
    const Row rows[] = {{R"("5")", "5"}, {"5", R"("5")"}, {"5", "5.0"}, {R"("-0")", R"("-0")"}, {"-0", "0"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.made + " cancelled as " + row.cancelled);
        Forwarding forwarding;
        forwarding.application.answers({progressFrame(1, "0.5"), Forwarding::answer("{}")});
        ScriptedPeer& second = forwarding.application.answers({});
        forwarding.handleAfterNextWrite(cancel(row.cancelled));
        forwarding.handle(call(row.made, withToken));
        forwarding.threads.runAll();
        EXPECT_EQ(second.received(), Forwarding::cancellation(1));
        EXPECT_EQ(forwarding.output.takeLines(), Lines{halfway});
    }
}

TEST_F(MCPCallProxyTest, a_cancellation_that_names_no_running_call_writes_and_sends_nothing) {
    const std::string params[] = {
        "",
        R"(,"params":null)",
        R"(,"params":[1])",
        R"(,"params":{})",
        R"(,"params":{"id":1})",
        R"(,"params":{"requestId":2})",
        R"(,"params":{"requestId":"one"})",
        R"(,"params":{"requestId":true})",
        R"(,"params":{"requestId":null})",
        R"(,"params":{"requestId":1.5})",
        R"(,"params":{"requestId":1e30})",
        R"(,"params":{"requestId":[1]})",
        R"(,"params":{"requestId":{"requestId":1}})",
    };
    application.answers({answer("{}")});
    handle(call("1"));
    threads.runNext();
    for (const std::string& given : params) {
        SCOPED_TRACE(given);
        handle(R"({"jsonrpc":"2.0","method":"notifications/cancelled")" + given + "}");
        EXPECT_EQ(threads.waitingCount(), 1U);
        EXPECT_EQ(application.attempts(), 1U);
    }
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
}

TEST_F(MCPCallProxyTest, every_other_message_is_ignored) {
    const std::string lines[] = {
        R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})",
        R"({"jsonrpc":"2.0","method":"tools/call","params":{"name":"transcribe_file"}})",
        R"({"jsonrpc":"2.0","id":1,"method":"notifications/cancelled","params":{"requestId":1}})",
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
        "[]",
        "{",
        "",
    };
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        handle(line);
        EXPECT_EQ(threads.waitingCount(), 0U);
        EXPECT_EQ(output.takeLines(), Lines{});
    }
}

TEST_F(MCPCallProxyTest, of_two_calls_with_one_ID_a_cancellation_reaches_the_newer) {
    application.answers({answer(R"("older")")});
    application.answers({progressFrame(2, "0.5"), answer(R"("newer")")});
    ScriptedPeer& third = application.answers({});
    handle(call("1"));
    threads.runNewest();
    handle(call("1", withToken));
    threads.runNewest();
    handleAfterNextWrite(cancel("1"));
    threads.runNewest();
    threads.runAll();
    EXPECT_EQ(third.received(), cancellation(2));
    EXPECT_EQ(output.takeLines(), (Lines{halfway, result("1", R"("older")")}));
}

TEST_F(MCPCallProxyTest, of_two_calls_with_one_ID_the_end_of_either_hides_the_other_from_cancellations) {
    application.answers({answer(R"("older")")});
    application.answers({answer(R"("newer")")});
    handle(call("1"));
    threads.runNewest();
    handle(call("1"));
    threads.runNewest();
    threads.runNext();
    ASSERT_EQ(output.takeLines(), Lines{result("1", R"("older")")});
    handle(cancel("1"));
    EXPECT_EQ(threads.waitingCount(), 1U) << "only the exchange of the newer call";
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", R"("newer")")});
}

TEST_F(MCPCallProxyTest, an_ID_can_be_used_again_after_its_call_has_ended) {
    for (int number = 1; number <= 2; ++number) {
        application.answers({progressFrame(number, "0.5"), answer("{}")});
        ScriptedPeer& second = application.answers({});
        handleAfterNextWrite(cancel("1"));
        handle(call("1", withToken));
        threads.runAll();
        EXPECT_EQ(second.received(), cancellation(number));
        EXPECT_EQ(output.takeLines(), Lines{halfway});
    }
    application.answers({answer("{}")});
    handle(call("1"));
    threads.runAll();
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
}

TEST_F(MCPCallProxyTest, a_call_that_outlives_the_proxy_writes_nothing) {
    ScriptedPeer& peer = application.answers({progressFrame(1, "0.5"), answer("{}")});
    handle(call("1", R"("_meta":{"progressToken":7})"));
    threads.runNext();
    proxy.reset();
    threads.runAll();
    EXPECT_TRUE(peer.clientHasClosed());
    EXPECT_EQ(output.writes(), 0U);
}

TEST_F(MCPCallProxyTest, a_response_that_cannot_be_written_is_dropped_and_the_call_ends) {
    output.nextWrite(std::unexpected(VostelMCPKit::PosixError{EPIPE}));
    for (int time = 0; time < 2; ++time) {
        application.answers({answer("{}")});
        handle(call("1"));
        threads.runAll();
    }
    EXPECT_EQ(output.takeLines(), Lines{result("1", "{}")});
    handle(cancel("1"));
    EXPECT_EQ(threads.waitingCount(), 0U) << "both calls have ended";
}

} // namespace
} // namespace vostel_mcp
