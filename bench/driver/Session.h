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
    /// The throw-away home folder whose socket the stub application listens on.
    std::string home;
    /// Gets the server's standard error.
    std::string log;
    /// The stub application that it talks to, if any.
    pid_t application = 0;

    bool operator==(const Launch&) const = default;
};

/// Room for the answers of one exchange. It is touched once at the start, so that no page of it is mapped on the clock.
using Inbox = std::vector<char>;

/// When each request of an exchange was written whole, and when each line of the answers was read.
struct Moments {
    std::vector<std::chrono::steady_clock::time_point> written;
    std::vector<std::chrono::steady_clock::time_point> answered;
};

/// A server in a process of its own, spoken to over pipes as a client would. The driver is one thread: write what the
/// pipe takes, read what has come, count the line feeds; looking at the answers is left for after the exchange.
/// The stub application is started and stopped by the same means.
class Session final {
public:
    Session(const Launch& launch, Inbox& inbox);
    /// Closes the server's standard input and waits for it to leave; a server that has not left after 10 s fails the
    /// run.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Writes the requests and returns everything read until the `lines`-th line feed, with never more than `atOnce`
    /// requests unanswered. What it returns is valid until the next exchange over the same inbox.
    /// `moments`, unless it is null, receives the times.
    std::string_view exchange(const Requests& requests, std::size_t lines, std::size_t atOnce = allAtOnce,
                              Moments* moments = nullptr);

    [[nodiscard]] pid_t process() const { return process_; }

private:
    static constexpr std::size_t allAtOnce = static_cast<std::size_t>(-1);

    /// Returns the number of bytes that the pipe took, none when it is full.
    std::size_t writeSome(std::string_view bytes);
    /// Returns the number of bytes read into `room`, none when nothing has come.
    std::size_t readSome(std::span<char> room);
    void wait(bool toWriteToo);

    Inbox& inbox_;
    pid_t process_ = -1;
    int toServer_ = -1;
    int fromServer_ = -1;
};

} // namespace vostel_bench
