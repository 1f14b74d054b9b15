#include "companion/audio/RegularFile.h"

#include "posix/FileIO.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace vostel_companion {

using VostelMCPKit::PosixError;

namespace {

AudioError openingFailed(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
        return {AudioError::Missing{}};
    case EACCES:
    case EPERM:
        return {AudioError::Forbidden{}};
    case ENXIO: // a socket, or a device that is not connected
        return {AudioError::NotARegularFile{}};
    default:
        return {PosixError{errorNumber}};
    }
}

std::expected<void, AudioError> checkType(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) return std::unexpected(AudioError{AudioError::Folder{}});
    if (!S_ISREG(status.st_mode)) return std::unexpected(AudioError{AudioError::NotARegularFile{}});
    if (status.st_size == 0) return std::unexpected(AudioError{AudioError::Empty{}});
    return {};
}

} // namespace

std::expected<RegularFile, AudioError> RegularFile::open(const std::string& path) {
    // Checked before it is opened, because opening can rewind a tape or start a device. Checked again afterwards,
    // because the path may refer to something else by then.
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return std::unexpected(openingFailed(errno));
    if (auto checked = checkType(status); !checked) return std::unexpected(checked.error());

    posix::FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (!file.isOpen()) return std::unexpected(openingFailed(errno));
    if (::fstat(file.get(), &status) != 0) return std::unexpected(AudioError{PosixError{errno}});
    if (auto checked = checkType(status); !checked) return std::unexpected(checked.error());
    return RegularFile{std::move(file), status.st_size};
}

std::expected<std::size_t, PosixError> RegularFile::read(std::int64_t offset, std::span<std::byte> buffer) const {
    return posix::readSomeAt(file_, offset, buffer);
}

} // namespace vostel_companion
