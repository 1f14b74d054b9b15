// Replaces a file atomically: every reader finds the complete old file or the complete new one, also after a crash.
#pragma once

#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>

namespace posix {

struct FileAttributes {
    struct Owner {
        uid_t user = 0;
        gid_t group = 0;
    };

    /// The owner alone may read and write.
    mode_t mode = 0600;
    /// Absent: the user who runs this program.
    std::optional<Owner> owner;
};

/// A complete new file on the disk under a temporary name. The destructor deletes it unless it was moved.
class AtomicFile final {
public:
    /// Writes `text` to a temporary file in the folder of `target`, which must exist.
    [[nodiscard]] static std::expected<AtomicFile, SystemError>
    write(const std::filesystem::path& target, std::string_view text, const FileAttributes& attributes = {});
    AtomicFile(AtomicFile&& other) noexcept : temporary_{std::exchange(other.temporary_, {})} {}
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    /// Renames the file to `path`, which is in the same folder as the target, and replaces what is there. The new name
    /// survives a crash only after synchronizeFolder.
    [[nodiscard]] std::expected<void, SystemError> moveTo(const std::filesystem::path& path);

private:
    explicit AtomicFile(std::string temporary) : temporary_{std::move(temporary)} {}

    /// Empty after the file was moved.
    std::string temporary_;
};

/// Does all steps. When it returns, the new file is on the disk, and only its owner can read it.
[[nodiscard]] std::expected<void, SystemError> writeFileAtomically(const std::filesystem::path& path,
                                                                   std::string_view text);

} // namespace posix
