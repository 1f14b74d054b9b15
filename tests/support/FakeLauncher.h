// A fake launcher. It opens no application, but reports success or failure, at once or when the test wants it.
#pragma once

#include "server/MCPAppLauncher.h"

#include <cerrno>
#include <utility>
#include <vector>

namespace vostel_tests {

class FakeLauncher final {
public:
    FakeLauncher() = default;
    FakeLauncher(const FakeLauncher&) = delete;

    /// For a helper inside /Applications/Vostel.app. Valid as long as this object.
    [[nodiscard]] vostel_mcp::MCPAppLauncher launcher() {
        return {"/Applications/Vostel.app/Contents/MacOS/vostel-mcp", open()};
    }
    [[nodiscard]] vostel_mcp::MCPAppLauncher::OpenApplication open() {
        return [this](std::filesystem::path bundle) { return opening(this, std::move(bundle)); };
    }

    /// From now on opening an application fails.
    void fail() { fails_ = true; }
    /// From now on opening an application waits until release is called.
    void hold() { holds_ = true; }
    void release() {
        holds_ = false;
        if (held_) heldOn_->post(std::exchange(held_, nullptr));
    }

    [[nodiscard]] const std::vector<std::filesystem::path>& opened() const { return opened_; }

private:
    using Opened = std::expected<void, VostelMCPKit::PosixError>;

    struct Pause {
        FakeLauncher& launcher;

        bool await_ready() const noexcept { return !launcher.holds_; }
        template <class P>
        void await_suspend(std::coroutine_handle<P> opening) const {
            launcher.held_ = opening;
            launcher.heldOn_ = opening.promise().executor;
        }
        void await_resume() const noexcept {}
    };

    Pause pause() { return {*this}; }

    static VostelMCPKit::Task<Opened> opening(FakeLauncher* self, std::filesystem::path bundle) {
        self->opened_.push_back(std::move(bundle));
        co_await self->pause();
        if (self->fails_) co_return std::unexpected(VostelMCPKit::PosixError{ENOENT});
        co_return Opened{};
    }

    std::vector<std::filesystem::path> opened_;
    bool fails_ = false;
    bool holds_ = false;
    std::coroutine_handle<> held_;
    VostelMCPKit::Executor* heldOn_ = nullptr;
};

} // namespace vostel_tests
