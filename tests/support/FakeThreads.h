// Fake threads. Their bodies run on the test's own thread, at once or when the test wants it.
#pragma once

#include "posix/BlockingThread.h"

#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace vostel_tests {

class FakeThreads final {
public:
    enum class Run { atOnce, whenAsked };

    explicit FakeThreads(Run run) : run_{run} {}
    FakeThreads(const FakeThreads&) = delete;

    /// Valid as long as this object.
    [[nodiscard]] posix::ThreadStarter starter() {
        return [this](posix::ThreadName name, std::function<void()> body) { return start(name, std::move(body)); };
    }

    /// From start number `count` on, counted from one, every start fails.
    void failFrom(std::size_t count, int code) {
        firstRefused_ = count;
        refusal_ = code;
    }

    /// Runs the body that has waited longest. There must be one.
    void runNext() {
        if (waiting_.empty()) std::abort();
        const auto body = std::move(waiting_.front());
        waiting_.pop_front();
        body();
    }
    /// Runs the body that was started last.
    void runNewest() {
        waiting_.push_front(std::move(waiting_.back()));
        waiting_.pop_back();
        runNext();
    }
    void runAll() {
        while (!waiting_.empty()) runNext();
    }

    [[nodiscard]] std::size_t waitingCount() const { return waiting_.size(); }
    /// The names of all threads on Linux and on macOS, in the order of their starts.
    [[nodiscard]] const std::vector<std::string>& suffixes() const { return suffixes_; }
    [[nodiscard]] const std::vector<std::string>& reverseDNSNames() const { return reverseDNSNames_; }

private:
    std::expected<void, VostelMCPKit::PosixError> start(posix::ThreadName name, std::function<void()> body) {
        suffixes_.emplace_back(name.suffix);
        reverseDNSNames_.emplace_back(name.reverseDNS);
        if (firstRefused_ && suffixes_.size() >= *firstRefused_) {
            return std::unexpected(VostelMCPKit::PosixError{refusal_});
        }
        if (run_ == Run::atOnce) {
            body();
        } else {
            waiting_.push_back(std::move(body));
        }
        return {};
    }

    const Run run_;
    std::deque<std::function<void()>> waiting_;
    std::vector<std::string> suffixes_;
    std::vector<std::string> reverseDNSNames_;
    std::optional<std::size_t> firstRefused_;
    int refusal_ = 0;
};

} // namespace vostel_tests
