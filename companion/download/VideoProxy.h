// The only network access of a download.
//
// The downloader parses links by its own rules, follows redirections, and resolves names again after the link policy
// did. A name may have another address by then. So it must use this proxy, which checks each connection: it must be
// encrypted, it must go to a host of the video service, and it uses the very address that was checked.
//
//     downloader -> CONNECT host:443 -> [is it the service's? are all of its addresses public?] -> one of them
#pragma once

#include "kit/support/PosixError.h"
#include "kit/tools/MCPURLPolicy.h"
#include "posix/BlockingThread.h"
#include "posix/FileDescriptor.h"

#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Listens on the local machine from `start` to the destructor, which closes all connections.
class VideoProxy final {
public:
    struct Dependencies {
        VostelMCPKit::MCPURLPolicy::Resolver resolve;
        posix::ThreadStarter startThread;
        /// The port of the video service. Tests use another one.
        std::uint16_t servicePort = 443;
        /// Whether an address, in its numeric form, may be connected to.
        bool (*isPublic)(const std::string& address);
    };

    [[nodiscard]] static std::expected<VideoProxy, VostelMCPKit::PosixError> start(Dependencies dependencies);
    VideoProxy(VideoProxy&&) noexcept = default;
    VideoProxy& operator=(VideoProxy&&) = delete;

    /// "http://127.0.0.1:PORT".
    [[nodiscard]] const std::string& url() const { return url_; }

private:
    VideoProxy(posix::FileDescriptor running, std::string url) : running_{std::move(running)}, url_{std::move(url)} {}

    /// Closing it ends the threads.
    posix::FileDescriptor running_;
    std::string url_;
};

/// Whether this is a host of the video service: one that links may point to, or one that delivers sound and pictures.
[[nodiscard]] bool isHostOfVideoService(std::string_view host);

/// Whether the address is in the public network. Deliberate: this is stricter than the link policy, whose list of
/// private ranges is short. It also refuses "this host", shared and reserved ranges, and IPv4 addresses inside IPv6
/// ones.
[[nodiscard]] bool isPublicAddress(const std::string& address);

} // namespace vostel_companion
