// A standard output for tests: it records what is written, and lets the test decide how a write ends.
#pragma once

#include "kit/stdio/MCPStdoutWriter.h"

#include <deque>
#include <string>
#include <vector>

namespace vostel_tests {

class RecordingOutput final {
public:
    using Written = std::expected<std::int64_t, VostelMCPKit::PosixError>;

    RecordingOutput() = default;
    RecordingOutput(const RecordingOutput&) = delete;

    /// Valid as long as this object.
    [[nodiscard]] VostelMCPKit::MCPStdoutWriter::AttemptWrite attempt() {
        return [this](std::span<const std::byte> bytes) { return write(bytes); };
    }

    /// Makes room for `count` bytes, so that the writes need no more memory.
    void makeRoom(std::size_t count) { text_.reserve(count); }
    /// The next write has this outcome. A count limits the number of bytes that it takes.
    void nextWrite(Written outcome) { outcomes_.push_back(outcome); }
    /// Called after each write.
    void onWrite(std::function<void()> action) { onWrite_ = std::move(action); }

    [[nodiscard]] std::size_t writes() const { return writes_; }
    /// The lines that were written since the last call. A last line without a line feed begins with "unfinished".
    [[nodiscard]] std::vector<std::string> takeLines() {
        std::vector<std::string> lines;
        std::string rest = std::exchange(text_, {});
        for (auto end = rest.find('\n'); end != rest.npos; end = rest.find('\n')) {
            lines.push_back(rest.substr(0, end));
            rest.erase(0, end + 1);
        }
        if (!rest.empty()) lines.push_back("unfinished: " + rest);
        return lines;
    }

private:
    Written write(std::span<const std::byte> bytes) {
        ++writes_;
        Written taken = static_cast<std::int64_t>(bytes.size());
        if (!outcomes_.empty()) {
            if (!outcomes_.front() || *outcomes_.front() < *taken) taken = outcomes_.front();
            outcomes_.pop_front();
        }
        if (taken && *taken > 0) {
            text_.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(*taken));
        }
        if (onWrite_) onWrite_();
        return taken;
    }

    std::string text_;
    std::deque<Written> outcomes_;
    std::function<void()> onWrite_;
    std::size_t writes_ = 0;
};

} // namespace vostel_tests
