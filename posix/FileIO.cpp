#include "posix/FileIO.h"

#include "posix/DiskFlush.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace posix {

namespace {

constexpr std::size_t readSize = 65'536;

/// Repeats `call` while signals interrupt it.
std::expected<std::size_t, PosixError> uninterrupted(const auto& call) {
    while (true) {
        const ssize_t count = call();
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) return std::unexpected(PosixError{errno});
    }
}

} // namespace

std::expected<std::size_t, PosixError> readSome(const FileDescriptor& file, std::span<std::byte> buffer) {
    return uninterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
}

std::expected<std::size_t, PosixError> readSomeAt(const FileDescriptor& file, std::int64_t offset,
                                                  std::span<std::byte> buffer) {
    return uninterrupted([&] { return ::pread(file.get(), buffer.data(), buffer.size(), offset); });
}

std::expected<std::string, PosixError> readRest(const FileDescriptor& file, std::size_t limit) {
    std::string text;
    while (text.size() <= limit) {
        const std::size_t length = text.size();
        text.resize(length + std::min(readSize, limit + 1 - length));
        const auto count = readSome(file, std::as_writable_bytes(std::span{text}).subspan(length));
        if (!count) return std::unexpected(count.error());
        text.resize(length + *count);
        if (*count == 0) break;
    }
    return text;
}

std::expected<void, SystemError> writeAll(const FileDescriptor& file, std::string_view bytes,
                                          const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const auto count = uninterrupted([&] { return ::write(file.get(), bytes.data(), bytes.size()); });
        if (!count) return systemError("write", path, count.error().errorNumber);
        bytes.remove_prefix(*count);
    }
    return {};
}

std::expected<void, SystemError> synchronize(const FileDescriptor& file, const std::filesystem::path& path) {
    if (!flushToDisk(file.get())) return systemError("write", path);
    return {};
}

std::expected<void, SystemError> synchronizeFolder(const std::filesystem::path& folder) {
    const FileDescriptor opened{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened.isOpen()) return systemError("open", folder);
    return synchronize(opened, folder);
}

} // namespace posix
