#include "kit/wire/MCPWireVersionLogic.h"
#include "server/MCPSocketClient.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeLauncher.h"
#include "tests/support/FakeThreads.h"
#include "tests/support/JSON.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/ScriptedApplication.h"
#include "tests/support/SignalTicks.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <sstream>

namespace vostel_mcp {
namespace {

using namespace VostelMCPKit;
using namespace vostel_tests;
using namespace std::literals;

using Failure = MCPSocketClient::Failure;
/// The text of the result, or what the application refused.
using Answered = std::variant<std::string, MCPWireError>;
using Response = std::expected<Answered, Failure>;

constexpr const char* applicationSupport = "/home/me/Library/Application Support";

std::string progressFrame(const std::string& fraction) {
    return frame(R"({"kind":"progress","payload":{"fraction":)" + fraction + R"(,"requestID":"A"}})");
}

std::string responseFrame(const std::string& resultOrError, const std::string& requestID = "A") {
    return frame(R"({"kind":"response","payload":{"requestID":")" + requestID + "\"," + resultOrError + "}}");
}

const std::string answer = responseFrame(R"("result":"done")");
const Answered answered{R"("done")"};

/// The outcome in a form that can be copied and printed.
Response copied(std::expected<MCPSocketClient::Answer, Failure> outcome) {
    if (!outcome) return std::unexpected(outcome.error());
    return match(
        *outcome, [](const Bytes& result) { return Answered{std::string{result.text()}}; },
        [](const MCPWireError& error) { return Answered{error}; });
}

Failure connectFailure(auto reason) { return Failure{ConnectError{reason}}; }

/// Blocking work runs at once on the thread of the test.
class MCPSocketClientTest : public testing::Test {
protected:
    std::unique_ptr<MCPSocketClient> makeClient(const std::string& directory = applicationSupport) {
        auto made =
            MCPSocketClient::make(directory, launcher.launcher(),
                                  {application.connector(), threads.starter(), clock.now(), clock.sleep(), memory});
        return made ? *std::move(made) : nullptr;
    }

    Response send(MCPValue arguments = MCPValue::object({})) {
        const auto client = makeClient();
        MCPWireRequest request{wireProtocolVersion, {"Some Client", std::nullopt}, "models_list", arguments, "A"};
        auto response =
            executor.run(client->send({std::move(request)}, [this](auto reports) { take(reports); }, cancellation));
        EXPECT_TRUE(response) << "the call hangs";
        return copied(*std::move(response));
    }

    void cancel() {
        struct Ended {};
        const auto client = makeClient();
        pending.add();
        pending.released();
        auto cancelling = [](MCPSocketClient& with, PendingCancellations& holding) -> Task<Ended> {
            co_await with.cancel("A", holding);
            co_return Ended{};
        };
        EXPECT_TRUE(executor.run(cancelling(*client, pending))) << "the cancellation hangs";
        pending.remove();
        pending.drain(std::chrono::minutes{10}, std::chrono::minutes{10});
    }

    ManualExecutor executor;
    PendingCancellations pending;
    std::shared_ptr<CallCancellation> cancellation = std::make_shared<CallCancellation>();
    FakeThreads threads{FakeThreads::Run::atOnce};
    ScriptedApplication application;
    FakeLauncher launcher;
    FakeClock clock;
    MemoryTrimmer memory{[] {}, [] {}};
    /// The reported fractions. Those that came together are in one list.
    std::vector<std::vector<double>> progress;

private:
    void take(const std::vector<MCPProgressReports>& ofCalls) {
        progress.emplace_back();
        for (const MCPProgressReports& reports : ofCalls) {
            const Bytes lines = reports.lines({"m", json(R"({"progress":0,"total":1})")});
            std::istringstream rest{std::string{lines.text()}};
            for (std::string line; std::getline(rest, line);) {
                progress.back().push_back(json(line).number("params", "progress").value_or(-1));
            }
        }
    }
};

TEST_F(MCPSocketClientTest, with_the_application_running_a_call_connects_once_and_launches_nothing) {
    ScriptedPeer& peer = application.answers({answer});
    EXPECT_EQ(send(MCPValue::object({{"limit", 3}})), Response{answered});
    EXPECT_EQ(application.paths(),
              std::vector<std::string>{"/home/me/Library/Application Support/com.vostel.vostel/mcp.sock"});
    EXPECT_TRUE(launcher.opened().empty());
    EXPECT_EQ(peer.received(),
              frame(R"({"kind":"request","payload":{"arguments":{"limit":3},"clientInfo":{"name":"Some Client"},)"
                    R"("protocolVersion":4,"requestID":"A","tool":"models_list"}})"));
    EXPECT_TRUE(peer.clientHasClosed());
}

TEST_F(MCPSocketClientTest, every_blocking_operation_has_a_named_thread_of_its_own) {
    application.refuses(1);
    application.answers({answer});
    EXPECT_EQ(send(), Response{answered});
    EXPECT_EQ(threads.suffixes(), (std::vector<std::string>{"socket-client", "socket-poll", "socket-client"}));
    EXPECT_EQ(threads.reverseDNSNames(),
              (std::vector<std::string>{"com.vostel.vostel-mcp.socket-client", "com.vostel.vostel-mcp.socket-poll",
                                        "com.vostel.vostel-mcp.socket-client"}));
}

TEST_F(MCPSocketClientTest, cannot_be_made_when_the_socket_path_does_not_fit) {
    // "/com.vostel.vostel/mcp.sock" takes 27 of the 103 bytes.
    EXPECT_TRUE(makeClient("/" + std::string(75, 'a')));
    for (const std::string& name : {std::string(76, 'a'), std::string(74, 'a') + "é"}) {
        const auto made = MCPSocketClient::make("/" + name, {}, {{}, {}, {}, {}, memory});
        ASSERT_FALSE(made);
        const ConnectError::SocketPathTooLong tooLong{"/" + name + "/com.vostel.vostel/mcp.sock", 104, 103};
        EXPECT_EQ(made.error(), ConnectError{tooLong});
    }
}

TEST_F(MCPSocketClientTest, any_failure_to_connect_launches_the_application) {
    for (const int code : {ENOENT, ECONNREFUSED, EACCES, EMFILE}) {
        SCOPED_TRACE(code);
        application.refuses(1, code);
        application.answers({answer});
        EXPECT_EQ(send(), Response{answered});
    }
    EXPECT_EQ(launcher.opened(), std::vector<std::filesystem::path>(4, "/Applications/Vostel.app"))
        << "once in each call";
    EXPECT_TRUE(clock.sleeps().empty()) << "the socket was there at the first look";
}

TEST_F(MCPSocketClientTest, a_failed_launch_fails_the_call_without_polling) {
    launcher.fail();
    EXPECT_EQ(send(), Response{std::unexpected(connectFailure(ConnectError::LaunchServicesUnavailable{}))});
    EXPECT_EQ(application.attempts(), 1U);
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(MCPSocketClientTest, after_the_launch_it_tries_to_connect_every_half_second) {
    application.refuses(1 + 3);
    application.answers({answer});
    EXPECT_EQ(send(), Response{answered});
    EXPECT_EQ(clock.sleeps(), std::vector<FakeClock::Seconds>(3, 0.5s));
    EXPECT_EQ(launcher.opened().size(), 1U);
}

TEST_F(MCPSocketClientTest, it_gives_up_after_exactly_two_minutes) {
    const Response response = send();
    ASSERT_FALSE(response);
    EXPECT_EQ(response.error(), connectFailure(ConnectError::TimedOutWaitingForApp{120s}));
    EXPECT_EQ(
        response.error().description(),
        "Vostel did not become ready within 120 seconds after launch. Please open Vostel yourself and try again.");
    EXPECT_EQ(clock.sleeps(), std::vector<FakeClock::Seconds>(240, 0.5s));
    EXPECT_EQ(application.attempts(), 1U + 241U);
    EXPECT_EQ(launcher.opened().size(), 1U);
}

TEST_F(MCPSocketClientTest, the_socket_may_appear_at_the_last_attempt) {
    application.refuses(1 + 240);
    application.answers({answer});
    EXPECT_EQ(send(), Response{answered});
    EXPECT_EQ(clock.sleeps().size(), 240U);
}

TEST_F(MCPSocketClientTest, the_time_out_names_the_measured_seconds_without_their_fraction) {
    MCPSocketClient::System system{
        [this](const std::string&, const auto&) -> std::expected<posix::FileDescriptor, PosixError> {
            clock.pass(1.75s);
            return std::unexpected(PosixError{ECONNREFUSED});
        },
        threads.starter(), clock.now(), clock.sleep(), memory};
    const auto client = *MCPSocketClient::make(applicationSupport, launcher.launcher(), std::move(system));
    const auto response = executor.run(client->send({}, [](auto) {}, std::make_shared<CallCancellation>()));
    ASSERT_TRUE(response);
    ASSERT_FALSE(*response);
    // 1.75 s for each attempt and 0.5 s between two attempts: attempt 54 ends after 121 s.
    EXPECT_EQ(response->error(), connectFailure(ConnectError::TimedOutWaitingForApp{121s}));
    EXPECT_EQ(clock.sleeps().size(), 53U);

    const ConnectError almost{ConnectError::TimedOutWaitingForApp{120.999s}};
    EXPECT_TRUE(almost.errorDescription().contains(" 120 seconds")) << almost.errorDescription();
}

TEST_F(MCPSocketClientTest, frames_are_found_in_pieces_of_any_size) {
    const std::string first = progressFrame("0.25");
    const std::string second = progressFrame("1");
    struct Row {
        const char* when;
        std::vector<std::string> reads;
        std::vector<std::vector<double>> progress;
    };
    const Row rows[] = {
        {"no progress", {answer}, {}},
        {"one frame in each read", {first, second, answer}, {{0.25}, {1}}},
        {"all in one read", {first + second + answer}, {{0.25, 1}}},
        {"the response with the last report", {first, second + answer}, {{0.25}, {1}}},
        {"split inside a header", {first + second.substr(0, 3), second.substr(3) + answer}, {{0.25}, {1}}},
        {"split after a header", {first + second.substr(0, 4), second.substr(4) + answer}, {{0.25}, {1}}},
        {"split at every byte", splitAtEveryByte(first + answer), {{0.25}}},
        {"a frame after the response is not looked at", {answer + first, second}, {}},
        {"garbage after the response is not looked at", {answer + "\xFF\xFF\xFF\xFF"}, {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        progress.clear();
        ScriptedPeer& peer = application.answers(row.reads);
        EXPECT_EQ(send(), Response{answered});
        EXPECT_EQ(progress, row.progress);
        EXPECT_TRUE(peer.clientHasClosed());
    });
}

TEST_F(MCPSocketClientTest, a_frame_longer_than_one_read_is_joined) {
    const std::string text(100'000, 'x');
    const std::string bytes = responseFrame(R"("result":")" + text + "\"");
    // The lengths of the first read, of a later one and of the last one.
    application.answers({bytes.substr(0, 512), bytes.substr(512, 65'536), bytes.substr(512 + 65'536)});
    EXPECT_EQ(send(), Response{'"' + text + '"'});
}

TEST_F(MCPSocketClientTest, a_result_in_any_form_becomes_text_as_our_writer_writes_it) {
    struct Row {
        const char* when;
        std::string payload;
        std::string result;
    };
    const auto inOurForm = [](const std::string& result) {
        return R"({"kind":"response","payload":{"requestID":"A","result":)" + result + "}}";
    };
    const Row rows[] = {
        {"in our form", inOurForm(R"({"content":[],"isError":false})"), R"({"content":[],"isError":false})"},
        {"null", inOurForm("null"), "null"},
        {"keys in another order", inOurForm(R"({"isError":false,"content":[]})"), R"({"content":[],"isError":false})"},
        {"numbers in another form", inOurForm("[1.0,2e0,0.50]"), "[1,2,0.5]"},
        {"white space inside", inOurForm("[1, 2]"), "[1,2]"},
        {"white space around", " " + inOurForm("[1,2]") + "\n", "[1,2]"},
        {"a result that grows", inOurForm("[1e18, 1e18, 1e18]"),
         "[1000000000000000000,1000000000000000000,1000000000000000000]"},
        {"the members of the frame in another order", R"({"payload":{"result":[1],"requestID":"A"},"kind":"response"})",
         "[1]"},
        {"a member that is not known", R"({"kind":"response","payload":{"requestID":"A","result":[1],"zone":7}})",
         "[1]"},
        {"an ID with an escape", R"({"kind":"response","payload":{"requestID":"\n","result":[1]}})", "[1]"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        // The server does not read what follows the answer.
        application.answers({progressFrame("0.5") + frame(row.payload) + answer});
        EXPECT_EQ(send(), Response{row.result});
        // A large payload is read in another way.
        const std::string large = frame(row.payload + std::string(70'000, ' '));
        application.answers({large.substr(0, 512), large.substr(512, 65'536), large.substr(512 + 65'536)});
        EXPECT_EQ(send(), Response{row.result});
    });
}

TEST_F(MCPSocketClientTest, the_first_response_with_any_request_ID_is_the_answer) {
    application.answers({responseFrame(R"("result":"not ours")", "B") + answer});
    EXPECT_EQ(send(), Response{R"("not ours")"});
}

TEST_F(MCPSocketClientTest, a_version_mismatch_fails_the_call_while_an_oversized_frame_stays_inside_the_response) {
    application.answers({responseFrame(R"("error":{"kind":"versionMismatch","helper":4,"app":5})")});
    EXPECT_EQ(send(), Response{std::unexpected(Failure{MCPWireError{MCPWireError::VersionMismatch{4, 5}}})});

    application.answers({responseFrame(R"("error":{"kind":"frameTooLarge","declared":9,"limit":8})")});
    EXPECT_EQ(send(), (Response{MCPWireError{MCPWireError::FrameTooLarge{9, 8}}}));
}

TEST_F(MCPSocketClientTest, a_violation_of_the_protocol_fails_the_call_and_closes_the_connection) {
    constexpr auto closed = MCPSocketClient::ClientError::connectionClosedUnexpectedly;
    using Oversized = MCPWireError::FrameTooLarge;
    using NotJSON = DecodingError::NotJSON;
    struct Row {
        const char* when;
        std::vector<std::string> reads;
        Failure failure;
    };
    const Row rows[] = {
        {"closed at once", {}, {closed}},
        {"closed inside a header", {answer.substr(0, 3)}, {closed}},
        {"closed inside a payload", {answer.substr(0, answer.size() - 1)}, {closed}},
        {"closed after progress", {progressFrame("0.5")}, {closed}},
        {"one byte over the limit", {"\x04\0\0\x01"s}, {MCPWireError{Oversized{67'108'865, 67'108'864}}}},
        {"the length has no sign", {"\xFF\xFF\xFF\xFF"}, {MCPWireError{Oversized{4'294'967'295, 67'108'864}}}},
        {"a greeting of another protocol", {"HTTP/1.1 200 OK"}, {MCPWireError{Oversized{0x48545450, 67'108'864}}}},
        {"an empty frame", {"\0\0\0\0"s}, {DecodingError{NotJSON{0}}}},
        {"no JSON", {frame("{]")}, {DecodingError{NotJSON{1}}}},
        {"no UTF-8", {frame("\"\xC3(\"")}, {DecodingError{NotJSON{1}}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ScriptedPeer& peer = application.answers(row.reads);
        const Response response = send();
        ASSERT_FALSE(response);
        EXPECT_EQ(response.error(), row.failure) << response.error().description();
        EXPECT_TRUE(peer.clientHasClosed());
    });
    EXPECT_EQ(application.attempts(), std::size(rows)) << "nothing is tried again";
    EXPECT_TRUE(launcher.opened().empty());
}

TEST_F(MCPSocketClientTest, an_answer_that_is_not_an_outbound_frame_cannot_be_read) {
    const std::string payloads[] = {
        "null",
        "[]",
        "{}",
        R"({"kind":"response"})",
        R"({"kind":7,"payload":{}})",
        R"({"kind":"request","payload":{"requestID":"A","result":1}})",
        R"({"kind":"response","payload":{"result":1}})",
        R"({"kind":"response","payload":{"requestID":"A"}})",
        R"({"kind":"response","payload":{"requestID":"A","result":1,"error":{}}})",
        R"({"kind":"response","payload":{"requestID":"A","error":{"kind":"other"}}})",
        R"({"kind":"progress","payload":{"requestID":"A","fraction":"0.5"}})",
        R"({"kind":"progress","payload":{"requestID":"A","fraction":1e400}})",
    };
    for (const std::string& payload : payloads) {
        SCOPED_TRACE(payload);
        application.answers({frame(payload) + answer});
        const Response response = send();
        ASSERT_FALSE(response);
        EXPECT_TRUE(std::holds_alternative<DecodingError>(response.error().is));
        EXPECT_TRUE(response.error().description().starts_with("Vostel sent an answer that could not be read: "));
        EXPECT_TRUE(response.error().description().ends_with("."));
    }
}

TEST_F(MCPSocketClientTest, progress_before_a_failure_is_relayed_first) {
    application.answers({progressFrame("0.5") + frame("garbage")});
    const Response response = send();
    ASSERT_FALSE(response);
    EXPECT_EQ(progress, (std::vector<std::vector<double>>{{0.5}}));
}

TEST_F(MCPSocketClientTest, an_application_that_has_ended_is_a_posix_error_and_not_a_signal) {
    application.answers({}, ScriptedPeer::Ending::gone);
    const Response response = send();
    ASSERT_FALSE(response);
    EXPECT_EQ(response.error(), Failure{PosixError{EPIPE}});
    EXPECT_EQ(response.error().description(), "Vostel could not be reached: Broken pipe.");
}

TEST_F(MCPSocketClientTest, an_interrupted_read_is_deliberately_not_retried) {
    const ScriptedPeer& peer = application.answers({}, ScriptedPeer::Ending::silence);
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) peer.sendPiece(answer);
    }};
    EXPECT_EQ(send(), Response{std::unexpected(Failure{MCPSocketClient::ClientError::connectionClosedUnexpectedly})});
}

TEST_F(MCPSocketClientTest, a_thread_that_cannot_be_started_fails_only_its_call) {
    struct Row {
        const char* when;
        std::size_t thread;
        std::size_t refused;
        bool connects;
    };
    const Row rows[] = {
        {"for the connection", 1, 0, false},
        {"for the wait", 2, 1, false},
        {"for the exchange", 2, 0, true},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        FakeThreads few{FakeThreads::Run::atOnce};
        few.failFrom(row.thread, EAGAIN);
        ScriptedApplication listening;
        listening.refuses(row.refused);
        ScriptedPeer& peer = listening.answers({answer});
        const auto client =
            *MCPSocketClient::make(applicationSupport, launcher.launcher(),
                                   {listening.connector(), few.starter(), clock.now(), clock.sleep(), memory});
        auto response = executor.run(client->send({}, [](auto) {}, std::make_shared<CallCancellation>()));
        ASSERT_TRUE(response);
        EXPECT_EQ(copied(*std::move(response)), Response{std::unexpected(Failure{PosixError{EAGAIN}})});
        EXPECT_EQ(peer.received(), "");
        EXPECT_EQ(peer.clientHasClosed(), row.connects);
    });
}

TEST_F(MCPSocketClientTest, a_call_with_a_number_that_is_not_finite_is_not_sent) {
    ScriptedPeer& peer = application.answers({answer});
    const Response response = send(MCPValue::object({{"limit", std::numeric_limits<double>::infinity()}}));
    ASSERT_FALSE(response);
    EXPECT_EQ(response.error(), Failure{EncodingError{}});
    EXPECT_EQ(response.error().description(), "The call could not be sent because an argument is not a finite number.");
    EXPECT_EQ(peer.received(), "");
    EXPECT_TRUE(peer.clientHasClosed());
}

TEST_F(MCPSocketClientTest, a_call_that_is_cancelled_while_it_connects_is_neither_sent_nor_launched_for) {
    for (const bool isListening : {true, false}) {
        SCOPED_TRACE(isListening ? "the application listens" : "the application does not listen");
        cancellation = std::make_shared<CallCancellation>();
        application.onConnect([this] { EXPECT_FALSE(cancellation->cancel()) << "the application need not be told"; });
        ScriptedPeer* peer = isListening ? &application.answers({answer}) : nullptr;
        EXPECT_EQ(send(), Response{std::unexpected(Failure{MCPSocketClient::Cancelled{}})});
        EXPECT_TRUE(peer == nullptr || (peer->received().empty() && peer->clientHasClosed()));
        EXPECT_TRUE(launcher.opened().empty());
    }
}

TEST_F(MCPSocketClientTest, a_cancellation_is_one_frame_on_a_connection_of_its_own) {
    ScriptedPeer& peer = application.answers({});
    cancel();
    EXPECT_EQ(peer.received(), frame(R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":"A"}})"));
    EXPECT_TRUE(peer.clientHasClosed());
    EXPECT_EQ(threads.suffixes(), (std::vector<std::string>{"socket-client", "socket-client"}));
}

TEST_F(MCPSocketClientTest, the_end_of_the_process_does_not_wait_for_an_application_that_accepts_nothing) {
    application.isFull();
    application.onConnect([this] { pending.drain(std::chrono::milliseconds{0}, std::chrono::minutes{10}); });
    ScriptedPeer& peer = application.answers({});
    cancel();
    EXPECT_NE(peer.received(), "") << "it is sent when there is room";
}

TEST_F(MCPSocketClientTest, a_cancellation_does_not_launch_the_application) {
    cancel();
    EXPECT_EQ(application.attempts(), 1U);
    EXPECT_TRUE(launcher.opened().empty());
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(MCPSocketClientTest, a_cancellation_that_cannot_be_sent_is_dropped) {
    application.answers({}, ScriptedPeer::Ending::gone);
    cancel();
    threads.failFrom(/*count=*/1, EAGAIN);
    cancel();
    EXPECT_EQ(application.attempts(), 1U);
}

} // namespace
} // namespace vostel_mcp
