#include "companion/models/ModelStore.h"

#include "companion/models/ModelCopy.h"
#include "companion/support/WorkFolder.h"
#include "posix/AtomicFile.h"
#include "posix/FileIO.h"
#include "posix/PrivateFolder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

constexpr const char* systemPackage = "pocketsphinx-en-us";
/// The fraction of an installation from a link that is the download. The rest is the copy into place.
constexpr double downloadFraction = 0.95;
/// How long an interrupted download is kept.
constexpr auto partialLifetime = std::chrono::days{7};

std::unexpected<ModelError> failed(posix::SystemError error) { return std::unexpected(ModelError{std::move(error)}); }

std::unexpected<ModelError> failed(std::unexpected<posix::SystemError> error) {
    return failed(std::move(error.error()));
}

bool isFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

/// The sorted names in a folder. None when it is missing.
std::expected<std::vector<std::string>, posix::SystemError> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code failure;
    fs::directory_iterator entry{folder, failure};
    if (failure == std::errc::no_such_file_or_directory) return names;
    for (; !failure && entry != fs::directory_iterator{}; entry.increment(failure)) {
        names.push_back(entry->path().filename().string());
    }
    if (failure) return posix::systemError("list", folder, failure.value());
    std::ranges::sort(names);
    return names;
}

/// Whether nothing was downloaded into `folder` for a long time.
bool isOld(const fs::path& folder) {
    std::error_code ignored;
    const auto latest =
        std::max(fs::last_write_time(folder, ignored), fs::last_write_time(folder / "unfinished", ignored));
    return latest < fs::file_time_type::clock::now() - partialLifetime;
}

void deleteTree(const fs::path& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

} // namespace

std::expected<std::vector<Model>, ModelError> ModelStore::list() const {
    const auto catalogue = readModelCatalogue(paths_.catalogue);
    if (!catalogue) return std::unexpected(catalogue.error());
    std::vector<Model> models;
    models.push_back(
        {std::string{systemModelIdentifier}, "English (United States)", "en", isFolder(paths_.systemModel)});
    const auto isListed = [&](std::string_view identifier) {
        return std::ranges::find(models, identifier, &Model::identifier) != models.end();
    };
    for (const ModelDescription& known : *catalogue) {
        if (isListed(known.identifier)) continue;
        models.push_back(
            {known.identifier, known.displayName, known.language, installedFolder(known.identifier).has_value()});
    }
    const auto names = namesIn(paths_.models);
    if (!names) return failed(names.error());
    for (const std::string& name : *names) {
        if (isModelIdentifier(name) && !isListed(name) && isFolder(paths_.models / name)) {
            models.push_back({name, name, std::nullopt, true});
        }
    }
    return models;
}

std::optional<fs::path> ModelStore::installedFolder(std::string_view identifier) const {
    if (!isModelIdentifier(identifier)) return std::nullopt;
    const fs::path folder = identifier == systemModelIdentifier ? paths_.systemModel : paths_.models / identifier;
    if (!isFolder(folder)) return std::nullopt;
    return folder;
}

std::expected<void, ModelError> ModelStore::install(const std::string& identifier, const Observer& observer) const {
    if (installedFolder(identifier)) return {};
    if (identifier == systemModelIdentifier) {
        return std::unexpected(ModelError{ModelError::PackageMissing{identifier, systemPackage}});
    }
    const auto catalogue = readModelCatalogue(paths_.catalogue);
    if (!catalogue) return std::unexpected(catalogue.error());
    const auto model = std::ranges::find(*catalogue, identifier, &ModelDescription::identifier);
    if (model == catalogue->end()) return std::unexpected(ModelError{ModelError::Unknown{}});
    return model->isLink() ? installFromLink(*model, observer) : installFrom(model->source, *model, observer);
}

std::expected<void, ModelError> ModelStore::installFromLink(const ModelDescription& model,
                                                            const Observer& observer) const {
    const fs::path folder = partial() / model.sha256;
    auto lockOfModels = lock();
    if (!lockOfModels) return std::unexpected(std::move(lockOfModels.error()));
    if (auto made = posix::ensureFolder(folder); !made) return failed(std::move(made.error()));
    const auto lockOfFolder = posix::FileLock::tryAcquire(folder, posix::FileLock::IfMissing::fail);
    if (!lockOfFolder) {
        if (lockOfFolder.error().reason.errorNumber != EWOULDBLOCK) return failed(lockOfFolder.error());
        return std::unexpected(ModelError{ModelError::BeingDownloaded{model.identifier}});
    }
    { const posix::FileLock released = *std::move(lockOfModels); }

    const auto report = [&](double begin, double part) {
        return [&observer, begin, part](double fraction) {
            if (observer.progress) observer.progress(begin + part * fraction);
        };
    };
    const auto downloaded = downloadModel(model, folder, rules_, report(0, downloadFraction), observer.isCancelled);
    if (!downloaded) return std::unexpected(downloaded.error());
    auto installed =
        installFrom(*downloaded, model, {report(downloadFraction, 1 - downloadFraction), observer.isCancelled});
    // With a wrong checksum, only a new download can help.
    const bool isWrong = !installed && std::holds_alternative<ModelError::WrongChecksum>(installed.error().is);
    if (installed || isWrong) deleteTree(folder);
    return installed;
}

std::expected<void, ModelError> ModelStore::installFrom(const fs::path& source, const ModelDescription& model,
                                                        const Observer& observer) const {
    if (auto made = posix::ensureFolder(paths_.models); !made) return failed(std::move(made.error()));
    const auto folder = WorkFolder::make(staging());
    if (!folder) return failed(folder.error());

    const fs::path staged = folder->path() / "model";
    if (auto made = posix::ensureFolder(staged); !made) return failed(std::move(made.error()));
    const auto checksum = copyModel(source, staged, observer.progress, observer.isCancelled);
    if (!checksum) return std::unexpected(checksum.error());
    if (*checksum != model.sha256) {
        return std::unexpected(ModelError{ModelError::WrongChecksum{model.identifier, model.sha256, *checksum}});
    }

    // Locked only now, so that other installations may run during the copy.
    const auto locked = lock();
    if (!locked) return std::unexpected(locked.error());
    if (installedFolder(model.identifier)) return {};
    const fs::path target = paths_.models / model.identifier;
    if (::rename(staged.c_str(), target.c_str()) != 0) return failed(posix::systemError("create", target));
    if (auto done = posix::synchronizeFolder(paths_.models); !done) return failed(std::move(done.error()));
    return {};
}

std::expected<void, ModelError> ModelStore::checkRemovable(const std::string& identifier) const {
    if (identifier == systemModelIdentifier) {
        return std::unexpected(ModelError{ModelError::BelongsToSystem{identifier}});
    }
    if (installedFolder(identifier)) return {};
    const auto catalogue = readModelCatalogue(paths_.catalogue);
    if (!catalogue) return std::unexpected(catalogue.error());
    const auto model = std::ranges::find(*catalogue, identifier, &ModelDescription::identifier);
    if (model == catalogue->end()) return std::unexpected(ModelError{ModelError::Unknown{}});
    return {};
}

std::expected<posix::FileLock, ModelError> ModelStore::lock() const {
    if (auto made = posix::ensureFolder(paths_.models); !made) return failed(std::move(made.error()));
    auto locked = posix::FileLock::acquire(paths_.models / ".lock", posix::FileLock::IfMissing::create);
    if (!locked) return failed(std::move(locked.error()));
    return *std::move(locked);
}

std::expected<bool, ModelError> ModelStore::takeAway(const std::string& identifier,
                                                     const VostelMCPKit::UUID& request) const {
    if (identifier == systemModelIdentifier) {
        return std::unexpected(ModelError{ModelError::BelongsToSystem{identifier}});
    }
    if (!isModelIdentifier(identifier)) return false;
    const fs::path taken = removed() / request.text();
    std::error_code ignored;
    if (fs::exists(taken, ignored)) return isFolder(taken);
    if (auto made = posix::ensureFolder(removed()); !made) return failed(std::move(made.error()));
    const fs::path folder = paths_.models / identifier;
    if (::rename(folder.c_str(), taken.c_str()) != 0) {
        if (errno != ENOENT) return failed(posix::systemError("move", folder));
        // The file records that there was nothing to remove.
        if (auto noted = posix::writeFileAtomically(taken, ""); !noted) return failed(std::move(noted.error()));
        return false;
    }
    for (const fs::path& changed : {removed(), paths_.models}) {
        if (auto done = posix::synchronizeFolder(changed); !done) return failed(std::move(done.error()));
    }
    return true;
}

void ModelStore::deleteTaken(const VostelMCPKit::UUID& request) const { deleteTree(removed() / request.text()); }

std::expected<void, ModelError> ModelStore::deleteLeftovers() const {
    if (!isFolder(paths_.models)) return {};
    const auto locked = lock();
    if (!locked) return std::unexpected(locked.error());
    const auto taken = namesIn(removed());
    if (!taken) return failed(taken.error());
    for (const std::string& name : *taken) deleteTree(removed() / name);
    if (auto done = deleteAbandonedWork(staging()); !done) return failed(std::move(done.error()));
    const auto parts = namesIn(partial());
    if (!parts) return failed(parts.error());
    for (const std::string& name : *parts) {
        const fs::path folder = partial() / name;
        if (isOld(folder) && posix::FileLock::tryAcquire(folder, posix::FileLock::IfMissing::fail)) deleteTree(folder);
    }
    return {};
}

} // namespace vostel_companion
