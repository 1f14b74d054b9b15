// What the store's tests share: a database, folders that vanish with the test, scripted identities.
#pragma once

#include "companion/store/Schema.h"
#include "kit/support/UUID.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace vostel_companion {

inline Database openInMemory() {
    auto database = openStore(":memory:");
    if (!database) {
        ADD_FAILURE() << database.error().description();
        std::abort();
    }
    return *std::move(database);
}

class TemporaryFolder final {
public:
    TemporaryFolder() {
        // In memory where the system offers that: the store waits for the disk at every commit, its tests need not.
        std::error_code ignored;
        const std::filesystem::path memory = "/dev/shm";
        const bool isInMemory = std::filesystem::is_directory(memory, ignored) && ::access(memory.c_str(), W_OK) == 0;
        const auto parent = isInMemory ? memory : std::filesystem::temp_directory_path();
        std::string path = (parent / "vostel-store.XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr) std::abort();
        path_ = path;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

inline void writeText(const std::filesystem::path& path, std::string_view text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream{path, std::ios::binary} << text;
}

inline std::string readText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream{path, std::ios::binary}.rdbuf();
    return text.str();
}

/// 00000000-0000-0000-0000-0000000000NN.
inline VostelMCPKit::UUID uuid(std::uint8_t number) {
    VostelMCPKit::UUID result;
    result.bytes.back() = number;
    return result;
}

inline Moment at(std::int64_t milliseconds) { return Moment{std::chrono::milliseconds{milliseconds}}; }

} // namespace vostel_companion
