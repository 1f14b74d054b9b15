#include "companion/configs/ConfigFile.h"

#include "posix/AtomicFile.h"
#include "posix/FileIO.h"
#include "posix/FileLock.h"
#include "posix/PrivateFolder.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sizeLimit = std::size_t{64} * 1024 * 1024;
constexpr int linkLimit = 40;
constexpr int attemptLimit = 10;
/// Earlier versions kept up to this many. One is kept now.
constexpr int mostBackups = 100;

/// What a replacement has to preserve, and what shows that the file has changed.
struct Snapshot {
    std::string text;
    mode_t mode = 0600;
    uid_t owner = 0;
    gid_t group = 0;

    bool operator==(const Snapshot&) const = default;
};

/// Follows symbolic links from `path` to the last target, which need not exist.
std::expected<fs::path, posix::SystemError> withoutLinks(fs::path path) {
    for (int links = 0; links < linkLimit; ++links) {
        std::error_code failure;
        if (!fs::is_symlink(path, failure)) return path;
        const fs::path target = fs::read_symlink(path, failure);
        if (failure) return posix::systemError("read", path, failure.value());
        path = path.parent_path() / target;
    }
    return posix::systemError("read", path, ELOOP);
}

/// Absent when there is no file.
std::expected<std::optional<Snapshot>, ConfigError> take(const fs::path& path) {
    // Non-blocking, because opening a pipe would wait for its other end.
    const posix::FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (!file.isOpen() && errno == ENOENT) return std::nullopt;
    if (!file.isOpen() && errno == ENXIO) return std::unexpected(ConfigError::NotAFile{path.string()});
    if (!file.isOpen()) return posix::systemError("open", path);
    struct stat status{};
    if (::fstat(file.get(), &status) != 0) return posix::systemError("read", path);
    if (!S_ISREG(status.st_mode)) return std::unexpected(ConfigError::NotAFile{path.string()});

    Snapshot snapshot{{}, static_cast<mode_t>(status.st_mode & 07777U), status.st_uid, status.st_gid};
    auto text = posix::readRest(file, sizeLimit);
    if (!text) return posix::systemError("read", path, text.error().errorNumber);
    if (text->size() > sizeLimit) return std::unexpected(ConfigError::TooLarge{path.string(), sizeLimit});
    snapshot.text = *std::move(text);
    return snapshot;
}

bool changesNothing(const EditedConfig& edited, std::string_view text, bool exists) {
    return edited.text ? *edited.text == text : !exists;
}

/// Fails if the file or folder at `path` must not be changed.
std::expected<void, ConfigError> checkWritable(const fs::path& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return posix::systemError("read", path);
    // Deliberate: a file that nobody may write stays unchanged, although the superuser could write it. Replacing a file
    // needs only write access to its folder, but the mode of the file shows that its owner has protected it.
    if ((status.st_mode & 0222U) == 0 || ::access(path.c_str(), W_OK) != 0) {
        return std::unexpected(ConfigError::ReadOnly{path.string()});
    }
    return {};
}

/// The names that a backup of `target` can have. The first one is used, unless something other than a file has it.
std::vector<fs::path> backupNames(const fs::path& target) {
    std::vector<fs::path> names;
    for (int number = 1; number <= mostBackups; ++number) {
        fs::path& name = names.emplace_back(target);
        name += ".vostel-backup";
        if (number > 1) name += "-" + std::to_string(number);
    }
    return names;
}

fs::file_type typeOf(const fs::path& path) {
    std::error_code failure;
    return fs::symlink_status(path, failure).type();
}

/// The names of the backups that exist. A link or a folder with such a name is not a backup.
std::vector<fs::path> backupsOf(const fs::path& target) {
    std::vector<fs::path> names = backupNames(target);
    std::erase_if(names, [](const fs::path& name) { return typeOf(name) != fs::file_type::regular; });
    return names;
}

/// Where the next backup is written.
std::expected<fs::path, ConfigError> backupPlace(const fs::path& target) {
    const std::vector<fs::path> names = backupNames(target);
    for (const fs::path& name : names) {
        const fs::file_type type = typeOf(name);
        if (type == fs::file_type::not_found || type == fs::file_type::regular) return name;
    }
    return std::unexpected(ConfigError::NotAFile{names.front().string()});
}

/// Deletes the backups except for the one at `kept`.
std::expected<bool, ConfigError> deleteBackups(const fs::path& target, const std::optional<fs::path>& kept) {
    bool isAnyDeleted = false;
    for (const fs::path& backup : backupsOf(target)) {
        if (backup == kept) continue;
        if (::unlink(backup.c_str()) != 0 && errno != ENOENT) return posix::systemError("delete", backup);
        isAnyDeleted = true;
    }
    return isAnyDeleted;
}

std::expected<void, posix::SystemError> deleteFile(const fs::path& path) {
    if (::unlink(path.c_str()) != 0) return posix::systemError("delete", path);
    return {};
}

/// One attempt, under the lock. Absent if the file was changed during it.
std::expected<std::optional<ConfigFileChange>, ConfigError> attempt(const fs::path& target, const ConfigEdit& edit) {
    const auto before = take(target);
    if (!before) return std::unexpected(before.error());
    const bool exists = before->has_value();
    const Snapshot old = before->value_or(Snapshot{});
    const auto edited = edit(old.text);
    if (!edited) return std::unexpected(edited.error());
    const std::optional<std::string>& text = edited->text;
    if (changesNothing(*edited, old.text, exists)) return ConfigFileChange{};

    auto writable = checkWritable(target.parent_path());
    if (writable && exists) writable = checkWritable(target);
    if (!writable) return std::unexpected(std::move(writable.error()));
    const posix::FileAttributes::Owner owner{old.owner, old.group};
    std::optional<posix::AtomicFile> replacement;
    if (text) {
        auto written =
            posix::AtomicFile::write(target, *text, {old.mode, exists ? std::optional{owner} : std::nullopt});
        if (!written) return std::unexpected(std::move(written.error()));
        replacement.emplace(*std::move(written));
    }

    struct Backup {
        posix::AtomicFile file;
        fs::path place;
    };
    std::optional<Backup> backup;
    if (exists && edited->keepsBackup) {
        auto place = backupPlace(target);
        if (!place) return std::unexpected(std::move(place.error()));
        auto written = posix::AtomicFile::write(target, old.text, {old.mode, owner});
        if (!written) return std::unexpected(std::move(written.error()));
        backup.emplace(Backup{*std::move(written), *std::move(place)});
    }

    const auto now = take(target);
    if (!now) return std::unexpected(now.error());
    if (*now != *before) return std::nullopt;
    std::expected<void, posix::SystemError> done;
    if (backup) done = backup->file.moveTo(backup->place);
    if (done) {
        done = replacement ? replacement->moveTo(target) : deleteFile(target);
        if (!done && backup) ::unlink(backup->place.c_str());
    }
    if (done) done = posix::synchronizeFolder(target.parent_path());
    if (!done) return std::unexpected(std::move(done.error()));
    // Only the newest backup is kept.
    if (backup) {
        const auto deleted = deleteBackups(target, backup->place);
        if (!deleted) return std::unexpected(deleted.error());
    }
    return ConfigFileChange{true, backup ? std::optional{backup->place} : std::nullopt};
}

/// Keeps our own processes from editing at the same time. Deliberate: continues without a lock, because some network
/// file systems have none. The last check before the replacement finds other changes.
std::optional<posix::FileLock> lockFolder(const fs::path& folder) {
    auto lock = posix::FileLock::acquire(folder, posix::FileLock::IfMissing::fail);
    if (!lock) return std::nullopt;
    return *std::move(lock);
}

} // namespace

std::expected<std::string, ConfigError> readConfigFile(const fs::path& path) {
    const auto snapshot = take(path);
    if (!snapshot) return std::unexpected(snapshot.error());
    return snapshot->value_or(Snapshot{}).text;
}

std::expected<ConfigFileChange, ConfigError> editConfigFile(const fs::path& path, const ConfigEdit& edit) {
    const auto found = take(path);
    if (!found) return std::unexpected(found.error());
    const std::string text = found->value_or(Snapshot{}).text;
    const auto wanted = edit(text);
    if (!wanted) return std::unexpected(wanted.error());
    if (changesNothing(*wanted, text, found->has_value())) return ConfigFileChange{};

    if (auto made = posix::ensureFolder(path.parent_path()); !made) return std::unexpected(std::move(made.error()));
    const auto target = withoutLinks(path);
    if (!target) return std::unexpected(target.error());
    const auto lock = lockFolder(target->parent_path());
    for (int attempts = 0; attempts < attemptLimit; ++attempts) {
        const auto attempted = attempt(*target, edit);
        if (!attempted) return std::unexpected(attempted.error());
        const std::optional<ConfigFileChange> change = *attempted;
        if (change) return *change;
    }
    return std::unexpected(ConfigError::ConcurrentlyModified{path.string()});
}

std::optional<std::string> readConfigBackup(const fs::path& path) {
    const auto target = withoutLinks(path);
    if (!target) return std::nullopt;
    const std::vector<fs::path> backups = backupsOf(*target);
    if (backups.empty()) return std::nullopt;
    auto text = readConfigFile(backups.front());
    if (!text) return std::nullopt;
    return *std::move(text);
}

std::expected<bool, ConfigError> deleteConfigBackups(const fs::path& path) {
    const auto target = withoutLinks(path);
    if (!target) return std::unexpected(target.error());
    if (backupsOf(*target).empty()) return false;
    const auto lock = lockFolder(target->parent_path());
    return deleteBackups(*target, std::nullopt);
}

} // namespace vostel_companion
