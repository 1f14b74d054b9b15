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

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <sys/socket.h>

namespace {

/// Allocations of at least this many bytes depend on what a peer sends.
constexpr std::size_t large = 16'384;
/// How many large allocations succeed before one fails.
int successesLeft = std::numeric_limits<int>::max();

} // namespace

// The linker sends every call of realloc here.
extern "C" void* __real_realloc(void* memory, std::size_t size);
extern "C" void* __wrap_realloc(void* memory, std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size) {
    return size >= large && successesLeft-- == 0 ? nullptr : __real_realloc(memory, size);
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

/// A server loop that gets lines, with an application that answers one call.
struct Conversation : Forwarding {
    ManualExecutor mainThread;
    LineChannel lines;
    MCPHandshake handshake{lines, standardOutput, proxy, true, memory};

    /// The lines that are written when the client sends `line` and then a ping. A call is answered with `pieces`.
    Lines replies(const std::string& line, const std::vector<std::string>& pieces) {
        application.answers(pieces);
        spawn(handshake.serve(), mainThread);
        lines.push({line});
        mainThread.drain();
        threads.runAll();
        mainThread.drain();
        lines.push({R"({"jsonrpc":"2.0","id":"ping","method":"ping"})"});
        mainThread.drain();
        lines.finish();
        mainThread.drain();
        return output.takeLines();
    }
};

/// The replies to `line`, without progress: one for each large allocation that can fail, and as the last one the reply
/// when none fails. The server must continue after each of them.
Lines repliesWhenMemoryFails(const std::string& line, const std::vector<std::string>& pieces = {}) {
    Lines all;
    for (bool hasFailed = true; hasFailed;) {
        SCOPED_TRACE(all.size());
        Conversation conversation;
        successesLeft = static_cast<int>(all.size());
        Lines replies = conversation.replies(line, pieces);
        hasFailed = successesLeft < 0;
        successesLeft = std::numeric_limits<int>::max();
        std::erase_if(replies, [](const std::string& reply) { return reply.contains("notifications/progress"); });
        EXPECT_EQ(replies.size(), 2U);
        if (replies.size() != 2) break;
        EXPECT_EQ(replies[1],
                  R"({"error":{"code":-32601,"message":"Method not found: ping"},"id":"ping","jsonrpc":"2.0"})");
        all.push_back(std::move(replies[0]));
    }
    return all;
}

std::string error(const std::string& message, const std::string& id) {
    return R"({"error":{"code":-32603,"message":")" + message + R"("},"id":)" + id + R"(,"jsonrpc":"2.0"})";
}
const std::string tooLargeMessage = error("There is not enough memory for this message.", "null");

TEST(ScarceMemory, whichever_large_allocation_of_a_call_fails_that_call_alone_says_so) {
    const std::string text(70'000, 'x');
    // A part of the answer's line that is not in the answer's frame, so that the line needs more memory.
    const std::string id = '"' + std::string(20'000, 'i') + '"';
    const std::string call = R"({"jsonrpc":"2.0","id":)" + id +
                             R"(,"method":"tools/call","params":{"name":"transcribe_file","arguments":{"path":")" +
                             text + R"("},"_meta":{"progressToken":7}}})";
    const std::string sent = frame(R"({"kind":"progress","payload":{"fraction":0.5,"message":")" + text +
                                   R"(","requestID":")" + Forwarding::wireID(1) + "\"}}") +
                             Forwarding::answer('"' + text + '"');
    // The first read takes 512 bytes, each later one no more than 65,536.
    const Lines replies = repliesWhenMemoryFails(
        call, {sent.substr(0, 512), sent.substr(512, 60'000), sent.substr(60'512, 60'000), sent.substr(120'512)});

    const std::string result = R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":")" + text + "\"}";
    const std::string failure = error("There is not enough memory for the call and its answer.", id);
    EXPECT_TRUE(replies.back() == result);
    EXPECT_GT(std::ranges::count(replies, tooLargeMessage), 0);
    EXPECT_GT(std::ranges::count(replies, failure), 0);
    EXPECT_GT(std::ranges::count(replies, result), 1) << "one of them lost only its progress";
    for (const std::string& reply : replies) {
        EXPECT_TRUE(reply == result || reply == failure || reply == tooLargeMessage) << reply.substr(0, 200);
    }
}

TEST(ScarceMemory, a_reply_that_is_too_large_to_write_is_refused_without_an_id) {
    const std::string method(70'000, 'm');
    const Lines replies = repliesWhenMemoryFails(R"({"jsonrpc":"2.0","id":1,"method":")" + method + "\"}");
    ASSERT_GT(replies.size(), 1U);
    EXPECT_TRUE(replies.back().contains("Method not found: mmm")) << replies.back().substr(0, 200);
    EXPECT_EQ(std::ranges::count(replies, tooLargeMessage), static_cast<std::ptrdiff_t>(replies.size()) - 1);
}

} // namespace
} // namespace vostel_mcp::scarcememory
