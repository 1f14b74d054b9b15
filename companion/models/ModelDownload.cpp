#include "companion/models/ModelDownload.h"

#include "kit/support/ASCII.h"
#include "posix/FileIO.h"
#include "posix/PrivateFolder.h"

#include <algorithm>
#include <cerrno>
#include <curl/curl.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr long connectSeconds = 30;
/// A server that sends less than a byte per second for this long has stopped.
constexpr long silenceSeconds = 60;
constexpr long mostRedirects = 5;

struct CurlFreer {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

std::unexpected<ModelError> failedWith(posix::SystemError error) {
    return std::unexpected(ModelError{std::move(error)});
}

/// `name` as a part of a link.
std::string percentEncoded(std::string_view name) {
    constexpr std::string_view plain = "-._~/";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string out;
    for (const char character : name) {
        if (VostelMCPKit::isASCIILetter(character) || VostelMCPKit::isASCIIDigit(character) ||
            plain.find(character) != std::string_view::npos) {
            out += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        out += '%';
        out += digits[byte >> 4U];
        out += digits[byte & 0xFU];
    }
    return out;
}

/// Why a transfer failed and what the user can do, as a clause.
std::string reasonFor(CURLcode code, long status) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
        return "the server cannot be reached; check the network and try again";
    case CURLE_OPERATION_TIMEDOUT:
        return "the server does not send anything; try again, and the download continues where it stopped";
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
        return "the connection ended too early; try again, and the download continues where it stopped";
    case CURLE_PEER_FAILED_VERIFICATION:
        return "the server's certificate is not valid, so this may be another server";
    case CURLE_SSL_CACERT_BADFILE:
        return "the certificates of this machine cannot be read; install the package ca-certificates";
    case CURLE_SSL_CONNECT_ERROR:
        return "no encrypted connection to the server could be made";
    case CURLE_UNSUPPORTED_PROTOCOL:
        return "the server redirects to a link that is not https";
    case CURLE_TOO_MANY_REDIRECTS:
        return "the server redirects too often";
    case CURLE_HTTP_RETURNED_ERROR:
        return "the server answered with status " + std::to_string(status) +
               (status == 404 ? "; the link in the catalogue does not exist any more" : "");
    default:
        return curl_easy_strerror(code);
    }
}

/// Appends what arrives to one file.
class Transfer final {
public:
    Transfer(std::string link, fs::path path, std::uint64_t room, const DownloadRules& rules,
             std::function<void(double)> progress, const std::function<bool()>& isCancelled)
        : link_{std::move(link)}, path_{std::move(path)}, room_{room}, rules_{rules}, progress_{std::move(progress)},
          isCancelled_{isCancelled} {}
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// Returns the size of the complete file.
    std::expected<std::uint64_t, ModelError> run(const std::string& identifier) {
        file_ =
            posix::FileDescriptor{::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600)};
        struct stat status{};
        if (!file_.isOpen() || ::fstat(file_.get(), &status) != 0) {
            return failedWith(posix::systemError("open", path_).error());
        }
        begin_ = size_ = static_cast<std::uint64_t>(status.st_size);
        CURLcode code = perform();
        // The server cannot resume the file, or its file has become shorter. libcurl reports the second case, status
        // 416, as a success.
        if (begin_ > 0 && (code == CURLE_RANGE_ERROR || status_ == 416)) {
            if (::ftruncate(file_.get(), 0) != 0) return failedWith(posix::systemError("write", path_).error());
            begin_ = size_ = 0;
            code = perform();
        }
        if (writeError_) {
            // The disk may be full, so the file is deleted.
            ::unlink(path_.c_str());
            return failedWith(*std::move(writeError_));
        }
        if (isTooLarge_ || code == CURLE_FILESIZE_EXCEEDED) {
            ::unlink(path_.c_str());
            return failed(identifier, "it is larger than " + std::to_string(rules_.mostBytes) + " bytes");
        }
        if (code == CURLE_ABORTED_BY_CALLBACK) return std::unexpected(ModelError{ModelError::Cancelled{}});
        if (code != CURLE_OK) return failed(identifier, reasonFor(code, status_));
        if (auto done = posix::synchronize(file_, path_); !done) return failedWith(std::move(done.error()));
        return size_;
    }

private:
    [[nodiscard]] std::unexpected<ModelError> failed(const std::string& identifier, std::string reason) const {
        return std::unexpected(ModelError{ModelError::DownloadFailed{identifier, link_, std::move(reason)}});
    }

    CURLcode perform() {
        static const CURLcode isReady = curl_global_init(CURL_GLOBAL_DEFAULT);
        const std::unique_ptr<CURL, CurlFreer> handle{isReady == CURLE_OK ? curl_easy_init() : nullptr};
        if (!handle) return CURLE_FAILED_INIT;
        CURL* const curl = handle.get();
        curl_easy_setopt(curl, CURLOPT_URL, link_.c_str());
        curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
        curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");
        curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(curl, CURLOPT_MAXREDIRS, mostRedirects);
        curl_easy_setopt(curl, CURLOPT_USERAGENT, "Vostel");
        curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, connectSeconds);
        curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, silenceSeconds);
        // libcurl must not use signals, because the program has several threads.
        curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
        if (!rules_.certificates.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, rules_.certificates.c_str());
        curl_easy_setopt(curl, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(begin_));
        // At least 1, because 0 means no limit. A model that has used up its limit is refused at the first byte.
        const std::uint64_t left = room_ > begin_ ? room_ - begin_ : 1;
        curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(left));
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::write);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
        curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &Transfer::report);
        curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
        const CURLcode code = curl_easy_perform(curl);
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status_);
        return code;
    }

    static std::size_t write(const char* bytes, std::size_t one, std::size_t count, void* context) {
        auto& self = *static_cast<Transfer*>(context);
        const std::string_view piece{bytes, one * count};
        self.isTooLarge_ = self.size_ + piece.size() > self.room_;
        if (self.isTooLarge_) return CURL_WRITEFUNC_ERROR;
        if (auto written = posix::writeAll(self.file_, piece, self.path_); !written) {
            self.writeError_ = std::move(written.error());
            return CURL_WRITEFUNC_ERROR;
        }
        self.size_ += piece.size();
        return piece.size();
    }

    /// Ends the transfer unless it returns 0.
    static int report(void* context, curl_off_t expected, curl_off_t /*received*/, curl_off_t /*toSend*/,
                      curl_off_t /*sent*/) {
        const auto& self = *static_cast<const Transfer*>(context);
        if (expected > 0) {
            const double whole = static_cast<double>(self.begin_) + static_cast<double>(expected);
            self.progress_(std::min(1.0, static_cast<double>(self.size_) / whole));
        }
        return self.isCancelled_ && self.isCancelled_() ? 1 : 0;
    }

    std::string link_;
    fs::path path_;
    /// The most bytes that the file may have.
    std::uint64_t room_;
    const DownloadRules& rules_;
    std::function<void(double)> progress_;
    const std::function<bool()>& isCancelled_;

    posix::FileDescriptor file_;
    /// The size of the file before this transfer.
    std::uint64_t begin_ = 0;
    std::uint64_t size_ = 0;
    long status_ = 0;
    bool isTooLarge_ = false;
    std::optional<posix::SystemError> writeError_;
};

} // namespace

std::expected<fs::path, ModelError> downloadModel(const ModelDescription& model, const fs::path& folder,
                                                  const DownloadRules& rules,
                                                  const std::function<void(double)>& progress,
                                                  const std::function<bool()>& isCancelled) {
    const bool isFolder = !model.files.empty();
    const std::string lastPart = model.source.substr(model.source.rfind('/') + 1);
    const std::vector<std::string> names = isFolder ? model.files : std::vector{lastPart};
    const fs::path complete = folder / "model";
    const fs::path unfinished = folder / "unfinished";

    std::uint64_t room = rules.mostBytes;
    double highest = 0;
    for (std::size_t index = 0; index < names.size(); ++index) {
        const auto report = [&](double fractionOfFile) {
            highest =
                std::max(highest, (static_cast<double>(index) + fractionOfFile) / static_cast<double>(names.size()));
            if (progress) progress(highest);
        };
        const fs::path target = complete / names[index];
        std::error_code failure;
        if (const auto size = fs::file_size(target, failure); !failure) {
            room -= std::min<std::uint64_t>(room, size);
            report(1);
            continue;
        }
        if (auto made = posix::ensureFolder(target.parent_path()); !made) return failedWith(std::move(made.error()));
        const std::string link = isFolder ? model.source + percentEncoded(names[index]) : model.source;
        const auto size = Transfer{link, unfinished, room, rules, report, isCancelled}.run(model.identifier);
        if (!size) return std::unexpected(size.error());
        room -= *size;
        if (::rename(unfinished.c_str(), target.c_str()) != 0) {
            return failedWith(posix::systemError("create", target).error());
        }
        report(1);
    }
    return isFolder ? complete : complete / lastPart;
}

} // namespace vostel_companion
