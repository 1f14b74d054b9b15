// The application's side of the socket, for measuring: it answers from memory and is never the slower side.
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

/// The application's side of the socket, made to be cheap: all answers lie ready, one thread serves every connection,
/// and a connection that only waits for its time costs nothing.
///
/// A request that is not what the driver asked for is answered with `isError` true and the reason, which fails the run.
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
        /// All progress frames of a call in a row; only the request id within each is yet to be filled in.
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
    /// By the name of the tool. Each is made at the first call, because some are large.
    std::unordered_map<std::string_view, Answer> answers_;
    std::string largeArguments_;
    /// Connections that are being read or written. One that waits for its time is not among them.
    std::unordered_map<int, std::unique_ptr<Connection>> active_;
    std::unordered_map<int, std::unique_ptr<Connection>> asleep_;
    /// One delay for all slow calls, so the queue is in the order of their times.
    std::deque<Waiting> waiting_;
    std::string scratch_;
};

} // namespace vostel_bench
