// Shared by the tests of the store: a database, temporary folders, ids.
#pragma once

#include "companion/store/Schema.h"
#include "kit/support/UUID.h"
#include "tests/support/TemporaryFolder.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace vostel_companion {

using vostel_tests::readFile;
using vostel_tests::writeFile;

inline Database openInMemory() {
    auto database = openStore(":memory:");
    if (!database) {
        ADD_FAILURE() << database.error().description();
        std::abort();
    }
    return *std::move(database);
}

/// A temporary folder, in memory if the system has such a folder. The tests then need not wait for the disk at every
/// commit.
class StoreFolder final : public vostel_tests::TemporaryFolder {
public:
    StoreFolder() : TemporaryFolder{parent()} {}

private:
    static std::filesystem::path parent() {
        const std::filesystem::path memory = "/dev/shm";
        std::error_code ignored;
        const bool isUsable = std::filesystem::is_directory(memory, ignored) && ::access(memory.c_str(), W_OK) == 0;
        return isUsable ? memory : std::filesystem::path{"/tmp"};
    }
};

/// 00000000-0000-0000-0000-0000000000NN.
inline VostelMCPKit::UUID uuid(std::uint8_t number) {
    VostelMCPKit::UUID result;
    result.bytes.back() = number;
    return result;
}

inline Timestamp at(std::int64_t milliseconds) { return Timestamp{std::chrono::milliseconds{milliseconds}}; }

} // namespace vostel_companion
