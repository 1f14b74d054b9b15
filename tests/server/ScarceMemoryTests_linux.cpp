// A failed allocation for a peer's data must fail only one message.

#include "kit/stdio/MCPLineBuffer.h"
#include "kit/support/outOfMemory.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/FileDescriptor.h"
#include "server/MCPHandshake.h"
#include "server/MCPStdio.h"
#include "tests/server/Forwarding.h"
#include "tests/support/FakeThreads.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sys/socket.h>

namespace {

/// Allocations of at least this many bytes depend on what a peer sends.
constexpr std::size_t large = 16'384;
/// How many large allocations succeed before one fails.
std::atomic<int> successesLeft = std::numeric_limits<int>::max();

bool mustFail(std::size_t size) { return size >= large && successesLeft-- == 0; }

} // namespace

// The linker sends every call of malloc, realloc and operator new here.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __real__Znwm(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size);
void* __wrap__Znwm(std::size_t size);
}
void* __wrap_malloc(std::size_t size) { return mustFail(size) ? nullptr : __real_malloc(size); }
void* __wrap_realloc(void* memory, std::size_t size) { return mustFail(size) ? nullptr : __real_realloc(memory, size); }
void* __wrap__Znwm(std::size_t size) {
    if (mustFail(size)) VostelMCPKit::outOfMemory();
    return __real__Znwm(size);
}

namespace vostel_mcp::scarcememory {

// The library's function and the tests' wrapper around it, by their names for the linker.
using Lines = std::vector<std::string>;
Lines realAppend(VostelMCPKit::MCPLineBuffer* buffer, std::string_view bytes) asm(
    "__real__ZN12VostelMCPKit13MCPLineBuffer6appendB5cxx11ESt17basic_string_viewIcSt11char_traitsIcEE");
Lines wrapAppend(VostelMCPKit::MCPLineBuffer* buffer, std::string_view bytes) asm(
    "__wrap__ZN12VostelMCPKit13MCPLineBuffer6appendB5cxx11ESt17basic_string_viewIcSt11char_traitsIcEE");

/// The bytes at which the allocation for a line fails.
std::string_view tooMuch;

Lines wrapAppend(VostelMCPKit::MCPLineBuffer* buffer, std::string_view bytes) {
    if (!tooMuch.empty() && bytes == tooMuch) VostelMCPKit::outOfMemory();
    return realAppend(buffer, bytes);
}

namespace {

using namespace VostelMCPKit;
using vostel_tests::FakeThreads;
using vostel_tests::Forwarding;
using vostel_tests::frame;
using vostel_tests::ManualExecutor;

TEST(ScarceMemory, a_line_that_is_too_large_to_keep_is_dropped_and_its_rest_is_read_as_a_line) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    const posix::FileDescriptor reading{ends[0]};
    {
        const posix::FileDescriptor writing{ends[1]};
        // Each piece is the result of one read.
        for (const std::string_view piece : {"first\nlo", "ng li", "ne\nlast\n"}) {
            ASSERT_EQ(::send(writing.get(), piece.data(), piece.size(), 0), static_cast<ssize_t>(piece.size()));
        }
    }
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::atOnce};
    tooMuch = "ng li";
    EXPECT_TRUE(MCPStdio::startReadingLines(reading.get(), channel, threads.starter()));
    tooMuch = {};
    ManualExecutor executor;
    Lines lines;
    for (auto line = executor.run(channel.next()); line && *line; line = executor.run(channel.next())) {
        lines.push_back(**std::move(line));
    }
    EXPECT_EQ(lines, (Lines{"first", "ne", "last"}));
}

TEST(ScarceMemory, the_lines_around_a_line_that_is_too_large_to_keep_are_read) {
    const std::string part(30'000, 'x');
    int failures = 0;
    for (bool hasFailed = true; hasFailed; ++failures) {
        SCOPED_TRACE(failures);
        vostel_tests::ScriptedPeer client{{"first\n" + part, part, part + "\nlast\n"}};
        const posix::FileDescriptor reading = client.takeClientEnd();
        LineChannel channel;
        FakeThreads threads{FakeThreads::Run::atOnce};
        successesLeft = failures;
        EXPECT_TRUE(MCPStdio::startReadingLines(reading.get(), channel, threads.starter()));
        hasFailed = successesLeft.exchange(std::numeric_limits<int>::max()) < 0;
        ManualExecutor executor;
        Lines lines;
        for (auto line = executor.run(channel.next()); line && *line; line = executor.run(channel.next())) {
            lines.push_back(**std::move(line));
        }
        ASSERT_GE(lines.size(), 2U);
        EXPECT_TRUE(lines.front() == "first");
        EXPECT_TRUE(lines.back() == "last");
        EXPECT_TRUE(hasFailed || lines[1] == part + part + part);
    }
    EXPECT_GT(failures, 2);
}

TEST(ScarceMemory, a_request_that_is_too_large_to_write_fails_its_call) {
    Forwarding edges;
    FakeThreads threads{FakeThreads::Run::atOnce};
    const auto client = *MCPSocketClient::make(
        "/home/me", edges.launcher.launcher(),
        {edges.application.connector(), threads.starter(), edges.clock.now(), edges.clock.sleep(), edges.memory});
    vostel_tests::ScriptedPeer& peer = edges.application.answers({});
    MCPWireRequest request{
        wireProtocolVersion, {"Some Client", std::nullopt}, "models_list", std::string(70'000, 'x'), "A"};
    ManualExecutor executor;
    successesLeft = 0;
    const auto outcome =
        executor.run(client->send({std::move(request)}, [](auto) {}, std::make_shared<CallCancellation>()));
    successesLeft = std::numeric_limits<int>::max();
    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error(), MCPSocketClient::Failure{MCPSocketClient::OutOfMemory{}});
    EXPECT_EQ(peer.received(), "");
}

/// What differs between conversations.
struct Setting {
    /// What each connection of the application sends, in pieces.
    std::vector<Lines> connections = {};
    /// Whether the path of the socket is too long.
    bool isWithoutPath = false;
    bool isWithoutRandomness = false;
};

/// A server loop that gets lines. Only its own allocations count.
struct Conversation : Forwarding {
    ManualExecutor mainThread;
    LineChannel lines;
    MCPHandshake handshake;
    std::vector<vostel_tests::ScriptedPeer*> peers;

    explicit Conversation(const Setting& setting)
        : handshake{lines, standardOutput, forwarding(setting), true, memory} {
        Forwarding::isWithoutRandomness = setting.isWithoutRandomness;
        for (const Lines& pieces : setting.connections) peers.push_back(&application.answers(pieces));
        spawn(handshake.serve(), mainThread);
    }
    ~Conversation() {
        lines.finish();
        run();
    }

    /// The server handles `line`, and its large allocation number `number` fails, counted from zero. False when it
    /// makes fewer of them.
    bool handleWithout(int number, const std::string& line) {
        lines.push({line});
        output.makeRoom(1 << 20);
        successesLeft = number;
        run();
        return successesLeft.exchange(std::numeric_limits<int>::max()) < 0;
    }
    /// The server handles `line` and has enough memory.
    void handle(const std::string& line) { handleWithout(std::numeric_limits<int>::max(), line); }

    /// The lines that were written since the last call, without progress.
    Lines takeReplies() {
        Lines replies = output.takeLines();
        std::erase_if(replies, [](const std::string& reply) { return reply.contains("notifications/progress"); });
        return replies;
    }

private:
    MCPHandshake::Forwarding forwarding(const Setting& setting) {
        if (setting.isWithoutPath)
            return std::unexpected(ConnectError{ConnectError::SocketPathTooLong{"/long", 104, 103}});
        return proxy;
    }
    void run() {
        mainThread.drain();
        threads.runAll();
        mainThread.drain();
    }
};

const std::string ping = R"({"jsonrpc":"2.0","id":"ping","method":"ping"})";
const std::string pingReply =
    R"({"error":{"code":-32601,"message":"Method not found: ping"},"id":"ping","jsonrpc":"2.0"})";

/// The replies to `line`: one for each large allocation that can fail, and as the last one the reply when none fails.
/// After each of them, the server must continue, and the same line must work.
Lines repliesWhenMemoryFails(const std::string& line, Setting setting, const std::string& before = {}) {
    // The same answers again.
    const std::vector<Lines> connections = setting.connections;
    setting.connections.insert(setting.connections.end(), connections.begin(), connections.end());
    Lines all;
    Lines repeated;
    for (bool hasFailed = true; hasFailed;) {
        SCOPED_TRACE(all.size());
        Conversation conversation{setting};
        if (!before.empty()) conversation.handle(before);
        std::ignore = conversation.takeReplies();
        hasFailed = conversation.handleWithout(static_cast<int>(all.size()), line);
        conversation.handle(ping);
        Lines replies = conversation.takeReplies();
        EXPECT_EQ(replies.size(), 2U);
        if (replies.size() != 2) return {};
        EXPECT_EQ(replies[1], pingReply);
        all.push_back(std::move(replies[0]));
        conversation.handle(line);
        for (std::string& reply : conversation.takeReplies()) repeated.push_back(std::move(reply));
    }
    EXPECT_EQ(std::ranges::count(repeated, all.back()), static_cast<std::ptrdiff_t>(all.size()));
    return all;
}

std::string error(const std::string& message, const std::string& id, const std::string& code = "-32603") {
    return R"({"error":{"code":)" + code + R"(,"message":")" + message + R"("},"id":)" + id + R"(,"jsonrpc":"2.0"})";
}
std::string result(const std::string& id, const std::string& content) {
    return R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)" + content + "}";
}
std::string call(const std::string& id, const std::string& params) {
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"tools/call","params":{)" + params + "}}";
}
const std::string tooLargeMessage = error("There is not enough memory for this message.", "null");
std::string tooLargeCall(const std::string& id) {
    return error("There is not enough memory for the call and its answer.", id);
}

TEST(ScarceMemory, whichever_large_allocation_of_a_call_fails_that_call_alone_says_so) {
    const std::string text(70'000, 'x');
    // A part of the answer's line that is not in the answer's frame, so that the line needs more memory.
    const std::string id = '"' + std::string(20'000, 'i') + '"';
    const std::string request =
        call(id, R"("name":"transcribe_file","arguments":{"path":")" + text + R"("},"_meta":{"progressToken":7})");
    const std::string sent = frame(R"({"kind":"progress","payload":{"fraction":0.5,"message":")" + text +
                                   R"(","requestID":")" + Forwarding::wireID(1) + "\"}}") +
                             Forwarding::answer('"' + text + '"');
    // The first read takes 512 bytes, each later one no more than 65,536.
    const Lines pieces{sent.substr(0, 512), sent.substr(512, 60'000), sent.substr(60'512, 60'000),
                       sent.substr(120'512)};
    const Lines replies = repliesWhenMemoryFails(request, {.connections = {pieces}});

    const std::string success = result(id, '"' + text + '"');
    const std::string failure = tooLargeCall(id);
    EXPECT_TRUE(replies.back() == success);
    EXPECT_GT(std::ranges::count(replies, tooLargeMessage), 0);
    EXPECT_GT(std::ranges::count(replies, failure), 0);
    EXPECT_GT(std::ranges::count(replies, success), 1) << "one of them lost only its progress";
    for (const std::string& reply : replies) {
        EXPECT_TRUE(reply == success || reply == failure || reply == tooLargeMessage) << reply.substr(0, 200);
    }
}

TEST(ScarceMemory, a_large_id_or_name_fails_at_most_its_own_message) {
    const std::string large = '"' + std::string(20'000, 'i') + '"';
    const Lines answer{Forwarding::answer("{}")};
    const Lines answerAfterProgress{
        frame(R"({"kind":"progress","payload":{"fraction":0.5,"requestID":")" + Forwarding::wireID(1) + "\"}}"),
        answer[0]};
    struct Row {
        const char* when;
        std::string line;
        std::string id;
        std::string reply;
        Setting setting = {};
        std::string before = {};
    };
    const Row rows[] = {
        {"the id of a call",
         call(large, R"("name":"models_list")"),
         large,
         result(large, "{}"),
         {.connections = {answer}}},
        {"the id of a call that gets no answer",
         call(large, R"("name":"models_list")"),
         large,
         error("Vostel closed the connection before it answered. Please try again.", large),
         {.connections = {Lines{}}}},
        {"the id of a call without a name", call(large, ""), large,
         error("tools/call requires params.name", large, "-32602")},
        {"the id of a call while there are no random numbers",
         call(large, R"("name":"models_list")"),
         large,
         error("The call could not be sent because the system has no random numbers: Function not implemented.", large),
         {.isWithoutRandomness = true}},
        {"the id of a call without a path",
         call(large, R"("name":"models_list")"),
         large,
         error(ConnectError{ConnectError::SocketPathTooLong{"/long", 104, 103}}.errorDescription(), large),
         {.isWithoutPath = true}},
        {"the name of a tool", call("1", R"("name":)" + large), "1", result("1", "{}"), {.connections = {answer}}},
        {"a progress token",
         call("1", R"("name":"models_list","_meta":{"progressToken":)" + large + "}"),
         "1",
         result("1", "{}"),
         {.connections = {answerAfterProgress}}},
        {"the name of the client",
         call("1", R"("name":"models_list")"),
         "1",
         result("1", "{}"),
         {.connections = {answer}},
         R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{"clientInfo":{"name":)" + large + "}}}"},
        {"the id of another request", R"({"jsonrpc":"2.0","id":)" + large + R"(,"method":"ping"})", large,
         error("Method not found: ping", large, "-32601")},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Lines replies = repliesWhenMemoryFails(row.line, row.setting, row.before);
        ASSERT_GT(replies.size(), 1U);
        EXPECT_TRUE(replies.back() == row.reply) << replies.back().substr(0, 300);
        for (const std::string& reply : replies) {
            EXPECT_TRUE(reply == row.reply || reply == tooLargeCall(row.id) || reply == tooLargeMessage)
                << reply.substr(0, 300);
        }
    });
}

TEST(ScarceMemory, a_cancellation_with_a_large_id_is_refused_or_takes_effect) {
    const std::string id = '"' + std::string(20'000, 'i') + '"';
    const std::string cancellation =
        R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)" + id + "}}";
    int refused = 0;
    int failures = 0;
    for (bool hasFailed = true; hasFailed; ++failures) {
        SCOPED_TRACE(failures);
        Conversation conversation{{.connections = {{Forwarding::answer("{}")}}}};
        // The call does not reach the application before the cancellation.
        conversation.lines.push({call(id, R"("name":"models_list")")});
        conversation.mainThread.drain();
        hasFailed = conversation.handleWithout(failures, cancellation);
        conversation.handle(ping);
        const Lines replies = conversation.takeReplies();
        if (replies.front() == tooLargeMessage) {
            ++refused;
            EXPECT_EQ(replies, (Lines{tooLargeMessage, result(id, "{}"), pingReply}));
        } else {
            EXPECT_EQ(replies, Lines{pingReply});
            EXPECT_EQ(conversation.peers[0]->received(), "");
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, failures) << "without a failed allocation the cancellation takes effect";
}

TEST(ScarceMemory, a_reply_that_is_too_large_to_write_is_refused_without_an_id) {
    const std::string method(70'000, 'm');
    const Lines replies = repliesWhenMemoryFails(R"({"jsonrpc":"2.0","id":1,"method":")" + method + "\"}", {});
    ASSERT_GT(replies.size(), 1U);
    EXPECT_TRUE(replies.back().contains("Method not found: mmm")) << replies.back().substr(0, 200);
    EXPECT_EQ(std::ranges::count(replies, tooLargeMessage), static_cast<std::ptrdiff_t>(replies.size()) - 1);
}

} // namespace
} // namespace vostel_mcp::scarcememory
