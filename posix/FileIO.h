// Reading and writing open files. A system call that a signal interrupts is repeated.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace posix {

/// Reads into `buffer` and returns the number of bytes, which may be less than its size. Zero at the end of the file.
[[nodiscard]] std::expected<std::size_t, PosixError> readSome(const FileDescriptor& file, std::span<std::byte> buffer);
/// The same from the byte `offset` on, without moving the file's position.
[[nodiscard]] std::expected<std::size_t, PosixError> readSomeAt(const FileDescriptor& file, std::int64_t offset,
                                                                std::span<std::byte> buffer);

/// The rest of the file. Reads at most `limit` + 1 bytes: a text longer than `limit` means that the rest is larger.
[[nodiscard]] std::expected<std::string, PosixError> readRest(const FileDescriptor& file, std::size_t limit);

/// Writes all of `bytes`. `path` names the open file in the error.
[[nodiscard]] std::expected<void, SystemError> writeAll(const FileDescriptor& file, std::string_view bytes,
                                                        const std::filesystem::path& path);

/// Returns when the content of the open file is on the disk. `path` names it in the error.
[[nodiscard]] std::expected<void, SystemError> synchronize(const FileDescriptor& file,
                                                           const std::filesystem::path& path);
/// Returns when the names in the folder are on the disk.
[[nodiscard]] std::expected<void, SystemError> synchronizeFolder(const std::filesystem::path& folder);

} // namespace posix
