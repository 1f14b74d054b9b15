#include "server/SerialExecutor.h"

#include <vector>

namespace vostel_mcp {

namespace {

struct Posted {
    std::coroutine_handle<> continuation;
    /// Null when the continuation needs no turn.
    Turn* turn;
};

void run(const Posted& posted) {
    if (posted.turn == nullptr) return posted.continuation.resume();
    const std::lock_guard inside{posted.turn->mutex};
    posted.turn->holder = std::this_thread::get_id();
    posted.continuation.resume();
    posted.turn->holder = std::thread::id{};
}

void runOnThisThread(const Posted& first) {
    thread_local std::vector<Posted>* waiting = nullptr;
    if (waiting != nullptr) return waiting->push_back(first);

    std::vector<Posted> later;
    waiting = &later;
    run(first);
    while (!later.empty()) {
        const Posted next = later.front();
        later.erase(later.begin());
        run(next);
    }
    waiting = nullptr;
}

} // namespace

void InlineExecutor::post(std::coroutine_handle<> continuation) { runOnThisThread({continuation, nullptr}); }

void SerialExecutor::post(std::coroutine_handle<> continuation) { runOnThisThread({continuation, &turn_}); }

void SerialExecutor::close() {
    if (turn_.holder != std::this_thread::get_id()) turn_.mutex.lock();
}

} // namespace vostel_mcp
