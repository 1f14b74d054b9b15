#include "posix/AtomicFile.h"

#include "posix/FileIO.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace posix {

std::expected<AtomicFile, SystemError> AtomicFile::write(const std::filesystem::path& target, std::string_view text,
                                                         const FileAttributes& attributes) {
    std::string name = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
    const FileDescriptor file{::mkostemp(name.data(), O_CLOEXEC)};
    if (!file.isOpen()) return systemError("write", target);
    AtomicFile written{std::move(name)};
    if (auto done = writeAll(file, text, target); !done) return std::unexpected(std::move(done.error()));
    // The owner before the mode, because a change of owner clears bits of the mode.
    const auto& owner = attributes.owner;
    if (owner && ::fchown(file.get(), owner->user, owner->group) != 0) return systemError("write", target);
    if (::fchmod(file.get(), attributes.mode) != 0) return systemError("write", target);
    if (auto done = synchronize(file, target); !done) return std::unexpected(std::move(done.error()));
    return written;
}

AtomicFile::~AtomicFile() {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

std::expected<void, SystemError> AtomicFile::moveTo(const std::filesystem::path& path) {
    if (::rename(temporary_.c_str(), path.c_str()) != 0) return systemError("write", path);
    temporary_.clear();
    return {};
}

std::expected<void, SystemError> writeFileAtomically(const std::filesystem::path& path, std::string_view text) {
    auto file = AtomicFile::write(path, text);
    if (!file) return std::unexpected(std::move(file.error()));
    if (auto moved = file->moveTo(path); !moved) return moved;
    return synchronizeFolder(path.parent_path());
}

} // namespace posix
