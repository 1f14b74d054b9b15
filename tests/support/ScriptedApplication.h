// A scripted application: which attempts to connect succeed, and what each connection sends.
#pragma once

#include "kit/support/PosixError.h"
#include "tests/support/ScriptedPeer.h"

#include <cerrno>
#include <deque>
#include <expected>
#include <functional>
#include <list>

namespace vostel_tests {

class ScriptedApplication final {
public:
    ScriptedApplication() = default;
    ScriptedApplication(const ScriptedApplication&) = delete;

    /// Script: one attempt to connect that succeeds and reaches this peer.
    ScriptedPeer& answers(const std::vector<std::string>& pieces,
                          ScriptedPeer::Ending ending = ScriptedPeer::Ending::endOfStream) {
        ScriptedPeer& peer = peers_.emplace_back(pieces, ending);
        script_.push_back([&peer] { return peer.takeClientEnd(); });
        return peer;
    }
    /// Script: this many attempts that fail.
    void refuses(std::size_t attempts, int code = ENOENT) {
        script_.insert(script_.end(), attempts, [code] { return std::unexpected(VostelMCPKit::PosixError{code}); });
    }

    /// From now on, every attempt to connect must wait first.
    void isFull() { isFull_ = true; }
    /// Sets an action that runs before each attempt to connect, and after its wait has begun.
    void onConnect(std::function<void()> action) { onConnect_ = std::move(action); }

    /// Replaces the system's connect. After the end of the script, every attempt fails.
    [[nodiscard]] auto connector() {
        return [this](const std::string& path, const std::function<void()>& beforeWaiting) {
            if (beforeWaiting && isFull_) beforeWaiting();
            if (onConnect_) onConnect_();
            return connect(path);
        };
    }

    [[nodiscard]] std::size_t attempts() const { return paths_.size(); }
    [[nodiscard]] const std::vector<std::string>& paths() const { return paths_; }

private:
    using Connected = std::expected<posix::FileDescriptor, VostelMCPKit::PosixError>;

    Connected connect(const std::string& path) {
        paths_.push_back(path);
        if (script_.empty()) return std::unexpected(VostelMCPKit::PosixError{ENOENT});
        const auto outcome = std::move(script_.front());
        script_.pop_front();
        return outcome();
    }

    std::deque<std::function<Connected()>> script_;
    std::list<ScriptedPeer> peers_;
    std::vector<std::string> paths_;
    bool isFull_ = false;
    std::function<void()> onConnect_;
};

} // namespace vostel_tests
