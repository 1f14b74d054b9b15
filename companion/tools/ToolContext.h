// What the tools need from the world.
#pragma once

#include "companion/download/VideoDownloader.h"
#include "companion/store/Confirmations.h"
#include "companion/store/ModelStore.h"
#include "companion/store/Moments.h"
#include "companion/store/Places.h"
#include "companion/store/Schema.h"
#include "companion/support/RandomUUID.h"
#include "companion/tools/Tool.h"
#include "companion/transcription/Transcriber.h"
#include "kit/tools/MCPURLPolicy.h"

#include <chrono>
#include <concepts>
#include <functional>

namespace vostel_companion {

/// Every function is called on the calls' threads, several at once.
struct ToolContext {
    Places places;
    Transcribe transcribe;
    /// Outlives the tools.
    const ModelStore& models;
    /// A client asks for something that the person must confirm: called once for each new request, whose call waits
    /// until this returns.
    std::function<void(const OpenConfirmation&)> tellPerson = [](const OpenConfirmation&) {};
    Confirmations::Clock now = std::chrono::system_clock::now;
    VostelMCPKit::UUIDSource newID = randomUUID;
    LocalMidnight localMidnight = systemLocalMidnight;
    /// Judges links before anything is fetched.
    VostelMCPKit::MCPURLPolicy::Resolver resolve = VostelMCPKit::resolveBySystem;
    DownloadAudio downloadAudio = systemDownload(places.downloads());
};

/// The outcome of `use` with the call's own connection to the database, or the failure to open one.
[[nodiscard]] VostelMCPKit::MCPToolOutcome withDatabase(const ToolContext& context,
                                                        std::invocable<Database&> auto use) {
    auto database = openStore(context.places.database());
    if (!database) return failedOutcome(database.error().description());
    return use(*database);
}

} // namespace vostel_companion
