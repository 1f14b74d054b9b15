#include "companion/download/VideoProxy.h"
#include "tests/companion/support/Loopback.h"
#include "tests/support/Table.h"

#include <array>
#include <ctime>
#include <gtest/gtest.h>
#include <mutex>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <vector>

namespace vostel_companion {

namespace {

/// A socket that plays the video service.
class Service {
public:
    Service() : listener_{::socket(AF_INET, SOCK_STREAM, 0)} {
        sockaddr_in address = vostel_tests::loopback(0);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(listener_.get(), 8), 0);
        EXPECT_EQ(::getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] posix::FileDescriptor accept() const {
        return posix::FileDescriptor{::accept(listener_.get(), nullptr, nullptr)};
    }
    [[nodiscard]] bool hasCaller() const {
        pollfd waiting{listener_.get(), POLLIN, 0};
        return ::poll(&waiting, 1, 0) > 0;
    }

private:
    posix::FileDescriptor listener_;
    std::uint16_t port_ = 0;
};

void connectTo(const VideoProxy& proxy, const posix::FileDescriptor& socket) {
    const std::string& url = proxy.url();
    const auto port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    const sockaddr_in address = vostel_tests::loopback(port);
    EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

posix::FileDescriptor connectTo(const VideoProxy& proxy) {
    posix::FileDescriptor socket{::socket(AF_INET, SOCK_STREAM, 0)};
    connectTo(proxy, socket);
    return socket;
}

void send(const posix::FileDescriptor& socket, std::string_view bytes) {
    EXPECT_EQ(::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

/// The next `count` bytes, or fewer when the connection ends before.
std::string receive(const posix::FileDescriptor& socket, std::size_t count) {
    std::string bytes(count, '\0');
    const ssize_t received = ::recv(socket.get(), bytes.data(), bytes.size(), MSG_WAITALL);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    return bytes;
}

constexpr std::string_view established = "HTTP/1.1 200 Connection established\r\n\r\n";

/// A proxy to a service on this machine. Every host resolves to `addresses`.
struct ProxyStage {
    Service service;
    std::vector<std::string> addresses = {"127.0.0.1"};
    std::vector<std::string> resolved;
    std::mutex mutex;

    VideoProxy start(bool (*isPublic)(const std::string&)) {
        return VideoProxy::start({[this](const std::string& host) {
                                      const std::lock_guard lock{mutex};
                                      resolved.push_back(host);
                                      return addresses;
                                  },
                                  posix::startBlockingThread, service.port(), isPublic})
            .value();
    }
};

bool always(const std::string&) { return true; }

} // namespace

TEST(VideoProxy, carries_bytes_both_ways_once_the_host_was_checked) {
    ProxyStage stage;
    const VideoProxy proxy = stage.start(always);
    const posix::FileDescriptor client = connectTo(proxy);
    // In pieces, and with the first bytes of the conversation after the request.
    send(client, "CONNECT WWW.YouTube.com:443 HT");
    send(client, "TP/1.1\r\nHost: www.youtube.com:443\r\n\r\nhello");
    EXPECT_EQ(receive(client, established.size()), established);
    const posix::FileDescriptor service = stage.service.accept();
    EXPECT_EQ(receive(service, 5), "hello");
    const std::string long_(3'000'000, 'x');
    std::thread sender{[&] {
        for (std::string_view rest = long_; !rest.empty();) {
            const ssize_t count = ::send(service.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
            if (count <= 0) return;
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
        ::shutdown(service.get(), SHUT_WR);
    }};
    EXPECT_EQ(receive(client, long_.size() + 1), long_) << "and then the end";
    sender.join();
    send(client, "bye");
    EXPECT_EQ(receive(service, 3), "bye") << "the other way is still open";
    EXPECT_EQ(stage.resolved, std::vector<std::string>{"www.youtube.com"});
}

TEST(VideoProxy, refuses_everything_but_tunnels_to_the_service) {
    struct Row {
        const char* when;
        const char* head;
    };
    const Row rows[] = {
        {"an unencrypted request", "GET http://www.youtube.com/ HTTP/1.1"},
        {"another port", "CONNECT www.youtube.com:80 HTTP/1.1"},
        {"no port", "CONNECT www.youtube.com HTTP/1.1"},
        {"another host", "CONNECT example.com:443 HTTP/1.1"},
        {"a host that only ends alike", "CONNECT notyoutube.com:443 HTTP/1.1"},
        {"a host that only begins alike", "CONNECT youtube.com.example.com:443 HTTP/1.1"},
        {"an address", "CONNECT 127.0.0.1:443 HTTP/1.1"},
        {"two ports", "CONNECT example.com:443:443 HTTP/1.1"},
        {"nothing", "CONNECT :443 HTTP/1.1"},
        {"garbage", "\x16\x03\x01"},
    };
    ProxyStage stage;
    const VideoProxy proxy = stage.start(always);
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const posix::FileDescriptor client = connectTo(proxy);
        send(client, std::string{row.head} + "\r\n\r\n");
        EXPECT_EQ(receive(client, 1000), "HTTP/1.1 403 Forbidden\r\n\r\n");
    });
    EXPECT_TRUE(stage.resolved.empty());
    EXPECT_FALSE(stage.service.hasCaller());
}

TEST(VideoProxy, checks_the_addresses_of_every_connection) {
    ProxyStage stage;
    const VideoProxy proxy = stage.start(isPublicAddress);
    constexpr std::string_view request = "CONNECT r1.googlevideo.com:443 HTTP/1.1\r\n\r\n";
    for (const std::vector<std::string>& addresses :
         {std::vector<std::string>{"127.0.0.1"}, {"8.8.8.8", "127.0.0.1"}, {"localhost"}}) {
        {
            const std::lock_guard lock{stage.mutex};
            stage.addresses = addresses;
        }
        const posix::FileDescriptor client = connectTo(proxy);
        send(client, request);
        EXPECT_EQ(receive(client, 1000), "HTTP/1.1 403 Forbidden\r\n\r\n");
    }
    {
        const std::lock_guard lock{stage.mutex};
        stage.addresses.clear();
    }
    const posix::FileDescriptor client = connectTo(proxy);
    send(client, request);
    EXPECT_EQ(receive(client, 1000), "HTTP/1.1 502 Bad Gateway\r\n\r\n") << "a name without addresses";
    EXPECT_FALSE(stage.service.hasCaller());
}

TEST(VideoProxy, tries_the_next_address_when_one_does_not_answer) {
    ProxyStage stage;
    stage.addresses = {"127.0.0.2:1", "127.0.0.1"};
    const VideoProxy proxy = stage.start(always);
    const posix::FileDescriptor client = connectTo(proxy);
    send(client, "CONNECT youtu.be:443 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(receive(client, established.size()), established);
}

TEST(VideoProxy, a_request_that_is_too_long_is_cut_off) {
    ProxyStage stage;
    const VideoProxy proxy = stage.start(always);
    const posix::FileDescriptor client = connectTo(proxy);
    const std::string endless(10'000, 'x');
    std::ignore = ::send(client.get(), endless.data(), endless.size(), MSG_NOSIGNAL);
    EXPECT_EQ(receive(client, 1), "");
}

TEST(VideoProxy, its_end_closes_every_connection) {
    ProxyStage stage;
    std::optional<VideoProxy> proxy{stage.start(always)};
    const posix::FileDescriptor client = connectTo(*proxy);
    send(client, "CONNECT youtube.com:443 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(receive(client, established.size()), established);
    const posix::FileDescriptor service = stage.service.accept();
    proxy.reset();
    EXPECT_EQ(receive(client, 1), "");
    EXPECT_EQ(receive(service, 1), "");
}

TEST(VideoProxy, accepts_only_hosts_of_the_service) {
    struct Row {
        const char* host;
        bool isOfService;
    };
    const Row rows[] = {
        {"youtube.com", true},
        {"www.youtube.com", true},
        {"youtu.be", true},
        {"r5---sn-4g5e6nz7.googlevideo.com", true},
        {"googlevideo.com", true},
        {"www.youtu.be", false},
        {"google.com", false},
        {"xgooglevideo.com", false},
        {"youtube.com.evil.org", false},
        {"", false},
        {".youtube.com", true},
    };
    for (const Row& row : rows) EXPECT_EQ(isHostOfVideoService(row.host), row.isOfService) << row.host;
}

TEST(VideoProxy, accepts_only_addresses_in_the_public_network) {
    struct Row {
        const char* address;
        bool isPublic;
    };
    const Row rows[] = {
        {"8.8.8.8", true},
        {"142.250.1.1", true},
        {"2a00:1450:4001:80e::200e", true},
        {"64:ff9b::8.8.8.8", true},
        {"127.0.0.1", false},
        {"10.1.2.3", false},
        {"172.16.0.1", false},
        {"192.168.0.1", false},
        {"169.254.169.254", false},
        {"0.0.0.0", false},
        {"100.64.0.1", false},
        {"100.128.0.1", true},
        {"224.0.0.1", false},
        {"255.255.255.255", false},
        {"::", false},
        {"::1", false},
        {"::ffff:8.8.8.8", false},
        {"::ffff:127.0.0.1", false},
        {"64:ff9b::10.0.0.1", false},
        {"64:ff9b:1::1", false},
        {"2002:7f00:1::", false},
        {"fe80::1%eth0", false},
        {"fe80::1", false},
        {"fd00::1", false},
        {"ff02::1", false},
        {"8.8.8", false},
        {"0x7f.1", false},
        {"localhost", false},
        {"", false},
    };
    for (const Row& row : rows) EXPECT_EQ(isPublicAddress(row.address), row.isPublic) << row.address;
    EXPECT_FALSE(isPublicAddress(std::string{"8.8.8.8\0", 8}));
}

TEST(VideoProxy, waits_without_using_the_processor_when_there_are_no_descriptors) {
    ProxyStage stage;
    const VideoProxy proxy = stage.start(always);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    posix::FileDescriptor client{::socket(AF_INET, SOCK_STREAM, 0)};
    // The next descriptor of this process would exceed the limit.
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(posix::FileDescriptor{::dup(client.get())}.get());
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    connectTo(proxy, client);
    const std::clock_t start = std::clock();
    ::poll(nullptr, 0, 300);
    const double busy = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_LT(busy, 0.15);

    send(client, "CONNECT www.youtube.com:443 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(receive(client, established.size()), established);
}

} // namespace vostel_companion
