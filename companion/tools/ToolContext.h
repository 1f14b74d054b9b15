// What the tools need from the world.
#pragma once

#include "companion/download/VideoDownloader.h"
#include "companion/models/ModelStore.h"
#include "companion/store/Confirmations.h"
#include "companion/store/Schema.h"
#include "companion/support/Iso8601.h"
#include "companion/support/Paths.h"
#include "companion/support/Semaphore.h"
#include "companion/tools/Tool.h"
#include "companion/transcription/Transcriber.h"
#include "kit/tools/MCPURLPolicy.h"
#include "posix/RandomUUID.h"

#include <chrono>
#include <concepts>
#include <functional>
#include <memory>

namespace vostel_companion {

/// Copies of one context belong together: they share its turns. Every function is called on the calls' threads, several
/// at once.
struct ToolContext {
    Paths paths;
    Transcribe transcribe;
    /// Outlives the tools.
    const ModelStore& models;
    /// A client asks for something that the person must confirm: called once for each new request, whose call waits
    /// until this returns.
    std::function<void(const OpenConfirmation&)> tellPerson = [](const OpenConfirmation&) {};
    Confirmations::Clock now = std::chrono::system_clock::now;
    VostelMCPKit::UUIDSource newID = posix::randomUUID;
    LocalMidnight localMidnight = systemLocalMidnight;
    /// Judges links before anything is fetched.
    VostelMCPKit::MCPURLPolicy::Resolver resolve = VostelMCPKit::resolveBySystem;
    DownloadAudio downloadAudio = systemDownload(paths.downloads());
    /// A database left to itself makes many writers wait in no order, and turns some away after a while.
    std::shared_ptr<Turns> databaseTurns = std::make_shared<Turns>(4);
};

/// The outcome of `use` with the call's own connection to the database, once it is the call's turn, or the failure to
/// open one.
[[nodiscard]] VostelMCPKit::MCPToolOutcome withDatabase(const ToolContext& context, Cancellation& cancellation,
                                                        std::invocable<Database&> auto use) {
    const auto turn = context.databaseTurns->wait(cancellation);
    if (!turn) return failedOutcome("The call was cancelled.");
    auto database = openStore(context.paths.database());
    if (!database) return failedOutcome(database.error().description());
    return use(*database);
}

} // namespace vostel_companion
