// Runs small programs with the proxy, the writer, the registry and the socket client in every order of their threads.

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "server/MCPCallProxy.h"
#include "server/SerialExecutor.h"
#include "server/sendLine.h"
#include "tests/server/Scheduler_linux.h"
#include "tests/support/Frame.h"
#include "tests/support/Table.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <set>
#include <sys/socket.h>

namespace vostel_mcp::schedules {

// Functions of the library, and the tests' wrappers around them, by their names for the linker.
using Sent = VostelMCPKit::Task<std::expected<void, VostelMCPKit::MCPWriteError>>;
Sent realSend(VostelMCPKit::MCPStdoutWriter* writer, VostelMCPKit::Bytes lines,
              std::shared_ptr<VostelMCPKit::LineGate>
                  gate) asm("__real__ZN12VostelMCPKit15MCPStdoutWriter4sendENS_5BytesESt10shared_ptrINS_8LineGateEE");
Sent wrapSend(VostelMCPKit::MCPStdoutWriter* writer, VostelMCPKit::Bytes lines,
              std::shared_ptr<VostelMCPKit::LineGate>
                  gate) asm("__wrap__ZN12VostelMCPKit15MCPStdoutWriter4sendENS_5BytesESt10shared_ptrINS_8LineGateEE");
void realFinish(VostelMCPKit::MCPCancellationRegistry* registry, const std::string& requestID) asm(
    "__real__ZN12VostelMCPKit23MCPCancellationRegistry6finishERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void wrapFinish(VostelMCPKit::MCPCancellationRegistry* registry, const std::string& requestID) asm(
    "__wrap__ZN12VostelMCPKit23MCPCancellationRegistry6finishERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");

namespace {

using namespace VostelMCPKit;
using vostel_tests::frame;
using vostel_tests::ScheduledWorld;
using vostel_tests::Scheduler;

/// Gives the tests access to a private member: `Opened<&Class::member_, Tag>` defines `open(Tag)`.
template <auto member, class Tag>
struct Opened {
    friend auto open(Tag) { return member; }
};
struct ProxyRegistry {
    friend auto open(ProxyRegistry);
};
struct ProxyTasks {
    friend auto open(ProxyTasks);
};
struct AllCancellations {
    friend auto open(AllCancellations);
};
struct HeldCancellations {
    friend auto open(HeldCancellations);
};
template struct Opened<&MCPCallProxy::registry_, ProxyRegistry>;
template struct Opened<&MCPCallProxy::tasks_, ProxyTasks>;
template struct Opened<&PendingCancellations::count_, AllCancellations>;
template struct Opened<&PendingCancellations::held_, HeldCancellations>;

std::string call(const std::string& id) {
    return R"({"jsonrpc":"2.0","id":)" + id +
           R"(,"method":"tools/call","params":{"name":"transcribe_file",)"
           R"("_meta":{"progressToken":)" +
           id + "}}}";
}
std::string cancel(const std::string& id) {
    return R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)" + id + "}}";
}
std::string ping() { return R"({"jsonrpc":"2.0","id":100,"method":"ping"})"; }

/// The behaviour of the client, the application and the system in one world.
struct Script {
    const char* when;
    /// What the client sends, before its input ends.
    std::vector<std::string> lines;
    /// How many progress reports the application sends for each call.
    int progress = 1;
    /// The application closes the connection instead of answering.
    bool answers = true;
    /// How many attempts to connect fail first.
    int refusals = 0;
    bool canLaunch = true;
    /// The number of threads that can be started.
    int threads = 1'000;
    /// How many bytes standard output takes at a time.
    std::size_t room = 10'000;
    /// The process ends with its input.
    bool ends = false;
};

/// What is visible of a call from outside. Calls are numbered in the order in which the client makes them.
struct SeenCall {
    std::string id;
    bool isCancelledInRegistry = false;
    bool cancellationIsHandled = false;
    bool requestBegan = false, requestIsComplete = false;
    int cancellations = 0;
    int progress = 0, answers = 0;
};

struct Connection {
    posix::FileDescriptor applicationEnd;
    std::string received = {};
    std::size_t sends = 0;
    bool isCancellation = false;
};

class ForwardingWorld final : public ScheduledWorld {
public:
    ForwardingWorld(const Script& script, Scheduler& scheduler) : script_{script}, scheduler_{scheduler} {
        current_ = this;
        scheduler.start([this] { readInput(); });
    }
    ~ForwardingWorld() override { current_ = nullptr; }

    /// The client's end of `descriptor` sends `bytes`; the first time, only half of them are taken.
    static ssize_t send(int descriptor, std::string_view bytes) {
        Scheduler::step(&current_->application_);
        return current_->receive(descriptor, bytes);
    }
    static bool isExplored() { return current_ != nullptr && Scheduler::controlsThisThread(); }

    void check() override {
        const auto& registered = proxy_.get()->*open(ProxyRegistry{});
        for (auto& [number, seen] : calls_) {
            if (seen.answers > 1) violate("a call has two answers");
            const auto found = registered.calls.find(wireID(number));
            if (found != registered.calls.end() && found->second.cancelled) seen.isCancelledInRegistry = true;
        }
    }

    bool mayEndEarly() const override { return script_.ends; }

    void checkEnd() override {
        if (!output_.empty() && output_.back() != '\n') violate("the last line is incomplete");
        if (!(proxy_.get()->*open(ProxyRegistry{}) == MCPCancellationRegistry{})) violate("the registry is not empty");
        if (!(proxy_.get()->*open(ProxyTasks{})).empty()) violate("the table of calls is not empty");
        const bool isLaunched = script_.refusals > 0;
        for (const auto& [number, seen] : calls_) {
            if (!seen.cancellationIsHandled && seen.answers != 1) violate("a call has no answer");
            if (seen.cancellationIsHandled && seen.answers == 0 && !isLaunched && script_.threads > 100) {
                if (seen.requestBegan && seen.cancellations == 0) violate("the application receives no cancellation");
            }
            if (!seen.requestBegan && seen.cancellations > 0 && !isLaunched) violate("a needless cancellation");
        }
        for (const auto& [descriptor, connection] : connections_) {
            char byte;
            const ssize_t count = ::recv(connection.applicationEnd.get(), &byte, 1, MSG_DONTWAIT);
            if (count < 0 && errno == EAGAIN) violate("a connection stays open");
        }
    }

private:
    struct Application {};

    void readInput() {
        for (const std::string& line : script_.lines) {
            const MCPIncoming incoming = MCPDispatchLogic::classify(line);
            if (MCPDispatchLogic::isForApplication(incoming)) {
                spawn(proxy_->handle(incoming, {"Some Client", "1.2"}), calls_inline_);
            } else {
                spawn(sendLine(standardOutput_, *MCPDispatchLogic::handshakeResponse(incoming, true)), calls_inline_);
            }
            Scheduler::step(&output_);
            if (std::holds_alternative<MCPNotification>(incoming.is)) noteCancellation(line);
        }
        if (!script_.ends) return;
        // The end waits for cancellations that only the process delays. For others there is a timeout.
        Scheduler::stepOnEverything([this] {
            const PendingCancellations& pending = pendingCancellations_;
            return pending.*open(HeldCancellations{}) == pending.*open(AllCancellations{});
        });
        for (const auto& [descriptor, connection] : connections_) {
            if (connection.isCancellation && !isWhole(connection.received)) violate("half a cancellation is sent");
        }
        isOver = true;
    }

    /// The client knows from the next reply on that its cancellation has been handled.
    void noteCancellation(const std::string& line) {
        std::map<std::string, int> uses;
        for (const auto& [number, seen] : calls_) ++uses[seen.id];
        for (auto& [number, seen] : calls_) {
            if (line != cancel(seen.id)) continue;
            // Of two calls with one id, the registry decides which one is cancelled.
            if (uses[seen.id] == 1 || seen.isCancelledInRegistry) seen.cancellationIsHandled = true;
        }
    }

    static std::string wireID(int number) { return uuid(number).text(); }
    static UUID uuid(int number) {
        UUID uuid;
        uuid.bytes[15] = static_cast<std::uint8_t>(number);
        return uuid;
    }
    std::expected<UUID, PosixError> nextUUID() {
        const int number = static_cast<int>(calls_.size()) + 1;
        int callsBefore = 0;
        for (const std::string& line : script_.lines) {
            if (line.contains("tools/call") && ++callsBefore == number) {
                calls_[number].id = idOf(line);
            }
        }
        return uuid(number);
    }
    static std::string idOf(const std::string& line) {
        return std::get<MCPRequest>(MCPDispatchLogic::classify(line).is).id.text();
    }

    // The application.

    static bool isWhole(const std::string& received) {
        return received.size() > 4 && received.ends_with("}}") &&
               received.size() == 4 + static_cast<std::size_t>(static_cast<unsigned char>(received[2])) * 256 +
                                      static_cast<unsigned char>(received[3]);
    }

    std::expected<posix::FileDescriptor, PosixError> connect() {
        Scheduler::step(&application_);
        if (++attempts_ <= script_.refusals) return std::unexpected(PosixError{ECONNREFUSED});
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
        connections_.insert_or_assign(ends[0], Connection{.applicationEnd = posix::FileDescriptor{ends[1]}});
        return posix::FileDescriptor{ends[0]};
    }

    ssize_t receive(int descriptor, std::string_view bytes) {
        Connection& connection = connections_.at(descriptor);
        // The first send takes half of the bytes, so that other threads can run in between.
        const std::size_t count = connection.sends++ == 0 ? bytes.size() / 2 : bytes.size();
        connection.received.append(bytes.substr(0, count));
        const auto number = static_cast<int>(lastByteOfWireID(bytes, connection));
        SeenCall& seen = calls_[number];
        if (connection.received.contains(R"("kind":"cancellation")")) {
            connection.isCancellation = true;
            const bool isLaunched = script_.refusals > 0;
            if (!seen.requestIsComplete && !isLaunched) violate("a cancellation overtakes its call");
            if (isWhole(connection.received)) ++seen.cancellations;
        } else {
            seen.requestBegan = true;
            if (isWhole(connection.received)) {
                seen.requestIsComplete = true;
                answer(number, connection);
            }
        }
        return static_cast<ssize_t>(count);
    }

    /// The number of the call that a frame belongs to. `rest` is the part that has not been received.
    static unsigned lastByteOfWireID(std::string_view rest, const Connection& connection) {
        const std::string whole = connection.received + std::string{rest};
        const std::string_view key = R"("requestID":"00000000-0000-0000-0000-)";
        const auto found = whole.find(key);
        if (found == whole.npos) std::abort();
        return static_cast<unsigned>(std::stoul(whole.substr(found + key.size(), 12), nullptr, 16));
    }

    void answer(int number, const Connection& connection) {
        const int peer = connection.applicationEnd.get();
        const auto send = [peer](const std::string& bytes) {
            if (::write(peer, bytes.data(), bytes.size()) < 0) std::abort();
        };
        for (int report = 1; report <= script_.progress; ++report) {
            send(frame(R"({"kind":"progress","payload":{"fraction":0.)" + std::to_string(report) + R"(,"requestID":")" +
                       wireID(number) + "\"}}"));
        }
        if (script_.answers) {
            send(frame(R"({"kind":"response","payload":{"requestID":"any","result":)" + std::to_string(number) + "}}"));
        }
        ::shutdown(peer, SHUT_WR);
    }

    MCPAppLauncher launcher() {
        return {"/Applications/Vostel.app/Contents/MacOS/vostel-mcp",
                [this](std::filesystem::path) { return opening(this); }};
    }
    static Task<std::expected<void, PosixError>> opening(ForwardingWorld* self) {
        Scheduler::step(&self->application_);
        if (!self->script_.canLaunch) co_return std::unexpected(PosixError{ENOENT});
        co_return std::expected<void, PosixError>{};
    }

    // Standard output.

    std::expected<std::int64_t, PosixError> write(std::span<const std::byte> bytes) {
        Scheduler::step(&output_);
        std::string_view text{reinterpret_cast<const char*>(bytes.data()), bytes.size()};
        text = text.substr(0, script_.room);
        for (const char byte : text) {
            if (output_.empty() || output_.back() == '\n') lineBegins_ = true;
            output_ += byte;
            beganLine_ += byte;
            if (byte == '\n') noteLine(std::exchange(beganLine_, {}));
        }
        noteBeginning();
        return static_cast<std::int64_t>(text.size());
    }

    /// Only a complete line shows which call it belongs to. So the state at its beginning is stored until then.
    void noteBeginning() {
        if (!lineBegins_) return;
        lineBegins_ = false;
        cancelledWhenLineBegan_.clear();
        for (const auto& [number, seen] : calls_) {
            if (seen.cancellationIsHandled) cancelledWhenLineBegan_.insert(number);
        }
    }

    void noteLine(std::string line) {
        noteBeginning();
        line.pop_back();
        const auto value = readJSON(line);
        if (!value) return violate("a line is incomplete: " + line);
        const int number = callOf(*value);
        if (number == 0) return;
        SeenCall& seen = calls_.at(number);
        if (cancelledWhenLineBegan_.contains(number)) violate("a line of a cancelled call begins: " + line);
        if (value->string("method")) {
            ++seen.progress;
            if (seen.answers > 0) violate("progress comes after the answer");
            const auto fraction = value->find("params", "progress")->asDouble();
            if (*fraction != seen.progress / 10.0) violate("progress comes out of order");
        } else {
            ++seen.answers;
        }
    }

    /// Zero when the line belongs to no call.
    int callOf(const MCPValue& line) {
        if (const MCPValue* token = line.find("params", "progressToken"))
            return newest(std::to_string(*token->asInt()));
        if (const MCPValue* result = line.find("result")) return static_cast<int>(*result->asInt());
        return newest(std::to_string(*line.find("id")->asInt()));
    }
    int newest(const std::string& id) {
        int newest = 0;
        for (const auto& [number, seen] : calls_) {
            if (seen.id == id) newest = number;
        }
        return newest;
    }

    std::expected<void, PosixError> startThread(std::function<void()> body) {
        if (++threads_ > script_.threads) return std::unexpected(PosixError{EAGAIN});
        scheduler_.start(std::move(body));
        return {};
    }

    static inline ForwardingWorld* current_ = nullptr;

    const Script script_;
    Scheduler& scheduler_;
    const Application application_{};
    std::map<int, SeenCall> calls_;
    std::map<int, Connection> connections_;
    int attempts_ = 0;
    int threads_ = 0;
    std::string output_, beganLine_;
    bool lineBegins_ = false;
    std::set<int> cancelledWhenLineBegan_;

    MemoryTrimmer memory_{[] {}, [] {}};
    SerialExecutor proxyExecutor_, outputExecutor_;
    InlineExecutor calls_inline_;
    PendingCancellations pendingCancellations_;
    MCPStdoutWriter standardOutput_{outputExecutor_, [this](auto bytes) { return write(bytes); },
                                    [this](std::size_t /*wanted*/) { return script_.room; }};
    std::chrono::steady_clock::time_point now_;
    const std::unique_ptr<MCPSocketClient> client_ = *MCPSocketClient::make(
        "/home/me", launcher(),
        {[this](const std::string&, const auto&) { return connect(); },
         [this](posix::ThreadName, std::function<void()> body) { return startThread(std::move(body)); },
         [this] { return now_; }, [](std::chrono::duration<double>) {}, memory_});
    const std::shared_ptr<MCPCallProxy> proxy_ = std::make_shared<MCPCallProxy>(
        proxyExecutor_, MCPCallProxy::Dependencies{*client_, standardOutput_, pendingCancellations_, calls_inline_,
                                                   [this] { return nextUUID(); }, memory_});
};

/// With a sanitizer, all orders of the largest worlds take minutes. So a usual run stops earlier.
Scheduler::Outcome explore(const Script& script) {
    Scheduler scheduler;
    const auto make = [&script](Scheduler& runner) { return std::make_unique<ForwardingWorld>(script, runner); };
    const bool wantsAll = std::getenv("VOSTEL_ALL_SCHEDULES") != nullptr;
    return scheduler.explore(make, wantsAll ? std::numeric_limits<std::size_t>::max() : 100);
}

// Faults that a test plants into what the proxy calls.

enum class Fault { none, asksBeforeItsTurn, writesInTwoPieces, answersTwice, forgetsNothing };
Fault planted = Fault::none;

Bytes bytesWith(std::string_view text) {
    Bytes bytes;
    bytes.append(text);
    return bytes;
}

Sent faultySend(MCPStdoutWriter* writer, Bytes lines, std::shared_ptr<LineGate> gate) {
    if (planted == Fault::asksBeforeItsTurn) {
        if (!gate->ifOpen([] {})) co_return std::expected<void, MCPWriteError>{};
        co_return co_await writer->send(std::move(lines));
    }
    const std::string text{lines.text()};
    auto half = bytesWith(planted == Fault::writesInTwoPieces ? text.substr(0, text.size() / 2) : text);
    auto rest = bytesWith(planted == Fault::writesInTwoPieces ? text.substr(text.size() / 2) : text);
    std::ignore = co_await writer->send(std::move(half));
    co_return co_await writer->send(std::move(rest));
}

const Script worlds[] = {
    {.when = "one call with progress, its answer and its cancellation", .lines = {call("1"), cancel("1")}},
    {.when = "two calls with one id", .lines = {call("1"), call("1")}, .progress = 0},
    {.when = "two calls with one id and a cancellation", .lines = {call("1"), call("1"), cancel("1")}, .progress = 0},
    {.when = "a cancellation during the launch", .lines = {call("1"), cancel("1")}, .progress = 0, .refusals = 1},
    {.when = "a cancellation during a launch that fails",
     .lines = {call("1"), cancel("1")},
     .refusals = 2,
     .canLaunch = false},
    {.when = "the end of the input after a cancellation", .lines = {call("1"), cancel("1")}, .ends = true},
    {.when = "two calls with progress and a slow reader", .lines = {call("1"), call("2")}, .room = 90},
    {.when = "two cancellations of one call", .lines = {call("1"), cancel("1"), cancel("1")}, .progress = 0},
    {.when = "an id that is used again", .lines = {call("1"), cancel("1"), call("1")}, .progress = 0},
    {.when = "a cancelled call between the server's own replies and a slow reader",
     .lines = {call("1"), ping(), cancel("1"), ping()},
     .progress = 2,
     .room = 90},
    {.when = "a connection that is closed before the answer", .lines = {call("1"), cancel("1")}, .answers = false},
    {.when = "no more threads", .lines = {call("1"), cancel("1")}, .threads = 2},
};

TEST(Schedules, all_orders_of_the_threads_keep_the_rules) {
    vostel_tests::forEachRow(worlds, [](const Script& script) {
        const Scheduler::Outcome outcome = explore(script);
        EXPECT_GT(outcome.schedules, 1U);
        EXPECT_EQ(outcome.violations, std::vector<std::string>{});
        std::printf("%8zu schedules%s (%zu repeated, up to %zu steps): %s\n", outcome.schedules,
                    outcome.isComplete ? "" : " and more", outcome.repeated, outcome.mostSteps, script.when);
    });
}

TEST(Schedules, each_planted_fault_is_found) {
    struct Row {
        const char* when;
        Fault fault;
        Script script;
        std::string violation;
    };
    const Row rows[] = {
        {"the writer asks before its turn whether a line may begin",
         Fault::asksBeforeItsTurn,
         {.when = "", .lines = {call("1"), cancel("1")}},
         R"(a line of a cancelled call begins: {"id":1,"jsonrpc":"2.0","result":1})"},
        {"the writer gives up its turn in the middle of a line",
         Fault::writesInTwoPieces,
         {.when = "", .lines = {call("1"), call("2")}, .progress = 0},
         R"(a line is incomplete: {"id":1,"jsonrpc":{"id":2,"jsonrpc":"2.0","result":2})"},
        {"a call is answered twice",
         Fault::answersTwice,
         {.when = "", .lines = {call("1")}, .progress = 0},
         "a call has two answers"},
        {"the registry keeps a call that has ended",
         Fault::forgetsNothing,
         {.when = "", .lines = {call("1")}, .progress = 0},
         "the registry is not empty"},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        planted = row.fault;
        const Scheduler::Outcome outcome = explore(row.script);
        planted = Fault::none;
        ASSERT_FALSE(outcome.violations.empty());
        EXPECT_EQ(outcome.violations.front(), row.violation);
    });
}

} // namespace

Sent wrapSend(MCPStdoutWriter* writer, Bytes lines, std::shared_ptr<LineGate> gate) {
    const bool isFaulty = planted != Fault::none && planted != Fault::forgetsNothing;
    return isFaulty ? faultySend(writer, std::move(lines), std::move(gate))
                    : realSend(writer, std::move(lines), std::move(gate));
}

void wrapFinish(MCPCancellationRegistry* registry, const std::string& requestID) {
    if (planted != Fault::forgetsNothing) realFinish(registry, requestID);
}

} // namespace vostel_mcp::schedules

extern "C" {

ssize_t __real_send(int descriptor, const void* bytes, size_t count, int flags);

ssize_t __wrap_send(int descriptor, const void* bytes, size_t count, int flags) {
    if (!vostel_mcp::schedules::ForwardingWorld::isExplored()) return __real_send(descriptor, bytes, count, flags);
    return vostel_mcp::schedules::ForwardingWorld::send(descriptor, {static_cast<const char*>(bytes), count});
}
}
