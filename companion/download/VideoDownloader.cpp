#include "companion/download/VideoDownloader.h"

#include "companion/download/VideoProxy.h"
#include "companion/support/FindProgram.h"
#include "companion/support/FolderSize.h"
#include "kit/support/ASCII.h"
#include "kit/tools/MCPSystemResolver.h"
#include "posix/ChildProcess.h"
#include "posix/FileIO.h"
#include "posix/Pipe.h"
#include "posix/StandardFolders.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <poll.h>
#include <span>
#include <string_view>
#include <utility>

namespace vostel_companion {

namespace fs = std::filesystem;
namespace {

constexpr const char* downloaderName = "yt-dlp";
/// The beginning of each line of progress, which we tell yt-dlp to print.
constexpr std::string_view progressMark = "[vostel] ";
constexpr std::size_t longestLine = 4096;

std::unexpected<DownloadError> failed(DownloadError error) { return std::unexpected(std::move(error)); }
std::unexpected<DownloadError> systemFailed(const char* attempt, VostelMCPKit::PosixError reason) {
    return failed({posix::SystemError{attempt, reason}});
}

/// The value of yt-dlp's option --output. Percent signs are doubled, because a single one begins a field.
std::string outputTemplate(const fs::path& folder) {
    std::string text;
    for (const char c : folder.string()) text.append(c == '%' ? 2 : 1, c);
    return text + "/audio.%(ext)s";
}

std::vector<std::string> argumentsFor(const std::string& url, const fs::path& folder, const std::string& proxy) {
    return {
        "--ignore-config",
        "--no-cache-dir",
        // yt-dlp must download by itself, because another program might not use the proxy.
        "--proxy",
        proxy,
        "--downloader",
        "native",
        "--format",
        "bestaudio[protocol^=http]/best[protocol^=http]",
        // Only one video: lists are not downloaded. A link to a video in a list gives that video.
        "--use-extractors",
        "youtube,youtube:tab,youtubeytbe",
        "--no-playlist",
        "--flat-playlist",
        "--match-filters",
        "!is_live & duration<?86400",
        "--abort-on-unavailable-fragments",
        "--retries",
        "3",
        "--fragment-retries",
        "3",
        "--extractor-retries",
        "1",
        "--socket-timeout",
        "20",
        "--fixup",
        "never",
        "--no-mtime",
        "--no-warnings",
        "--quiet",
        "--progress",
        "--newline",
        "--progress-template",
        "download:" + std::string{progressMark} + "%(progress._percent_str)s",
        "--output",
        outputTemplate(folder),
        "--",
        url,
    };
}

/// Without the variables that name other proxies, or hosts that are to be reached without a proxy.
std::vector<std::string> withoutProxies(std::vector<std::string> environment) {
    std::erase_if(environment, [](const std::string& variable) {
        return VostelMCPKit::asciiLowerCase(variable.substr(0, variable.find('='))).ends_with("_proxy");
    });
    return environment;
}

/// The downloaded file. Absent when there is none.
std::optional<fs::path> fileIn(const fs::path& folder) {
    std::error_code failure;
    for (fs::directory_iterator entry{folder, failure}; !failure && entry != fs::directory_iterator{};
         entry.increment(failure)) {
        std::error_code ignored;
        if (!entry->is_symlink(ignored) && entry->is_regular_file(ignored) && entry->path().extension() != ".part") {
            return entry->path();
        }
    }
    return std::nullopt;
}

/// Reads the output of yt-dlp: its progress, and its error.
class Report final {
public:
    explicit Report(const std::function<void(double)>& progress) : progress_{progress} {}

    /// Reads once, because yt-dlp may write faster than we read.
    void readFrom(const posix::FileDescriptor& output) {
        std::array<char, 65'536> piece;
        const auto count = posix::readSome(output, std::as_writable_bytes(std::span{piece}));
        isAtEnd_ = count && *count == 0;
        for (const char c : std::span{piece}.first(count.value_or(0))) take(c);
    }
    [[nodiscard]] bool isAtEnd() const { return isAtEnd_; }
    [[nodiscard]] const std::string& error() const { return error_; }

private:
    void take(char c) {
        if (c == '\n' || c == '\r') {
            takeLine();
            line_.clear();
        } else if (line_.size() < longestLine) {
            line_ += c;
        }
    }
    void takeLine() {
        if (line_.starts_with("ERROR:")) error_ = line_;
        if (!line_.starts_with(progressMark)) return;
        const double fraction = std::strtod(line_.c_str() + progressMark.size(), nullptr) / 100;
        if (!(fraction > reported_) || fraction > 1) return;
        reported_ = fraction;
        progress_(fraction);
    }

    const std::function<void(double)>& progress_;
    std::string line_;
    std::string error_;
    double reported_ = 0;
    bool isAtEnd_ = false;
};

} // namespace

std::optional<fs::path> findDownloader(std::string_view searchPath) { return findProgram(downloaderName, searchPath); }

VideoDownloader::VideoDownloader(Dependencies dependencies, Limits limits)
    : dependencies_{std::move(dependencies)}, limits_{limits}, downloads_{limits.downloadsAtOnce} {}

std::expected<DownloadedAudio, DownloadError> VideoDownloader::download(const AllowedLink& link,
                                                                        Cancellation& cancellation,
                                                                        const std::function<void(double)>& progress) {
    const auto executable = findDownloader(dependencies_.searchPath);
    if (!executable) return failed({DownloadError::DownloaderMissing{}});
    const auto permit = downloads_.acquire(cancellation);
    if (!permit) return failed({DownloadError::Cancelled{}});

    auto folder = WorkFolder::make(dependencies_.downloads);
    if (!folder) return systemFailed("make a folder for the download", folder.error().reason);
    // For the host of the link, the proxy uses the addresses that the policy allowed. It checks the other hosts of the
    // service when the downloader connects to them.
    const auto resolve = [allowed = link.allowed, others = dependencies_.resolve](const std::string& host) {
        return host == allowed.host ? allowed.addresses : others(host);
    };
    const auto proxy = VideoProxy::start({resolve, dependencies_.startThread, 443, isPublicAddress});
    if (!proxy) return systemFailed("open a connection to the video service", proxy.error());
    constexpr const char* start = "start yt-dlp";
    auto output = posix::Pipe::make();
    if (!output) return systemFailed(start, output.error());
    posix::setNonBlocking(output->reader);
    auto child = posix::ChildProcess::start({.executable = *executable,
                                             .arguments = argumentsFor(link.url, folder->path(), proxy->url()),
                                             .environment = withoutProxies(dependencies_.environment),
                                             .output = output->writer.get(),
                                             .error = output->writer.get()});
    if (!child) return systemFailed(start, child.error());
    output->writer = {};

    Report report{progress};
    const auto deadline = std::chrono::steady_clock::now() + limits_.time;
    bool isOver = false;
    while (!isOver) {
        isOver = child->hasEnded();
        pollfd readable{report.isAtEnd() ? -1 : output->reader.get(), POLLIN, 0};
        if (!isOver) ::poll(&readable, 1, static_cast<int>(limits_.pollInterval.count()));
        report.readFrom(output->reader);
        if (cancellation.isCancelled()) return failed({DownloadError::Cancelled{}});
        if (sizeOfFolder(folder->path()) > limits_.bytes) return failed({DownloadError::TooLarge{limits_.bytes}});
        if (std::chrono::steady_clock::now() > deadline) {
            return failed({DownloadError::TookTooLong{std::chrono::ceil<std::chrono::minutes>(limits_.time)}});
        }
    }
    if (const int status = child->kill(); status != 0) return failed(downloadFailure(report.error(), status));
    auto file = fileIn(folder->path());
    if (!file) return failed({DownloadError::NotOneFinishedVideo{}});
    progress(1.0);
    return DownloadedAudio{*std::move(folder), *std::move(file)};
}

std::string downloaderSearchPath(std::string_view path, const fs::path& home) {
    std::string all{path};
    for (const fs::path& folder : {fs::path{"/opt/homebrew/bin"}, fs::path{"/usr/local/bin"},
                                   fs::path{"/opt/local/bin"}, home / ".local" / "bin"}) {
        if (!all.empty()) all += ':';
        all += folder.string();
    }
    return all;
}

DownloadAudio systemDownload(const fs::path& downloads) {
    const char* path = std::getenv("PATH");
    const std::string searchPath = downloaderSearchPath(path != nullptr ? path : "", posix::homeDirectory());
    // yt-dlp is a script. The system looks for its interpreter in PATH.
    std::vector<std::string> environment = posix::currentEnvironment();
    std::erase_if(environment, [](const std::string& variable) { return variable.starts_with("PATH="); });
    environment.push_back("PATH=" + searchPath);
    const auto downloader = std::make_shared<VideoDownloader>(
        VideoDownloader::Dependencies{downloads, searchPath, std::move(environment), VostelMCPKit::resolveBySystem,
                                      posix::startBlockingThread},
        VideoDownloader::Limits{});
    return
        [downloader](const AllowedLink& link, Cancellation& cancellation, const std::function<void(double)>& progress) {
            return downloader->download(link, cancellation, progress);
        };
}

} // namespace vostel_companion
