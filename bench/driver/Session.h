// A server in a process of its own, and the pipes to talk to it.
#pragma once

#include "bench/driver/Requests.h"

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace vostel_bench {

/// How a server is started.
struct Launch {
    std::vector<std::string> command;
    /// The temporary home folder that contains the stub application's socket.
    std::string home;
    /// The file for the server's standard error.
    std::string log;
    /// The stub application that it talks to, if any.
    pid_t application = 0;

    bool operator==(const Launch&) const = default;
};

/// Room for the answers of one exchange. All its pages are touched at the start, so that mapping them is not measured.
using Inbox = std::vector<char>;

/// When each request of an exchange was written completely, and when each line of the answers was read.
struct Timestamps {
    std::vector<std::chrono::steady_clock::time_point> written;
    std::vector<std::chrono::steady_clock::time_point> answered;
};

/// A server in a process of its own, which the driver uses over pipes as a client does. The driver is one thread: it
/// writes what the pipe takes, reads what has come, and counts line feeds. It checks the answers after the exchange.
/// The stub application is started and stopped in the same way.
class Session final {
public:
    Session(const Launch& launch, Inbox& inbox);
    /// Closes the server's standard input and waits for its end. If the server has not ended after 10 s, the run fails.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Writes the requests with at most `atOnce` of them unanswered. Returns everything that was read until `lines`
    /// line feeds; it is valid until the next exchange with the same inbox. `timestamps`, unless it is null, receives
    /// the times.
    std::string_view exchange(const Requests& requests, std::size_t lines, std::size_t atOnce = allAtOnce,
                              Timestamps* timestamps = nullptr);

    [[nodiscard]] pid_t process() const { return process_; }

private:
    static constexpr std::size_t allAtOnce = static_cast<std::size_t>(-1);

    /// Returns the number of bytes that the pipe took: 0 when it is full.
    std::size_t writeSome(std::string_view bytes);
    /// Returns the number of bytes read into `room`: 0 when none have come.
    std::size_t readSome(std::span<char> room);
    void wait(bool toWriteToo);

    Inbox& inbox_;
    pid_t process_ = -1;
    int toServer_ = -1;
    int fromServer_ = -1;
};

} // namespace vostel_bench
