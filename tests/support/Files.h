// Reads and writes whole files.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace vostel_tests {

/// Writes a file, and creates its folders.
inline void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path, std::ios::binary} << content;
}

/// The content of a file. Empty if the file does not exist.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream file{path, std::ios::binary};
    std::ostringstream content;
    content << file.rdbuf();
    return std::move(content).str();
}

} // namespace vostel_tests
