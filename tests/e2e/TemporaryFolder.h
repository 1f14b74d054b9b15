// A folder of one test, gone with it.
#pragma once

#include <filesystem>
#include <string_view>

namespace vostel_tests {

class TemporaryFolder final {
public:
    /// Deliberate: in /tmp, whatever TMPDIR says, because the path of a socket must stay short.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Writes a file, and the folders above it.
void writeFile(const std::filesystem::path& path, std::string_view content);

} // namespace vostel_tests
