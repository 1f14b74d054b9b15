// The application's side of the socket, for measuring. It must be faster than every server, so it answers from memory.
#pragma once

#include "bench/workload/Workload.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vostel_bench {

/// All answers are built in advance, one thread serves every connection, and a connection that waits for a delay uses
/// no time.
///
/// A request that differs from the driver's is answered with `isError` true and the reason, so that the run fails.
class StubApplication final {
public:
    /// Takes ownership of a listening, non-blocking socket.
    explicit StubApplication(int listener);
    ~StubApplication();
    StubApplication(const StubApplication&) = delete;
    StubApplication& operator=(const StubApplication&) = delete;

    /// Serves until `stopWhenClosed` reaches its end of input.
    void serve(int stopWhenClosed);

private:
    using Clock = std::chrono::steady_clock;

    struct Answer {
        const Workload::Tool* tool = nullptr;
        std::string json;
        /// All progress frames of a call, one after the other. The request id in each must still be filled in.
        std::string progress;
        std::size_t progressFrameBytes = 0;
        std::size_t progressIDOffset = 0;
    };

    struct Connection {
        int socket = -1;
        std::string received;
        std::size_t receivedBytes = 0;
        std::string requestID;
        const Answer* answer = nullptr;
        std::string refusal;
        std::size_t progressSent = 0;
        std::string responseHead;
        std::size_t responseSent = 0;
        bool writing = false;
    };

    struct Waiting {
        Clock::time_point due;
        int socket = -1;
    };

    void acceptAll();
    void receive(Connection& connection);
    /// A null pointer for a tool that does not exist.
    const Answer* answerOf(std::string_view toolName);
    [[nodiscard]] bool receivedWholeFrame(Connection& connection);
    void takeRequest(Connection& connection);
    [[nodiscard]] std::string faultOf(std::string_view payload, const Answer& answer) const;
    void send(Connection& connection);
    [[nodiscard]] bool sendProgress(Connection& connection);
    [[nodiscard]] bool sendResponse(Connection& connection);
    void answerDue();
    void drop(int socket);
    [[nodiscard]] int millisecondsToNextAnswer() const;

    int listener_;
    /// By the name of the tool. Each is built at the first call, because some are large.
    std::unordered_map<std::string_view, Answer> answers_;
    std::string largeArguments_;
    /// Connections that are being read or written.
    std::unordered_map<int, std::unique_ptr<Connection>> active_;
    /// Connections whose answer is delayed.
    std::unordered_map<int, std::unique_ptr<Connection>> delayed_;
    /// All slow calls have the same delay, so the queue is in the order of their times.
    std::deque<Waiting> waiting_;
    std::string scratch_;
};

} // namespace vostel_bench
