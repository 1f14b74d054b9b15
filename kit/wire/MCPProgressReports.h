// Progress on its way from the application's frames to the client's lines, as text.
//
//     MCPProgressReports reports{wireID};
//     for (const auto& payload : payloads) reports.add(*canonicalProgress(payload));
//     if (auto notification = registry.progressNotification(wireID, 0, {})) write(reports.lines(*notification));
#pragma once

#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/Bytes.h"
#include "kit/wire/MCPWireFrameText.h"

#include <cstddef>
#include <string>
#include <utility>

namespace VostelMCPKit {

/// Some reports of one call, in order. Reports come by the hundred thousand, and their notifications differ in two
/// members alone. So only these are kept, and no report becomes a value. Moved, never copied. Not thread-safe.
class MCPProgressReports final {
public:
    /// None of the call with this wire id.
    explicit MCPProgressReports(std::string requestID) : requestID_{std::move(requestID)} {}

    /// The wire id of the call.
    [[nodiscard]] const std::string& requestID() const { return requestID_; }

    /// Adds a report of this call.
    void add(const MCPWireProgressText& report);
    /// The same for one that had to be read.
    void add(const MCPWireProgress& report);

    /// One line for each report, as appendLine writes it. `notification` is one of the call's, without a message; its
    /// progress does not count.
    [[nodiscard]] Bytes lines(const MCPNotification& notification) const;

private:
    std::string requestID_;
    /// For each report the members `message` and `progress` of the notification and a line feed.
    Bytes members_;
    std::size_t count_ = 0;
};

} // namespace VostelMCPKit
