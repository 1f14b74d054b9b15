#include "tests/e2e/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>

namespace vostel_tests {

TemporaryFolder::TemporaryFolder() {
    char path[] = "/tmp/vostel-XXXXXX";
    if (mkdtemp(path) == nullptr) std::abort();
    path_ = path;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path, std::ios::binary} << content;
}

} // namespace vostel_tests
