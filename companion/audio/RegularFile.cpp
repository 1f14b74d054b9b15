#include "companion/audio/RegularFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

namespace {

AudioError openingFailed(int code) {
    switch (code) {
    case ENOENT:
    case ENOTDIR:
        return {AudioError::Missing{}};
    case EACCES:
    case EPERM:
        return {AudioError::Forbidden{}};
    case ENXIO: // a socket, or a device that nothing stands behind
        return {AudioError::NotARegularFile{}};
    default:
        return {AudioError::System{code}};
    }
}

std::expected<void, AudioError> judge(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) return std::unexpected(AudioError{AudioError::Folder{}});
    if (!S_ISREG(status.st_mode)) return std::unexpected(AudioError{AudioError::NotARegularFile{}});
    if (status.st_size == 0) return std::unexpected(AudioError{AudioError::Empty{}});
    return {};
}

} // namespace

std::expected<RegularFile, AudioError> RegularFile::open(const std::string& path) {
    // Judged before it is opened, because opening alone can rewind a tape or start a device; and again afterwards,
    // because the name may have been given to something else in between.
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return std::unexpected(openingFailed(errno));
    if (auto judged = judge(status); !judged) return std::unexpected(judged.error());

    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) return std::unexpected(openingFailed(errno));
    RegularFile file{descriptor, 0};
    if (::fstat(descriptor, &status) != 0) return std::unexpected(AudioError{AudioError::System{errno}});
    if (auto judged = judge(status); !judged) return std::unexpected(judged.error());
    file.size_ = status.st_size;
    return file;
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : descriptor_{std::exchange(other.descriptor_, -1)}, size_{other.size_} {}

RegularFile::~RegularFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::expected<std::size_t, int> RegularFile::read(std::int64_t offset, std::span<std::byte> into) const {
    while (true) {
        const ssize_t count = ::pread(descriptor_, into.data(), into.size(), offset);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) return std::unexpected(errno);
    }
}

} // namespace vostel_companion
