// Decides whether lines may still begin.
#pragma once

#include <mutex>

namespace VostelMCPKit {

/// Open until it is closed. The writer asks it in the moment in which a line begins, so nothing comes between the
/// question and the first byte. Thread-safe.
class LineGate final {
public:
    LineGate() = default;
    LineGate(const LineGate&) = delete;
    LineGate& operator=(const LineGate&) = delete;

    /// Once this has returned, no line begins. A line that is beginning delays it for one write that does not wait.
    void close() {
        const std::lock_guard lock{mutex_};
        isOpen_ = false;
    }

    /// Runs `begin`, which must not wait, and returns true. Once closed: returns false and runs nothing.
    template <class Begin>
    [[nodiscard]] bool ifOpen(Begin begin) {
        const std::lock_guard lock{mutex_};
        if (isOpen_) begin();
        return isOpen_;
    }

private:
    std::mutex mutex_;
    bool isOpen_ = true;
};

} // namespace VostelMCPKit
