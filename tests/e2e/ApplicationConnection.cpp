#include "tests/e2e/ApplicationConnection.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

namespace vostel_tests {

std::string ApplicationConnection::read(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t length = 0;
    while (length < count) {
        if (!waitUntilReady(socket_.get(), POLLIN, timeout())) {
            ADD_FAILURE() << "the server sends nothing more after " << length << " of " << count << " bytes";
            break;
        }
        const ssize_t read = ::recv(socket_.get(), bytes.data() + length, count - length, MSG_DONTWAIT);
        if (read == 0 || (read < 0 && errno != EAGAIN)) break;
        if (read > 0) length += static_cast<std::size_t>(read);
    }
    bytes.resize(length);
    return bytes;
}

std::string ApplicationConnection::readFrame() {
    std::size_t length = 0;
    for (const char byte : read(4)) length = length << 8 | static_cast<unsigned char>(byte);
    return read(length);
}

void ApplicationConnection::write(std::string_view bytes) {
    while (!bytes.empty()) {
        // In parts, because the thread sanitizer checks all offered bytes at each call.
        const std::string_view portion = bytes.substr(0, 262'144);
        const ssize_t count = ::send(socket_.get(), portion.data(), portion.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EPIPE || errno == ECONNRESET) {
            // The server has ended the call, and tells its client why.
            return;
        } else if (errno != EAGAIN || !waitUntilReady(socket_.get(), POLLOUT, timeout())) {
            ADD_FAILURE() << "the server does not read its socket";
            return;
        }
    }
}

void ApplicationConnection::expectClosedByServer() {
    char bytes[4096];
    for (;;) {
        if (!waitUntilReady(socket_.get(), POLLIN, timeout())) {
            ADD_FAILURE() << "the server keeps its connection open";
            return;
        }
        const ssize_t count = ::recv(socket_.get(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (count == 0 || (count < 0 && errno != EAGAIN)) return;
    }
}

std::string ReceivedCall::response(std::string_view result) const {
    std::string payload = R"({"kind":"response","payload":{"requestID":")" + requestID + R"(","result":)";
    payload += result;
    return payload + "}}";
}

std::string ReceivedCall::progress(std::string_view fraction) const {
    std::string payload = R"({"kind":"progress","payload":{"requestID":")" + requestID + R"(","fraction":)";
    payload += fraction;
    return payload + "}}";
}

} // namespace vostel_tests
