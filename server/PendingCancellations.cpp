#include "server/PendingCancellations.h"

namespace vostel_mcp {

void PendingCancellations::add() {
    const std::lock_guard lock{mutex_};
    ++count_;
    ++held_;
}

void PendingCancellations::released() {
    const std::lock_guard lock{mutex_};
    --held_;
}

void PendingCancellations::held() {
    const std::lock_guard lock{mutex_};
    ++held_;
    changed_.notify_all();
}

void PendingCancellations::remove() {
    const std::lock_guard lock{mutex_};
    --count_;
    changed_.notify_all();
}

void PendingCancellations::drain(std::chrono::milliseconds forApplication, std::chrono::milliseconds forProcess) {
    const auto allAreHeld = [this] { return held_ == count_; };
    const auto end = std::chrono::steady_clock::now() + forApplication;
    std::unique_lock lock{mutex_};
    changed_.wait_for(lock, forProcess, allAreHeld);
    changed_.wait_until(lock, end, [this] { return count_ == 0; });
    // Waits for those that the application has stopped delaying meanwhile.
    changed_.wait_for(lock, forProcess, allAreHeld);
}

} // namespace vostel_mcp
