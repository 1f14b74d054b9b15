#include "companion/models/ModelCopy.h"

#include "companion/models/SHA256.h"
#include "posix/FileIO.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <vector>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t pieceSize = 1 << 20;
constexpr std::size_t mostFiles = 10'000;

struct Contents {
    bool isSingleFile = false;
    /// Relative to the source, ordered by their bytes.
    std::vector<std::string> folders;
    std::vector<std::string> files;
    std::uintmax_t bytes = 0;
};

std::unexpected<ModelError> unusable(const char* attempt, const fs::path& path, int errorNumber) {
    return std::unexpected(ModelError{posix::systemError(attempt, path, errorNumber).error()});
}

std::unexpected<ModelError> badSource(const fs::path& path, const char* reason) {
    return std::unexpected(ModelError{ModelError::BadSource{path.string(), reason}});
}

/// sha256sum escapes these characters in its lists. No model needs such names, so they are refused.
bool isListable(const std::string& name) {
    return std::ranges::none_of(name, [](char character) {
        return character == '\\' || (static_cast<unsigned char>(character) < 0x20) || character == 0x7F;
    });
}

std::expected<Contents, ModelError> survey(const fs::path& source) {
    std::error_code failure;
    const auto type = fs::symlink_status(source, failure).type();
    if (type == fs::file_type::not_found) return unusable("read", source, ENOENT);
    if (failure) return unusable("read", source, failure.value());

    Contents contents;
    if (type == fs::file_type::regular) {
        contents.isSingleFile = true;
        contents.files.push_back(source.filename().string());
        contents.bytes = fs::file_size(source, failure);
        if (failure) return unusable("read", source, failure.value());
        return contents;
    }
    // The source itself may be a link, for example to another disk. Its contents may not be links.
    fs::recursive_directory_iterator entry{source, failure};
    if (failure) return unusable("read", source, failure.value());
    while (entry != fs::recursive_directory_iterator{}) {
        const std::string name = entry->path().lexically_relative(source).string();
        if (!isListable(name)) return badSource(source, "a file name in it contains control characters");
        const auto entryType = entry->symlink_status(failure).type();
        if (failure) return unusable("read", entry->path(), failure.value());
        if (entryType == fs::file_type::directory) {
            contents.folders.push_back(name);
        } else if (entryType == fs::file_type::regular) {
            contents.files.push_back(name);
            contents.bytes += entry->file_size(failure);
            if (failure) return unusable("read", entry->path(), failure.value());
        } else {
            return badSource(entry->path(), "it is neither a plain file nor a folder");
        }
        if (contents.files.size() + contents.folders.size() > mostFiles) {
            return badSource(source, "it has too many files");
        }
        entry.increment(failure);
        if (failure) return unusable("read", source, failure.value());
    }
    if (contents.files.empty()) return badSource(source, "it is empty");
    std::ranges::sort(contents.folders);
    std::ranges::sort(contents.files);
    return contents;
}

class Copier {
public:
    Copier(std::uintmax_t total, const std::function<void(double)>& progress, const std::function<bool()>& isCancelled)
        : total_{total}, progress_{progress}, isCancelled_{isCancelled}, piece_(pieceSize, '\0') {}

    /// Copies one file to the disk and returns its checksum.
    std::expected<std::string, ModelError> copy(const fs::path& source, const fs::path& target) {
        // Non-blocking, because a pipe may have replaced the file since the survey.
        const posix::FileDescriptor in{::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)};
        if (!in.isOpen()) return unusable("open", source, errno);
        struct stat file{};
        if (::fstat(in.get(), &file) != 0) return unusable("read", source, errno);
        if (!S_ISREG(file.st_mode)) return badSource(source, "it is neither a plain file nor a folder");
        const posix::FileDescriptor out{::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
        if (!out.isOpen()) return unusable("create", target, errno);

        SHA256 checksum;
        while (true) {
            const auto count = posix::readSome(in, std::as_writable_bytes(std::span{piece_}));
            if (!count) return unusable("read", source, count.error().errorNumber);
            if (*count == 0) break;
            const std::string_view bytes = std::string_view{piece_}.substr(0, *count);
            checksum.add(bytes);
            if (auto written = posix::writeAll(out, bytes, target); !written) {
                return std::unexpected(ModelError{std::move(written.error())});
            }
            report(bytes.size());
            if (isCancelled_ && isCancelled_()) return std::unexpected(ModelError{ModelError::Cancelled{}});
        }
        if (auto synchronized = posix::synchronize(out, target); !synchronized) {
            return std::unexpected(ModelError{std::move(synchronized.error())});
        }
        return checksum.finish();
    }

private:
    void report(std::size_t bytes) {
        copied_ += bytes;
        // At most 1, even if the source grows during the copy.
        if (progress_) progress_(std::min(1.0, static_cast<double>(copied_) / static_cast<double>(total_)));
    }

    std::uintmax_t total_;
    std::uintmax_t copied_ = 0;
    const std::function<void(double)>& progress_;
    const std::function<bool()>& isCancelled_;
    std::string piece_;
};

} // namespace

std::expected<std::string, ModelError> copyModel(const fs::path& source, const fs::path& target,
                                                 const std::function<void(double)>& progress,
                                                 const std::function<bool()>& isCancelled) {
    const auto contents = survey(source);
    if (!contents) return std::unexpected(contents.error());
    for (const std::string& folder : contents->folders) {
        if (::mkdir((target / folder).c_str(), 0700) != 0) return unusable("create the folder", target / folder, errno);
    }

    Copier copier{contents->bytes, progress, isCancelled};
    SHA256 list;
    std::string checksum;
    for (const std::string& file : contents->files) {
        auto copied = copier.copy(contents->isSingleFile ? source : source / file, target / file);
        if (!copied) return copied;
        checksum = *std::move(copied);
        list.add(checksum + "  " + file + "\n");
    }
    for (const std::string& folder : contents->folders) {
        if (auto done = posix::synchronizeFolder(target / folder); !done) {
            return std::unexpected(ModelError{std::move(done.error())});
        }
    }
    if (auto done = posix::synchronizeFolder(target); !done) {
        return std::unexpected(ModelError{std::move(done.error())});
    }
    return contents->isSingleFile ? checksum : list.finish();
}

} // namespace vostel_companion
