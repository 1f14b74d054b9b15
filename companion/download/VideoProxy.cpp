#include "companion/download/VideoProxy.h"

#include "kit/support/ASCII.h"
#include "posix/BrokenPipe.h"
#include "posix/Pipe.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <tuple>
#include <utility>
#include <vector>

namespace vostel_companion {

using VostelMCPKit::PosixError;
namespace MCPURLPolicy = VostelMCPKit::MCPURLPolicy;

namespace {

constexpr posix::ThreadName proxyThread{"com.vostel.vostel.video-proxy", "video-proxy"};
constexpr std::string_view mediaHost = "googlevideo.com";
constexpr int connectionsAtOnce = 32;
constexpr std::size_t longestHead = 8192;
constexpr std::size_t pieceSize = 65'536;
constexpr int headTimeout = 10'000;
constexpr int connectTimeout = 10'000;
/// How long a connection may carry no bytes.
constexpr int idleTimeout = 60'000;
/// The pause before the next attempt when the system is out of a resource.
constexpr int acceptRetryDelay = 100;

/// Shared by the threads. The last one to end destroys it.
struct Shared {
    VideoProxy::Dependencies dependencies;
    posix::FileDescriptor listener;
    /// The reading end of a pipe that is closed when the proxy stops.
    posix::FileDescriptor stopped;
    std::atomic<int> connections = 0;
};

/// Waits until one of `waiting` is ready. False if the proxy stops or after `timeout` milliseconds.
bool wait(const Shared& shared, std::span<pollfd> waiting, int timeout) {
    std::array<pollfd, 3> all{};
    std::ranges::copy(waiting, all.begin());
    all[waiting.size()] = {shared.stopped.get(), POLLIN, 0};
    const int count = ::poll(all.data(), static_cast<nfds_t>(waiting.size() + 1), timeout);
    std::ranges::copy(std::span{all}.first(waiting.size()), waiting.begin());
    return count > 0 && all[waiting.size()].revents == 0;
}

bool wait(const Shared& shared, int socket, short events, int timeout) {
    pollfd one{socket, events, 0};
    return wait(shared, {&one, 1}, timeout);
}

bool sendAll(const Shared& shared, int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), posix::sendFlags);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if ((errno != EAGAIN && errno != EINTR) || !wait(shared, socket, POLLOUT, idleTimeout)) {
            return false;
        }
    }
    return true;
}

/// The next bytes. Empty at the end and on a failure.
std::string receive(int socket) {
    std::string piece(pieceSize, '\0');
    const ssize_t count = ::recv(socket, piece.data(), piece.size(), 0);
    piece.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return piece;
}

void prepare(const posix::FileDescriptor& socket) {
    posix::setCloseOnExec(socket);
    posix::setNonBlocking(socket);
    posix::suppressBrokenPipe(socket.get());
}

/// A request for a tunnel, and the bytes after it.
struct ProxyRequest {
    std::string head;
    std::string rest;
};

std::optional<ProxyRequest> readRequest(const Shared& shared, int client) {
    constexpr std::string_view end = "\r\n\r\n";
    ProxyRequest request;
    while (true) {
        if (const std::size_t found = request.head.find(end); found != std::string::npos) {
            request.rest = request.head.substr(found + end.size());
            request.head.resize(found);
            return request;
        }
        if (request.head.size() > longestHead || !wait(shared, client, POLLIN, headTimeout)) return std::nullopt;
        const std::string piece = receive(client);
        if (piece.empty()) return std::nullopt;
        request.head += piece;
    }
}

/// The host of "CONNECT host:443 HTTP/1.1", in lower case. Absent for every other request.
std::optional<std::string> wantedHost(std::string_view head) {
    constexpr std::string_view method = "CONNECT ";
    if (!head.starts_with(method)) return std::nullopt;
    std::string_view target = head.substr(method.size(), head.find_first_of(" \r\n", method.size()) - method.size());
    if (!target.ends_with(":443")) return std::nullopt;
    target.remove_suffix(4);
    return VostelMCPKit::asciiLowerCase(target);
}

/// Connects to a numeric address.
posix::FileDescriptor connectTo(const Shared& shared, const std::string& address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (::getaddrinfo(address.c_str(), std::to_string(shared.dependencies.servicePort).c_str(), &hints, &list) != 0)
        return {};
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner{list, ::freeaddrinfo};

    posix::FileDescriptor socket{::socket(list->ai_family, SOCK_STREAM, 0)};
    if (!socket.isOpen()) return {};
    prepare(socket);
    if (::connect(socket.get(), list->ai_addr, list->ai_addrlen) == 0) return socket;
    if (errno != EINPROGRESS || !wait(shared, socket.get(), POLLOUT, connectTimeout)) return {};
    int failure = 0;
    socklen_t size = sizeof failure;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &failure, &size) != 0 || failure != 0) return {};
    return socket;
}

/// Connects to the first address of the host that answers. All of its addresses must be public.
std::expected<posix::FileDescriptor, const char*> openTunnel(const Shared& shared, std::string_view head) {
    const auto host = wantedHost(head);
    if (!host || !isHostOfVideoService(*host)) return std::unexpected("403 Forbidden");
    const std::vector<std::string> addresses = shared.dependencies.resolve(*host);
    if (!std::ranges::all_of(addresses, shared.dependencies.isPublic)) return std::unexpected("403 Forbidden");
    for (const std::string& address : addresses) {
        if (posix::FileDescriptor socket = connectTo(shared, address); socket.isOpen()) return socket;
    }
    return std::unexpected("502 Bad Gateway");
}

/// Copies bytes both ways until both sides are closed or both are idle for too long.
void relay(const Shared& shared, int client, int service) {
    std::array<pollfd, 2> sides{pollfd{client, POLLIN, 0}, pollfd{service, POLLIN, 0}};
    while ((sides[0].fd >= 0 || sides[1].fd >= 0) && wait(shared, sides, idleTimeout)) {
        for (std::size_t from = 0; from < 2; ++from) {
            if (sides[from].fd < 0 || sides[from].revents == 0) continue;
            const int to = from == 0 ? service : client;
            const std::string piece = receive(sides[from].fd);
            if (piece.empty()) {
                ::shutdown(to, SHUT_WR);
                sides[from].fd = -1; // poll ignores negative descriptors
            } else if (!sendAll(shared, to, piece)) {
                return;
            }
        }
    }
}

void serve(const Shared& shared, const posix::FileDescriptor& connection) {
    prepare(connection);
    const int client = connection.get();
    const auto request = readRequest(shared, client);
    if (!request) return;
    const auto service = openTunnel(shared, request->head);
    const std::string status = service ? "200 Connection established" : service.error();
    if (!sendAll(shared, client, "HTTP/1.1 " + status + "\r\n\r\n") || !service) return;
    if (sendAll(shared, service->get(), request->rest)) relay(shared, client, service->get());
}

void acceptAll(const std::shared_ptr<Shared>& shared) {
    while (wait(*shared, shared->listener.get(), POLLIN, -1)) {
        posix::FileDescriptor accepted{::accept(shared->listener.get(), nullptr, nullptr)};
        if (!accepted.isOpen()) {
            // Probably out of descriptors. The connection stays ready, so without a pause this loop would spin.
            std::ignore = wait(*shared, {}, acceptRetryDelay);
            continue;
        }
        if (shared->connections >= connectionsAtOnce) continue;
        const auto client = std::make_shared<posix::FileDescriptor>(std::move(accepted));
        ++shared->connections;
        const auto started = shared->dependencies.startThread(proxyThread, [shared, client] {
            serve(*shared, *client);
            --shared->connections;
        });
        if (!started) --shared->connections;
    }
}

bool isWithin(std::string_view host, std::string_view domain) {
    return host == domain || (host.ends_with(domain) && host.substr(0, host.size() - domain.size()).ends_with('.'));
}

bool isPublicIPv4(const std::array<std::uint8_t, 4>& address) {
    const auto [a, b, c, d] = address;
    return !MCPURLPolicy::isPrivateIPv4(address) && a != 0 && a < 224 && !(a == 100 && (b & 0xC0) == 64);
}

bool isPublicIPv6(const std::array<std::uint8_t, 16>& address) {
    // Global unicast addresses begin with the bits 001. Other addresses, and those of 6to4, may contain an IPv4
    // address. For NAT64, the IPv4 address inside is checked.
    constexpr std::array<std::uint8_t, 12> translated{0x00, 0x64, 0xFF, 0x9B};
    if (std::ranges::equal(translated, std::span{address}.first<12>())) {
        return isPublicIPv4({address[12], address[13], address[14], address[15]});
    }
    return (address[0] & 0xE0) == 0x20 && !(address[0] == 0x20 && address[1] == 0x02);
}

} // namespace

std::expected<VideoProxy, PosixError> VideoProxy::start(Dependencies dependencies) {
    const auto failed = [] { return std::unexpected(PosixError{errno}); };
    auto stop = posix::Pipe::make();
    if (!stop) return std::unexpected(stop.error());
    auto shared = std::make_shared<Shared>(
        std::move(dependencies), posix::FileDescriptor{::socket(AF_INET, SOCK_STREAM, 0)}, std::move(stop->reader));
    if (!shared->listener.isOpen()) return failed();
    prepare(shared->listener);
    const int listener = shared->listener.get();

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (::bind(listener, general, size) != 0 || ::listen(listener, connectionsAtOnce) != 0 ||
        ::getsockname(listener, general, &size) != 0) {
        return failed();
    }

    const auto startThread = shared->dependencies.startThread;
    if (auto started = startThread(proxyThread, [shared] { acceptAll(shared); }); !started) {
        return std::unexpected(started.error());
    }
    return VideoProxy{std::move(stop->writer), "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port))};
}

bool isHostOfVideoService(std::string_view host) {
    return isWithin(host, MCPURLPolicy::mainHost) || host == MCPURLPolicy::shortLinkHost || isWithin(host, mediaHost);
}

bool isPublicAddress(const std::string& address) {
    std::array<std::uint8_t, 4> four;
    std::array<std::uint8_t, 16> sixteen;
    if (address.contains('\0')) return false;
    if (::inet_pton(AF_INET, address.c_str(), four.data()) == 1) return isPublicIPv4(four);
    if (::inet_pton(AF_INET6, address.c_str(), sixteen.data()) == 1) return isPublicIPv6(sixteen);
    return false;
}

} // namespace vostel_companion
