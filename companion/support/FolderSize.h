// How much of the disk a folder takes.
#pragma once

#include <cstdint>
#include <filesystem>

namespace vostel_companion {

/// The bytes of all files in `folder` and in its inner folders. Links are not followed. The sum is smaller if something
/// cannot be read, for example because another process deletes it meanwhile.
[[nodiscard]] std::uintmax_t sizeOfFolder(const std::filesystem::path& folder);

} // namespace vostel_companion
