#include "server/SerialExecutor.h"

#include <vector>

namespace vostel_mcp {

namespace {

struct Posted {
    std::coroutine_handle<> continuation;
    /// Null when the continuation needs no lock.
    TrackedMutex* mutex;
};

void run(const Posted& posted) {
    if (posted.mutex == nullptr) return posted.continuation.resume();
    const std::lock_guard inside{posted.mutex->mutex};
    posted.mutex->holder = std::this_thread::get_id();
    posted.continuation.resume();
    posted.mutex->holder = std::thread::id{};
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

void SerialExecutor::post(std::coroutine_handle<> continuation) { runOnThisThread({continuation, &mutex_}); }

void SerialExecutor::close() {
    if (mutex_.holder != std::this_thread::get_id()) mutex_.mutex.lock();
}

} // namespace vostel_mcp
