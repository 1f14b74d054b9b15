// One connection on the application's side of the socket, used by a test.
#pragma once

#include "posix/FileDescriptor.h"
#include "tests/e2e/Timeout.h"
#include "tests/support/Frame.h"

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace vostel_tests {

/// An operation that takes longer than `timeout` fails the test.
class ApplicationConnection final {
public:
    explicit ApplicationConnection(posix::FileDescriptor socket) : socket_{std::move(socket)} {}

    /// The next `count` bytes; fewer when the server ends before.
    [[nodiscard]] std::string read(std::size_t count);
    /// The payload of the next frame.
    [[nodiscard]] std::string readFrame();
    /// Writes bytes as they are.
    void write(std::string_view bytes);
    void close() { socket_ = {}; }
    /// Waits until the server closes its end, and ignores what it still writes.
    void expectClosedByServer();

private:
    posix::FileDescriptor socket_;
};

/// A tools/call that has arrived at the application.
struct ReceivedCall {
    ApplicationConnection connection;
    std::string requestID;
    /// The payload of the request's frame.
    nlohmann::json request;

    /// The payload of the frame that ends this call; `result` is JSON text.
    [[nodiscard]] std::string response(std::string_view result) const;
    /// The payload of a progress frame of this call; `fraction` is JSON text.
    [[nodiscard]] std::string progress(std::string_view fraction) const;
    void answer(std::string_view result) { connection.write(frame(response(result))); }
};

} // namespace vostel_tests
