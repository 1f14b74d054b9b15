// A folder that exists as long as a test.
#pragma once

#include "tests/support/Files.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace vostel_tests {

class TemporaryFolder {
public:
    /// Deliberately ignores TMPDIR, because the path of a socket must be short.
    TemporaryFolder() : TemporaryFolder{"/tmp"} {}
    explicit TemporaryFolder(const std::filesystem::path& parent) {
        std::string name = parent / "vostel-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(std::string_view relative) const { return path_ / relative; }

    /// Writes a file inside, creates its folders, and returns its path.
    std::filesystem::path write(const std::filesystem::path& relative, std::string_view content) const {
        const std::filesystem::path file = path_ / relative;
        writeFile(file, content);
        return file;
    }

private:
    std::filesystem::path path_;
};

} // namespace vostel_tests
