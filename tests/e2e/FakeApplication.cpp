#include "tests/e2e/FakeApplication.h"

#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace vostel_tests {

using nlohmann::json;
namespace {

/// The call that a new connection brings; none when it brings something else.
std::optional<ReceivedCall> receiveCall(ApplicationConnection connection) {
    const json frame = json::parse(connection.readFrame(), nullptr, /*allow_exceptions=*/false);
    if (!frame.is_object() || frame.value("kind", "") != "request") return std::nullopt;
    json request = frame.value("payload", json::object());
    std::string requestID = request.value("requestID", "");
    return ReceivedCall{std::move(connection), std::move(requestID), std::move(request)};
}

} // namespace

std::filesystem::path socketPath(const std::filesystem::path& home) {
    return home / "Library" / "Application Support" / "com.vostel.vostel" / "mcp.sock";
}

posix::FileDescriptor listenAt(const std::filesystem::path& path, int backlog) {
    std::filesystem::create_directories(path.parent_path());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_LT(path.native().size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    posix::FileDescriptor listener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    EXPECT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    EXPECT_EQ(::listen(listener.get(), backlog), 0) << path;
    return listener;
}

std::optional<ApplicationConnection> acceptFrom(const posix::FileDescriptor& listener,
                                                std::chrono::milliseconds limit) {
    if (!waitUntilReady(listener.get(), POLLIN, limit)) return std::nullopt;
    posix::FileDescriptor connection{::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    if (connection.get() < 0) return std::nullopt;
    return ApplicationConnection{std::move(connection)};
}

FakeApplication::FakeApplication(const std::filesystem::path& home, int backlog)
    : path_{socketPath(home)}, listener_{listenAt(path_, backlog)} {}

FakeApplication::~FakeApplication() { std::filesystem::remove(path_); }

void FakeApplication::expectSomebody() {
    EXPECT_TRUE(waitUntilReady(listener_.get(), POLLIN, timeout())) << "the server does not connect";
}

ApplicationConnection FakeApplication::accept() {
    auto connection = acceptFrom(listener_, timeout());
    if (connection) return *std::move(connection);
    ADD_FAILURE() << "the server does not connect";
    return ApplicationConnection{posix::FileDescriptor{}};
}

ReceivedCall FakeApplication::nextCall() {
    auto call = receiveCall(accept());
    if (call) return *std::move(call);
    ADD_FAILURE() << "the server sends no call";
    return {ApplicationConnection{posix::FileDescriptor{}}, {}, {}};
}

ReceivedCall FakeApplication::nextCallPastCancellations() {
    while (!testing::Test::HasFailure()) {
        if (auto call = receiveCall(accept())) return *std::move(call);
    }
    return {ApplicationConnection{posix::FileDescriptor{}}, {}, {}};
}

json FakeApplication::nextCancellation() {
    ApplicationConnection connection = accept();
    const json frame = json::parse(connection.readFrame(), nullptr, /*allow_exceptions=*/false);
    EXPECT_EQ(frame.value("kind", ""), "cancellation") << frame;
    EXPECT_EQ(connection.read(1), "") << "a cancellation is the only frame of its connection";
    return frame.value("payload", json::object());
}

bool FakeApplication::hasCancellation(const std::string& requestID) {
    auto connection = acceptFrom(listener_, std::chrono::milliseconds{0});
    if (!connection) return false;
    const json frame = json::parse(connection->readFrame(), nullptr, /*allow_exceptions=*/false);
    const json cancellation = {{"protocolVersion", 4}, {"requestID", requestID}};
    return frame == json{{"kind", "cancellation"}, {"payload", cancellation}};
}

void FakeApplication::expectNobody() { EXPECT_FALSE(acceptFrom(listener_, silence).has_value()); }

} // namespace vostel_tests
