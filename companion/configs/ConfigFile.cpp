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

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sizeLimit = std::size_t{64} * 1024 * 1024;
constexpr int linkLimit = 40;
constexpr int attemptLimit = 10;
constexpr int backupLimit = 100;

/// What a replacement has to preserve, and what shows that the file has changed.
struct Snapshot {
    std::string text;
    mode_t mode = 0600;
    uid_t owner = 0;
    gid_t group = 0;

    bool operator==(const Snapshot&) const = default;
};

/// Follows the links at `path` to their end, which need not exist.
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

/// Fails if the file or folder at `path` must not be changed.
std::expected<void, ConfigError> checkWritable(const fs::path& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return posix::systemError("read", path);
    // Deliberate: the superuser also respects a file that nobody may write, although access() allows it. The mode of
    // the file counts too, although replacing it needs only its folder, because its owner has protected it.
    if ((status.st_mode & 0222U) == 0 || ::access(path.c_str(), W_OK) != 0) {
        return std::unexpected(ConfigError::ReadOnly{path.string()});
    }
    return {};
}

/// Where `text` is kept already, or the first free name. The caller holds the lock of the folder.
struct BackupPlace {
    fs::path path;
    bool isKept = false;
};

std::expected<BackupPlace, ConfigError> backupPlace(const fs::path& target, const std::string& text) {
    for (int number = 1; number <= backupLimit; ++number) {
        fs::path path = target;
        path += ".vostel-backup";
        if (number > 1) path += "-" + std::to_string(number);
        std::error_code failure;
        const fs::file_status status = fs::symlink_status(path, failure);
        if (status.type() == fs::file_type::not_found) return BackupPlace{path, false};
        // Something else with that name is not a backup. It stays.
        if (status.type() != fs::file_type::regular || fs::file_size(path, failure) != text.size()) continue;
        if (readConfigFile(path) == text) return BackupPlace{path, true};
    }
    return std::unexpected(ConfigError::TooManyBackups{target.string()});
}

/// One attempt, under the lock. Absent if the file was changed during it.
std::expected<std::optional<ConfigFileChange>, ConfigError> attempt(const fs::path& target, const ConfigEdit& edit) {
    const auto before = take(target);
    if (!before) return std::unexpected(before.error());
    const bool exists = before->has_value();
    const Snapshot old = before->value_or(Snapshot{});
    auto edited = edit(old.text);
    if (!edited) return std::unexpected(std::move(edited.error()));
    if (*edited == old.text) return ConfigFileChange{};

    auto writable = checkWritable(target.parent_path());
    if (writable && exists) writable = checkWritable(target);
    if (!writable) return std::unexpected(std::move(writable.error()));
    const posix::FileAttributes::Owner owner{old.owner, old.group};
    auto replacement =
        posix::AtomicFile::write(target, *edited, {old.mode, exists ? std::optional{owner} : std::nullopt});
    if (!replacement) return std::unexpected(std::move(replacement.error()));

    BackupPlace kept{{}, true};
    std::optional<posix::AtomicFile> backup;
    if (exists) {
        auto place = backupPlace(target, old.text);
        if (!place) return std::unexpected(std::move(place.error()));
        kept = *std::move(place);
    }
    if (!kept.isKept) {
        auto written = posix::AtomicFile::write(target, old.text, {old.mode, owner});
        if (!written) return std::unexpected(std::move(written.error()));
        backup.emplace(*std::move(written));
    }

    const auto now = take(target);
    if (!now) return std::unexpected(now.error());
    if (*now != *before) return std::nullopt;
    std::expected<void, posix::SystemError> done;
    if (backup) done = backup->moveTo(kept.path);
    if (done) {
        done = replacement->moveTo(target);
        if (!done && backup) ::unlink(kept.path.c_str());
    }
    if (done) done = posix::synchronizeFolder(target.parent_path());
    if (!done) return std::unexpected(std::move(done.error()));
    return ConfigFileChange{true, exists ? std::optional{kept.path} : std::nullopt};
}

} // namespace

std::expected<std::string, ConfigError> readConfigFile(const fs::path& path) {
    const auto snapshot = take(path);
    if (!snapshot) return std::unexpected(snapshot.error());
    return snapshot->value_or(Snapshot{}).text;
}

std::expected<ConfigFileChange, ConfigError> editConfigFile(const fs::path& path, const ConfigEdit& edit) {
    const auto found = readConfigFile(path);
    if (!found) return std::unexpected(found.error());
    const auto wanted = edit(*found);
    if (!wanted) return std::unexpected(wanted.error());
    if (*wanted == *found) return ConfigFileChange{};

    if (auto made = posix::ensureFolder(path.parent_path()); !made) return std::unexpected(std::move(made.error()));
    const auto target = withoutLinks(path);
    if (!target) return std::unexpected(target.error());
    // Deliberate: continues without a lock, which some network file systems do not offer. The last check before the
    // replacement finds the changes of others.
    const auto lock = posix::FileLock::acquire(target->parent_path(), posix::FileLock::IfMissing::fail);
    for (int attempts = 0; attempts < attemptLimit; ++attempts) {
        const auto attempted = attempt(*target, edit);
        if (!attempted) return std::unexpected(attempted.error());
        const std::optional<ConfigFileChange> change = *attempted;
        if (change) return *change;
    }
    return std::unexpected(ConfigError::ConcurrentlyModified{path.string()});
}

} // namespace vostel_companion
