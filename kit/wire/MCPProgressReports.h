// Turns the application's progress frames into lines for the client. The reports stay text.
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

/// Some reports of one call, in order. One call can send hundreds of thousands of reports, and their notifications
/// differ in two members only. So only the text of these two is stored, and no report becomes an MCPValue. Moved, never
/// copied. Not thread-safe.
class MCPProgressReports final {
public:
    /// Holds no report yet. `requestID` is the wire id of the call.
    explicit MCPProgressReports(std::string requestID) : requestID_{std::move(requestID)} {}

    /// The wire id of the call.
    [[nodiscard]] const std::string& requestID() const& { return requestID_; }
    void requestID() const&& = delete;

    /// Adds a report of this call.
    void add(const MCPWireProgressText& report);
    /// The same for a report that was decoded, because canonicalProgress could not take its text. A report whose
    /// fraction is not finite is left out: no JSON text holds such a number.
    void add(const MCPWireProgress& report);

    /// One line for each report, as appendLine writes it. `notification` is a progress notification of the call without
    /// a message. The progress of each report replaces its progress.
    [[nodiscard]] Bytes lines(const MCPNotification& notification) const;

private:
    std::string requestID_;
    /// For each report: the members `message` and `progress` of its notification, then a line feed.
    Bytes members_;
    std::size_t count_ = 0;
};

} // namespace VostelMCPKit
