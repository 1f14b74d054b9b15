#include "server/PendingCancellations.h"

namespace vostel_mcp {

namespace {

/// The frame of a cancellation fits into the buffer of a fresh connection, so writing it takes no time worth
/// mentioning.
constexpr auto connectedLimit = std::chrono::seconds{1};

} // namespace

void PendingCancellations::add() {
    const std::lock_guard lock{mutex_};
    ++count_;
}

void PendingCancellations::connected() {
    const std::lock_guard lock{mutex_};
    ++connected_;
}

void PendingCancellations::remove(bool wasConnected) {
    const std::lock_guard lock{mutex_};
    --count_;
    if (wasConnected) --connected_;
    removed_.notify_all();
}

void PendingCancellations::drain(std::chrono::milliseconds limit) {
    std::unique_lock lock{mutex_};
    removed_.wait_for(lock, limit, [this] { return count_ == 0; });
    removed_.wait_for(lock, connectedLimit, [this] { return connected_ == 0; });
}

} // namespace vostel_mcp
