// Downloads the sound of a link with yt-dlp, after the link policy allowed the link.
#pragma once

#include "companion/download/DownloadError.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Semaphore.h"
#include "companion/support/WorkFolder.h"
#include "kit/tools/MCPURLPolicy.h"
#include "posix/BlockingThread.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vostel_companion {

/// A file in a folder of its own. Both are deleted with this object.
struct DownloadedAudio {
    WorkFolder folder;
    std::filesystem::path path;
};

/// A link that the policy allowed.
struct AllowedLink {
    std::string url;
    /// The host of `url`, and its allowed addresses.
    VostelMCPKit::MCPURLPolicy::Decision::Allowed allowed;

    bool operator==(const AllowedLink&) const = default;
};

/// Downloads the sound of a link. `progress` receives the fraction that has arrived. It never decreases.
using DownloadAudio = std::function<std::expected<DownloadedAudio, DownloadError>(
    const AllowedLink& link, Cancellation& cancellation, const std::function<void(double)>& progress)>;

/// Runs yt-dlp for a few links at a time; further calls wait. yt-dlp gets only a proxy to the video service (see
/// VideoProxy), a folder for its file, and limits. Thread-safe.
class VideoDownloader final {
public:
    struct Limits {
        /// An hour of good sound is about 100 MB. If sound and video cannot be separated, the file is larger.
        std::uintmax_t bytes = std::uintmax_t{2} << 30;
        std::chrono::seconds time = std::chrono::minutes{30};
        /// Between two checks of time, size and cancellation.
        std::chrono::milliseconds pollInterval{200};
        std::size_t downloadsAtOnce = 2;
    };
    struct Dependencies {
        /// A folder for each download is made in it.
        std::filesystem::path downloads;
        /// As in the variable PATH.
        std::string searchPath;
        /// "NAME=value", for yt-dlp.
        std::vector<std::string> environment;
        VostelMCPKit::MCPURLPolicy::Resolver resolve;
        posix::ThreadStarter startThread;
    };

    VideoDownloader(Dependencies dependencies, Limits limits);
    VideoDownloader(const VideoDownloader&) = delete;
    VideoDownloader& operator=(const VideoDownloader&) = delete;

    [[nodiscard]] std::expected<DownloadedAudio, DownloadError>
    download(const AllowedLink& link, Cancellation& cancellation, const std::function<void(double)>& progress);

private:
    const Dependencies dependencies_;
    const Limits limits_;
    Semaphore downloads_;
};

/// Where to look for yt-dlp, as in the variable PATH: in the folders of `path`, then where Homebrew, MacPorts and pip
/// install programs. An application that the system opened has none of these in its PATH.
[[nodiscard]] std::string downloaderSearchPath(std::string_view path, const std::filesystem::path& home);

/// The first yt-dlp in the folders of `searchPath`.
[[nodiscard]] std::optional<std::filesystem::path> findDownloader(std::string_view searchPath);

/// The downloader with this process's environment and the system's resolver.
[[nodiscard]] DownloadAudio systemDownload(const std::filesystem::path& downloads);

} // namespace vostel_companion
