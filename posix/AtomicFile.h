// Replacing a file so that every reader finds the old one or the new one, whole, also after a crash.
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

/// A new file on the disk, complete, that has no proper name yet. The destructor deletes it unless it was moved.
class AtomicFile final {
public:
    /// Writes `text` to a temporary file in the folder of `target`, which must exist.
    [[nodiscard]] static std::expected<AtomicFile, SystemError>
    write(const std::filesystem::path& target, std::string_view text, const FileAttributes& attributes = {});
    AtomicFile(AtomicFile&& other) noexcept : temporary_{std::exchange(other.temporary_, {})} {}
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    /// Gives the file its name, replacing what is there; `path` is in the same folder as the target. The name is safe
    /// from a crash after synchronizeFolder.
    [[nodiscard]] std::expected<void, SystemError> moveTo(const std::filesystem::path& path);

private:
    explicit AtomicFile(std::string temporary) : temporary_{std::move(temporary)} {}

    /// Empty once the file was moved.
    std::string temporary_;
};

/// All of the steps: when it returns, the new file is on the disk, readable by its owner alone.
[[nodiscard]] std::expected<void, SystemError> writeFileAtomically(const std::filesystem::path& path,
                                                                   std::string_view text);

} // namespace posix
