// Decides whether lines may still begin.
#pragma once

#include <mutex>

namespace VostelMCPKit {

/// Open until it is closed. The writer writes the first bytes of a line while it holds the gate's lock, so the gate
/// cannot close between the check and the write. Thread-safe.
class LineGate final {
public:
    LineGate() = default;
    LineGate(const LineGate&) = delete;
    LineGate& operator=(const LineGate&) = delete;

    /// After this has returned, no line begins. It may wait for one write, which does not block.
    void close() {
        const std::lock_guard lock{mutex_};
        isOpen_ = false;
    }

    /// If the gate is open: runs `begin`, which must not block, and returns true. If closed: returns false.
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
