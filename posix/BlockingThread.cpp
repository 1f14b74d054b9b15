#include "posix/BlockingThread.h"

#include <cerrno>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace posix {

namespace {

using VostelMCPKit::PosixError;

constexpr std::size_t stackSize = 1'048'576;
/// Enough for a burst of calls. 64 kept stacks use less than 1 MiB of memory, because few of their pages are touched.
constexpr std::size_t keptStacks = 64;

std::size_t pageSize() {
    static const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

/// The memory of one stack, with a guard page below it, so that an overflow crashes instead of overwriting other
/// memory.
struct Stack {
    char* mapping = nullptr;

    [[nodiscard]] static std::expected<Stack, PosixError> map() {
        void* mapping =
            ::mmap(nullptr, stackSize + pageSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED) return std::unexpected(PosixError{errno});
        const Stack stack{static_cast<char*>(mapping)};
        if (::mprotect(mapping, pageSize(), PROT_NONE) != 0) {
            const int failure = errno;
            stack.unmap();
            return std::unexpected(PosixError{failure});
        }
        return stack;
    }
    [[nodiscard]] char* lowest() const { return mapping + pageSize(); }
    void unmap() const { ::munmap(mapping, stackSize + pageSize()); }
};

struct EndedThread {
    pthread_t thread;
    Stack stack;
};

/// The threads that have ended or are about to end. After a thread is joined, its stack can be used again. Joining is
/// quick: at most, such a thread still joins one earlier thread.
class EndedThreads final {
public:
    /// Each thread calls it at its end. Above the limit, it joins the oldest thread at once: after a burst of calls,
    /// the next start of a thread may be days away.
    void add(EndedThread ended) {
        std::optional<EndedThread> surplus;
        {
            const std::lock_guard lock{mutex_};
            if (ended_.size() == keptStacks) surplus = takeOldest();
            ended_.push_back(ended);
        }
        if (!surplus) return;
        ::pthread_join(surplus->thread, nullptr);
        surplus->stack.unmap();
    }

    /// Returns a stack that no thread uses: a kept one or a new one.
    std::expected<Stack, PosixError> takeStack() {
        std::optional<EndedThread> reused;
        {
            const std::lock_guard lock{mutex_};
            if (!ended_.empty()) reused = takeOldest();
        }
        if (!reused) return Stack::map();
        ::pthread_join(reused->thread, nullptr);
        return reused->stack;
    }

private:
    /// The oldest thread, because the latest is probably still ending, and joining it would wait.
    EndedThread takeOldest() {
        const EndedThread oldest = ended_.front();
        ended_.pop_front();
        return oldest;
    }

    std::mutex mutex_;
    std::deque<EndedThread> ended_;
};

/// Never destroyed: threads may still be ending when the process exits.
EndedThreads& endedThreads() {
    static auto* threads = new EndedThreads;
    return *threads;
}

struct Start {
    ThreadName name;
    std::function<void()> body;
    Stack stack;
};

void* runThread(void* argument) {
    const std::unique_ptr<Start> start{static_cast<Start*>(argument)};
    nameThisThread(start->name);
    start->body();
    start->body = nullptr;
    endedThreads().add({::pthread_self(), start->stack});
    return nullptr;
}

} // namespace

std::expected<void, PosixError> startBlockingThread(ThreadName name, std::function<void()> body) {
    auto start = std::make_unique<Start>(name, std::move(body), Stack{});
    // Comes last, because a stack may take the last of the memory, and a small allocation that fails ends the process.
    const auto stack = endedThreads().takeStack();
    if (!stack) return std::unexpected(stack.error());
    start->stack = *stack;

    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstack(&attributes, stack->lowest(), stackSize);
    pthread_t thread;
    const int failure = ::pthread_create(&thread, &attributes, runThread, start.get());
    ::pthread_attr_destroy(&attributes);
    if (failure != 0) {
        stack->unmap();
        return std::unexpected(PosixError{failure});
    }
    std::ignore = start.release();
    return {};
}

} // namespace posix
