#include "posix/StandardFolders.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace posix {

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') return home;
    std::vector<char> storage(16'384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, storage.data(), storage.size(), &found) != 0 || found == nullptr) return "/";
    return found->pw_dir;
}

} // namespace posix
