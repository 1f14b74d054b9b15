#include "server/PendingCancellations.h"

namespace vostel_mcp {

void PendingCancellations::add() {
    const std::lock_guard lock{mutex_};
    ++count_;
}

void PendingCancellations::remove() {
    const std::lock_guard lock{mutex_};
    if (--count_ == 0) empty_.notify_all();
}

void PendingCancellations::drain(std::chrono::milliseconds limit) {
    std::unique_lock lock{mutex_};
    empty_.wait_for(lock, limit, [this] { return count_ == 0; });
}

} // namespace vostel_mcp
