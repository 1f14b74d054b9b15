// Runs the server under ptrace and makes its system calls fail.
#pragma once

#include "tests/torture/Fault.h"
#include "tests/torture/SharedState.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string>
#include <sys/types.h>
#include <thread>
#include <unordered_map>
#include <vector>

namespace torture {

/// How a process ended. The signal is 0 when no signal ended it.
struct Ending {
    int exitStatus = 0;
    int signal = 0;

    bool operator==(const Ending&) const = default;
};

/// Follows the server, its threads and the processes that it starts, up to their exec. Linux on x86-64.
class Tracer final {
public:
    struct Program {
        std::string executable;
        std::vector<std::string> environment;
        int input, output, error;
    };

    Tracer(SharedState& shared, std::vector<Fault> faults) : shared_{shared}, faults_{std::move(faults)} {}
    Tracer(const Tracer&) = delete;
    /// Kills the processes that still run.
    ~Tracer();

    /// With `armsAtMain`, the faults begin with the program's own first system call.
    void start(const Program& program, bool armsAtMain);

    /// From now on system calls and allocations are counted, and the faults happen.
    void arm();
    void disarm();

    [[nodiscard]] pid_t server() const { return server_; }
    /// Absent while the server runs.
    [[nodiscard]] std::optional<Ending> ending() const;
    /// Kills the server.
    void kill() const;
    /// Whether all processes that the server started have ended or executed another program.
    [[nodiscard]] bool isAlone() const;

    /// While armed: how often each system call was made.
    [[nodiscard]] std::map<long, long> counts() const;
    /// The system calls that failed.
    [[nodiscard]] long failures() const { return shared_.systemFailures; }

private:
    struct Thread {
        bool isInside = false;
        /// The value that the system call will return to the program.
        std::optional<long> result;
        /// The original value of a changed argument.
        std::optional<unsigned long long> length, address;
    };

    void trace(const Program& program, bool armsAtMain);
    void runProgram(const Program& program);
    void noteThreads();
    void onSystemCall(pid_t thread);
    void enter(pid_t id, Thread& thread);
    void leave(pid_t id, Thread& thread);
    const Fault* faultFor(long number);

    SharedState& shared_;
    const std::vector<Fault> faults_;
    std::thread tracer_;
    std::binary_semaphore isStarted_{0};
    std::atomic<pid_t> server_ = 0;
    bool armsAtMain_ = false;
    /// The traced threads. Used only by the tracing thread.
    std::unordered_map<pid_t, Thread> threads_;

    mutable std::mutex mutex_;
    std::optional<Ending> ending_;
    std::map<long, long> counts_;
    /// The ids of the traced threads.
    std::vector<pid_t> ids_;
};

} // namespace torture
