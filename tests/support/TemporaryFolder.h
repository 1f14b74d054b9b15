// A folder that lives as long as a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace vostel_tests {

class TemporaryFolder final {
public:
    TemporaryFolder() {
        std::string name = std::filesystem::temp_directory_path() / "vostel-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Writes a file inside, with the folders on its way, and returns where it is.
    std::filesystem::path write(const std::filesystem::path& relative, std::string_view content) const {
        const std::filesystem::path file = path_ / relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream{file, std::ios::binary} << content;
        return file;
    }

private:
    std::filesystem::path path_;
};

} // namespace vostel_tests
