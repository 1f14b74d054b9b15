#include "companion/support/FolderSize.h"

#include <system_error>

namespace vostel_companion {

namespace fs = std::filesystem;

std::uintmax_t sizeOfFolder(const fs::path& folder) {
    std::uintmax_t sum = 0;
    std::error_code failure;
    for (fs::recursive_directory_iterator entry{folder, failure};
         !failure && entry != fs::recursive_directory_iterator{}; entry.increment(failure)) {
        std::error_code ignored;
        if (entry->is_symlink(ignored) || !entry->is_regular_file(ignored)) continue;
        const std::uintmax_t size = entry->file_size(ignored);
        if (!ignored) sum += size;
    }
    return sum;
}

} // namespace vostel_companion
