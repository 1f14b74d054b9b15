// An application that a test controls: it listens where the server looks, and the test scripts every connection.
#pragma once

#include "posix/FileDescriptor.h"
#include "tests/e2e/ApplicationConnection.h"

#include <filesystem>
#include <string>

namespace vostel_tests {

/// Where an application of the user with this home folder listens.
[[nodiscard]] std::filesystem::path socketPath(const std::filesystem::path& home);

/// A listening socket at `path`, made with the folders above it.
[[nodiscard]] posix::FileDescriptor listenAt(const std::filesystem::path& path, int backlog);

/// The next connection to `listener`; none when `limit` passes first.
[[nodiscard]] std::optional<ApplicationConnection> acceptFrom(const posix::FileDescriptor& listener,
                                                              std::chrono::milliseconds limit);

class FakeApplication final {
public:
    /// Begins to listen. `backlog` is the number of connections that may wait to be accepted.
    explicit FakeApplication(const std::filesystem::path& home, int backlog = 128);
    /// Removes the socket. Accepted connections stay open.
    ~FakeApplication();
    FakeApplication(const FakeApplication&) = delete;
    FakeApplication& operator=(const FakeApplication&) = delete;

    /// Waits until a connection waits to be accepted.
    void expectSomebody();
    [[nodiscard]] ApplicationConnection accept();
    /// The next connection, which must bring a call.
    [[nodiscard]] ReceivedCall nextCall();
    /// The next connection that brings a call. Accepts and ignores cancellations before it.
    [[nodiscard]] ReceivedCall nextCallPastCancellations();
    /// The payload of the next connection's only frame, which must be a cancellation.
    [[nodiscard]] nlohmann::json nextCancellation();
    /// True when the next connection that waits to be accepted brings the cancellation of this call.
    [[nodiscard]] bool hasCancellation(const std::string& requestID);
    /// Fails the test when a connection comes during `silence`.
    void expectNobody();

private:
    std::filesystem::path path_;
    posix::FileDescriptor listener_;
};

} // namespace vostel_tests
