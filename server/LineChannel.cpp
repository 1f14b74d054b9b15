#include "server/LineChannel.h"

#include <iterator>
#include <utility>

namespace vostel_mcp {

void LineChannel::push(std::vector<std::string> lines) {
    std::unique_lock lock{mutex_};
    std::move(lines.begin(), lines.end(), std::back_inserter(lines_));
    if (!lines_.empty()) wakeConsumer(std::move(lock));
}

void LineChannel::finish() {
    std::unique_lock lock{mutex_};
    finished_ = true;
    wakeConsumer(std::move(lock));
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

/// Unlocks before posting, so the consumer does not block on the mutex. The consumer stays alive until it is posted.
void LineChannel::wakeConsumer(std::unique_lock<std::mutex> lock) {
    const auto consumer = std::exchange(consumer_, nullptr);
    VostelMCPKit::Executor* const executor = consumerExecutor_;
    lock.unlock();
    if (consumer) executor->post(consumer);
}

} // namespace vostel_mcp
