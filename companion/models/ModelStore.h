// The speech recognition models on this machine.
//
// Each model is a folder inside the models' folder, named by its identifier. It is complete or absent:
//
//     <models>/<identifier>/          an installed model
//     <models>/.staging/<random>/     a model that is being copied; locked by the process that copies
//     <models>/.partial/<checksum>/   the downloaded part of a model; locked by the process that downloads
//     <models>/.removed/<request>/    a model that a confirmed request moved away and that will be deleted; a file if
//                                     the request found no model
//     <models>/.lock                  locked while a model is moved into or out of its place
//
// The model of the system's package is elsewhere and is never changed.
#pragma once

#include "companion/models/ModelCatalogue.h"
#include "companion/models/ModelDownload.h"
#include "companion/models/ModelError.h"
#include "kit/support/UUID.h"
#include "posix/FileLock.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

struct Model {
    std::string identifier;
    std::string displayName;
    /// ISO 639-1, where it is known.
    std::optional<std::string> language;
    bool isInstalled = false;

    bool operator==(const Model&) const = default;
};

/// Has no state, so any thread may use it at any time. Operations that must not overlap take a lock on the disk, which
/// also excludes other processes.
class ModelStore final {
public:
    struct Paths {
        /// Created when the first model is installed.
        std::filesystem::path models;
        std::filesystem::path catalogue;
        /// The model of the system's package.
        std::filesystem::path systemModel = "/usr/share/pocketsphinx/model/en-us";
    };
    struct Observer {
        /// Receives the fraction that is done, 0 to 1. It never decreases.
        std::function<void(double)> progress;
        /// Checked after each block of a copy, and at least once a second during a download.
        std::function<bool()> isCancelled;
    };

    explicit ModelStore(Paths paths, DownloadRules rules = {}) : paths_{std::move(paths)}, rules_{std::move(rules)} {}

    /// The system's model, then the catalogue in its order, then installed models that are no longer in the catalogue.
    [[nodiscard]] std::expected<std::vector<Model>, ModelError> list() const;
    /// The folder of an installed model.
    [[nodiscard]] std::optional<std::filesystem::path> installedFolder(std::string_view identifier) const;

    /// Copies or downloads the model from its source, checks it and moves it into place. A failure leaves only what was
    /// downloaded. That is kept for a week, so that a repeated call can continue. A model that is already installed
    /// stays as it is.
    [[nodiscard]] std::expected<void, ModelError> install(const std::string& identifier,
                                                          const Observer& observer) const;

    /// Whether a removal may be requested: the model is known and does not belong to the system.
    [[nodiscard]] std::expected<void, ModelError> checkRemovable(const std::string& identifier) const;

    /// Excludes every other removal and installation until it is destroyed.
    [[nodiscard]] std::expected<posix::FileLock, ModelError> lock() const;
    /// Moves the model away for a request. Returns whether the model was there. Until deleteTaken, a repeated call for
    /// the request returns the same, also after a crash, and does not touch a model that was installed since. The
    /// caller holds the lock.
    [[nodiscard]] std::expected<bool, ModelError> takeAway(const std::string& identifier,
                                                           const VostelMCPKit::UUID& request) const;
    /// Deletes what takeAway moved away. If that fails, deleteLeftovers tries again.
    void deleteTaken(const VostelMCPKit::UUID& request) const;
    /// Deletes what crashed installations, finished removals and old downloads left. Call it only when every confirmed
    /// removal was performed.
    [[nodiscard]] std::expected<void, ModelError> deleteLeftovers() const;

private:
    [[nodiscard]] std::filesystem::path staging() const { return paths_.models / ".staging"; }
    [[nodiscard]] std::filesystem::path partial() const { return paths_.models / ".partial"; }
    [[nodiscard]] std::filesystem::path removed() const { return paths_.models / ".removed"; }
    /// Copies the model from `source`, a local path.
    [[nodiscard]] std::expected<void, ModelError>
    installFrom(const std::filesystem::path& source, const ModelDescription& model, const Observer& observer) const;
    [[nodiscard]] std::expected<void, ModelError> installFromLink(const ModelDescription& model,
                                                                  const Observer& observer) const;

    Paths paths_;
    DownloadRules rules_;
};

} // namespace vostel_companion
