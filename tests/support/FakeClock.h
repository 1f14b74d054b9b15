// A clock that advances only when the code under test sleeps. Sleeping takes no real time.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace vostel_tests {

class FakeClock final {
public:
    using Seconds = std::chrono::duration<double>;

    FakeClock() = default;
    FakeClock(const FakeClock&) = delete;

    [[nodiscard]] auto now() {
        return [this] { return now_; };
    }
    [[nodiscard]] auto sleep() {
        return [this](Seconds pause) {
            sleeps_.push_back(pause);
            pass(pause);
        };
    }
    void pass(Seconds time) { now_ += std::chrono::duration_cast<std::chrono::steady_clock::duration>(time); }

    [[nodiscard]] const std::vector<Seconds>& sleeps() const { return sleeps_; }

private:
    std::chrono::steady_clock::time_point now_{std::chrono::hours{1}};
    std::vector<Seconds> sleeps_;
};

} // namespace vostel_tests
