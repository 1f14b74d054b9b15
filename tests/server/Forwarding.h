// The call proxy and the socket client with fakes for everything else: the application, its launcher, threads, time and
// standard output.
#pragma once

#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "server/MCPCallProxy.h"
#include "server/SerialExecutor.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeLauncher.h"
#include "tests/support/FakeThreads.h"
#include "tests/support/RecordingOutput.h"
#include "tests/support/ScriptedApplication.h"

#include <memory>
#include <string>
#include <string_view>

namespace vostel_tests {

/// Everything runs on the test's own thread. The proxy runs at once. Blocking work runs when the test says so.
struct Forwarding {
    FakeThreads threads{FakeThreads::Run::whenAsked};
    ScriptedApplication application;
    FakeLauncher launcher;
    FakeClock clock;
    RecordingOutput output;
    int trimRequests = 0;
    vostel_mcp::MemoryTrimmer memory{[this] { ++trimRequests; }, [] {}};
    bool isWithoutRandomness = false;
    vostel_mcp::SerialExecutor proxyExecutor;
    vostel_mcp::InlineExecutor calls;
    VostelMCPKit::MCPStdoutWriter standardOutput;
    vostel_mcp::PendingCancellations pendingCancellations;
    std::unique_ptr<vostel_mcp::MCPSocketClient> client = *vostel_mcp::MCPSocketClient::make(
        "/home/me/Library/Application Support", launcher.launcher(),
        {application.connector(), threads.starter(), clock.now(), clock.sleep(), memory});
    std::shared_ptr<vostel_mcp::MCPCallProxy> proxy = std::make_shared<vostel_mcp::MCPCallProxy>(
        proxyExecutor, vostel_mcp::MCPCallProxy::Dependencies{*client, standardOutput, pendingCancellations, calls,
                                                              [this] { return nextUUID(); }, memory});

    Forwarding() : Forwarding{ownOutputTurn_} {}
    /// Standard output is written on `outputExecutor`.
    explicit Forwarding(VostelMCPKit::Executor& outputExecutor) : standardOutput{outputExecutor, output.attempt()} {}
    Forwarding(const Forwarding&) = delete;
    /// Lets running calls end.
    ~Forwarding() {
        launcher.release();
        threads.runAll();
    }

    /// Passes `line` to the proxy after the next write to standard output.
    void handleAfterNextWrite(std::string line) {
        output.onWrite([this, line = std::move(line)] {
            if (std::exchange(isDue_, false)) handle(line);
        });
        isDue_ = true;
    }

    /// Passes one line to the proxy, as the server loop does.
    void handle(std::string_view line) {
        spawn(proxy->handle(VostelMCPKit::MCPDispatchLogic::classify(line), {"Some Client", "1.2"}), calls);
    }

    /// The wire id of call `number`, counted from one in the order of registration.
    [[nodiscard]] static std::string wireID(int number) { return uuid(number).text(); }
    /// A response frame for tests in which its content does not matter.
    [[nodiscard]] static std::string answer(std::string_view result) {
        return frame(R"({"kind":"response","payload":{"requestID":"any","result":)" + std::string{result} + "}}");
    }
    [[nodiscard]] static std::string cancellation(int number) {
        return frame(R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":")" + wireID(number) +
                     "\"}}");
    }

private:
    [[nodiscard]] static VostelMCPKit::UUID uuid(int number) {
        VostelMCPKit::UUID uuid;
        uuid.bytes[15] = static_cast<std::uint8_t>(number);
        return uuid;
    }
    std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError> nextUUID() {
        if (isWithoutRandomness) return std::unexpected(VostelMCPKit::PosixError{ENOSYS});
        return uuid(++registered_);
    }

    vostel_mcp::SerialExecutor ownOutputTurn_;
    int registered_ = 0;
    bool isDue_ = false;
};

} // namespace vostel_tests
