// The only way to the network that a download has.
//
// The downloader reads links by rules of its own, follows redirections, and resolves names again after they were
// judged; a name may then have another address. So it is given a proxy, which judges each connection: only encrypted
// ones, only to hosts of the video service, and only to an address that this very connection was judged by.
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

/// Listens on the local machine from `start` to the destructor, which cuts all connections.
class VideoProxy final {
public:
    struct Uses {
        VostelMCPKit::MCPURLPolicy::Resolver resolve;
        posix::ThreadStarter startThread;
        /// The port of the video service; another one only where a test plays the service.
        std::uint16_t servicePort = 443;
        /// Whether an address, in its numeric form, may be connected to.
        bool (*isPublic)(const std::string& address);
    };

    [[nodiscard]] static std::expected<VideoProxy, VostelMCPKit::PosixError> start(Uses uses);
    VideoProxy(VideoProxy&&) noexcept = default;
    VideoProxy& operator=(VideoProxy&&) = delete;

    /// "http://127.0.0.1:PORT".
    [[nodiscard]] const std::string& url() const { return url_; }

private:
    VideoProxy(posix::FileDescriptor running, std::string url) : running_{std::move(running)}, url_{std::move(url)} {}

    /// Its closing tells the threads to end.
    posix::FileDescriptor running_;
    std::string url_;
};

/// Whether videos, or the pages about them, come from this host: the hosts that links may point to, and those from
/// which the service delivers sound and pictures.
[[nodiscard]] bool isHostOfVideoService(std::string_view host);

/// Whether the address leads out into the public network. Deliberate: stricter than the policy for links, whose list of
/// private ranges is short; here also "this host", shared and reserved ranges and IPv4 in disguise are refused.
[[nodiscard]] bool isPublicAddress(const std::string& address);

} // namespace vostel_companion
