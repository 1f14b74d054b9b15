#include "server/LineChannel.h"

#include <iterator>
#include <utility>

namespace vostel_mcp {

void LineChannel::push(std::vector<std::string> lines) {
    const std::lock_guard lock{mutex_};
    std::move(lines.begin(), lines.end(), std::back_inserter(lines_));
    if (!lines_.empty()) wakeConsumer();
}

void LineChannel::finish() {
    const std::lock_guard lock{mutex_};
    finished_ = true;
    wakeConsumer();
}

VostelMCPKit::Task<std::optional<std::string>> LineChannel::next() {
    co_await arrival();
    const std::lock_guard lock{mutex_};
    std::optional<std::string> line;
    if (!lines_.empty()) {
        line = std::move(lines_.front());
        lines_.pop_front();
    }
    co_return line;
}

bool LineChannel::waitsFor(std::coroutine_handle<> consumer, VostelMCPKit::Executor* executor) {
    const std::lock_guard lock{mutex_};
    if (finished_ || !lines_.empty()) return false;
    consumer_ = consumer;
    consumerExecutor_ = executor;
    return true;
}

/// Called under the lock, like every notification: the consumer must not be gone before it is complete.
void LineChannel::wakeConsumer() {
    if (consumer_) consumerExecutor_->post(std::exchange(consumer_, nullptr));
}

} // namespace vostel_mcp
