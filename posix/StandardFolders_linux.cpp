#include "posix/StandardFolders.h"

namespace posix {

std::filesystem::path applicationSupportDirectory() { return homeDirectory() / "Library" / "Application Support"; }

std::optional<std::filesystem::path> ownExecutable() {
    std::error_code failure;
    auto executable = std::filesystem::read_symlink("/proc/self/exe", failure);
    if (failure) return std::nullopt;
    return executable;
}

} // namespace posix
