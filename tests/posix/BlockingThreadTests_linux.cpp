#include "kit/concurrency/Actor.h"
#include "posix/BlockingThread.h"
#include "server/RunLoop.h"
#include "server/SerialExecutor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <mutex>
#include <pthread.h>
#include <sstream>
#include <sys/mman.h>
#include <thread>

namespace {

/// The error of the next pthread_create; zero while it works.
std::atomic<int> nextThreadFails = 0;
/// True while the system cannot protect a page.
std::atomic<bool> protectingFails = false;

} // namespace

extern "C" int __real_mprotect(void* begin, size_t length, int protection);
extern "C" int __wrap_mprotect(void* begin, size_t length, int protection);
int __wrap_mprotect(void* begin, size_t length, int protection) {
    if (!protectingFails) return __real_mprotect(begin, length, protection);
    errno = ENOMEM;
    return -1;
}

// The linker sends the server's calls of pthread_create here.
extern "C" int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                                     void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
    if (const int failure = nextThreadFails.exchange(0)) return failure;
    return __real_pthread_create(thread, attributes, body, argument);
}

namespace posix {
namespace {

using VostelMCPKit::PosixError;
using VostelMCPKit::Task;

constexpr ThreadName name{"com.vostel.vostel-mcp.test", "test-thread"};
/// The stacks of ended threads that are kept.
constexpr std::size_t mostKept = 64;

/// Counts down as threads end. The waiter sleeps until the last one has counted.
class Countdown final {
public:
    explicit Countdown(int count) : count_{count} {}

    void arrive() {
        const std::lock_guard lock{mutex_};
        if (--count_ == 0) reached_.notify_all();
    }
    void wait() {
        std::unique_lock lock{mutex_};
        reached_.wait(lock, [this] { return count_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable reached_;
    int count_;
};

/// Runs `body` on a thread of its own and waits for its end.
void runRunBlocking(const std::function<void()>& body) {
    Countdown end{1};
    ASSERT_TRUE(startBlockingThread(name, [&] {
        body();
        end.arrive();
    }));
    end.wait();
}

std::size_t threadCount() {
    const std::filesystem::directory_iterator tasks{"/proc/self/task"};
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

std::vector<std::string> mappings() {
    std::ifstream file{"/proc/self/maps"};
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

/// The number of mapped stacks. A stack is an inaccessible page below a mebibyte of memory, or below more if the system
/// has merged it with the mapping above. Larger inaccessible mappings belong to the address sanitizer.
std::size_t guardedStackCount() {
    constexpr std::uintptr_t gibibyte = 1U << 30;
    struct Range {
        std::uintptr_t begin = 0, end = 0;
        std::string access;
    };
    Range below;
    std::size_t count = 0;
    for (const std::string& line : mappings()) {
        Range range;
        char dash = 0;
        std::istringstream{line} >> std::hex >> range.begin >> dash >> range.end >> range.access;
        const bool guarded = below.access == "---p" && below.end == range.begin && below.end - below.begin < gibibyte;
        if (guarded && range.access == "rw-p" && range.end - range.begin >= 1'048'576) ++count;
        below = range;
    }
    return count;
}

/// Waits until the threads have ended, which takes a moment after their bodies. Starts no thread meanwhile, because
/// after a burst there may be no other start.
void letThreadsEnd(std::size_t otherThreads, std::size_t otherStacks) {
    const auto areLeft = [&] { return guardedStackCount() > otherStacks + mostKept || threadCount() > otherThreads; };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
    while (areLeft() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
}

TEST(BlockingThread, carries_its_name_on_a_stack_of_one_mebibyte_with_a_guard_below) {
    std::string seenName(16, '\0');
    std::size_t size = 0;
    std::string belowStack;
    runRunBlocking([&] {
        ::pthread_getname_np(::pthread_self(), seenName.data(), seenName.size());
        pthread_attr_t attributes;
        ASSERT_EQ(::pthread_getattr_np(::pthread_self(), &attributes), 0);
        void* lowest = nullptr;
        ::pthread_attr_getstack(&attributes, &lowest, &size);
        ::pthread_attr_destroy(&attributes);
        std::ostringstream end;
        end << '-' << std::hex << reinterpret_cast<std::uintptr_t>(lowest) << ' ';
        for (const std::string& line : mappings()) {
            if (line.contains(end.str())) belowStack = line;
        }
    });
    EXPECT_EQ(std::string{seenName.c_str()}, "test-thread");
    EXPECT_EQ(size, 1'048'576U);
    EXPECT_TRUE(belowStack.contains(" ---p ")) << belowStack;
}

TEST(BlockingThread, ten_thousand_starts_one_after_the_other_leave_no_thread_and_no_mapping) {
    runRunBlocking([] {});
    const std::size_t threadsBefore = threadCount();
    const std::size_t stacksBefore = guardedStackCount();
    const std::size_t mappingsBefore = mappings().size();
    std::atomic<int> ran = 0;
    for (int start = 0; start < 10'000; ++start) {
        runRunBlocking([&] { ++ran; });
    }
    EXPECT_EQ(ran, 10'000);
    letThreadsEnd(threadsBefore, stacksBefore);
    EXPECT_LE(threadCount(), threadsBefore);
    EXPECT_LE(mappings().size(), mappingsBefore + 50) << "each leaked stack would be two";
}

TEST(BlockingThread, two_hundred_at_once_leave_no_thread_and_only_the_kept_stacks) {
    constexpr int count = 200;
    runRunBlocking([] {});
    const std::size_t threadsBefore = threadCount();
    const std::size_t stacksBefore = guardedStackCount();
    {
        Countdown running{count};
        Countdown released{1};
        Countdown ended{count};
        for (int start = 0; start < count; ++start) {
            ASSERT_TRUE(startBlockingThread(name, [&] {
                running.arrive();
                released.wait();
                ended.arrive();
            }));
        }
        running.wait();
        EXPECT_GE(threadCount(), static_cast<std::size_t>(count));
        EXPECT_GE(guardedStackCount(), static_cast<std::size_t>(count));
        released.arrive();
        ended.wait();
    }
    letThreadsEnd(threadsBefore, stacksBefore);
    EXPECT_LE(guardedStackCount(), stacksBefore + mostKept);
    EXPECT_LE(threadCount(), threadsBefore);
}

TEST(BlockingThread, a_thread_that_cannot_be_started_is_reported_and_its_body_never_runs) {
    runRunBlocking([] {});
    const auto body = std::make_shared<int>(0);
    const std::size_t stacksBefore = guardedStackCount();
    for (int time = 0; time < 200; ++time) {
        nextThreadFails = EAGAIN;
        const auto started = startBlockingThread(name, [body] { ++*body; });
        ASSERT_FALSE(started);
        EXPECT_EQ(started.error(), PosixError{EAGAIN});
    }
    EXPECT_EQ(*body, 0);
    EXPECT_EQ(body.use_count(), 1) << "nothing of the body is kept";
    EXPECT_LE(guardedStackCount(), stacksBefore);
    runRunBlocking([&] { ++*body; });
    EXPECT_EQ(*body, 1) << "the next start works";
}

TEST(BlockingThread, a_stack_whose_guard_page_cannot_be_protected_is_not_used) {
    std::promise<void> release;
    const std::shared_future<void> released{release.get_future()};
    std::atomic<std::size_t> ended = 0;
    std::size_t running = 0;
    std::expected<void, PosixError> started;
    protectingFails = true;
    // Kept stacks have their guard pages already. So all of them must be in use before a new one is mapped.
    for (; running <= mostKept; ++running) {
        started = startBlockingThread(name, [&ended, released] {
            released.wait();
            ++ended;
            ended.notify_all();
        });
        if (!started) break;
    }
    protectingFails = false;
    release.set_value();
    for (std::size_t seen = ended; seen != running; seen = ended) ended.wait(seen);
    EXPECT_EQ(started, (std::expected<void, PosixError>{std::unexpected(PosixError{ENOMEM})}));
}

using Answer = std::expected<std::thread::id, PosixError>;

/// Runs work on a thread of its own. The answer is that thread's id.
Task<void> ask(const ThreadStarter& starter, Answer* answer, std::thread::id* resumedOn) {
    auto work = []() -> Answer { return std::this_thread::get_id(); };
    *answer = co_await runBlocking(starter, name, work);
    *resumedOn = std::this_thread::get_id();
}

TEST(BlockingThread, the_awaiter_gets_the_result_on_its_own_executor) {
    // Never destroyed: the thread may still notify it after the test.
    static vostel_mcp::RunLoop mainThread;
    const ThreadStarter starter = startBlockingThread;
    Answer answer;
    std::thread::id resumedOn;
    mainThread.run(ask(starter, &answer, &resumedOn));
    ASSERT_TRUE(answer);
    EXPECT_NE(*answer, std::this_thread::get_id());
    EXPECT_EQ(resumedOn, std::this_thread::get_id());
}

TEST(BlockingThread, its_starter_does_not_continue_the_awaiter_however_soon_it_ends) {
    vostel_mcp::InlineExecutor calls;
    const ThreadStarter slowToReturn = [](ThreadName own, const std::function<void()>& body) {
        Countdown end{1};
        auto started = startBlockingThread(own, [&] {
            body();
            end.arrive();
        });
        end.wait();
        return started;
    };
    Answer answer;
    std::thread::id resumedOn;
    spawn(ask(slowToReturn, &answer, &resumedOn), calls);
    ASSERT_TRUE(answer);
    EXPECT_NE(resumedOn, std::this_thread::get_id());
    EXPECT_EQ(resumedOn, *answer);
}

TEST(BlockingThread, the_awaiter_gets_the_failure_to_start) {
    vostel_mcp::RunLoop mainThread;
    const ThreadStarter starter = startBlockingThread;
    Answer answer;
    std::thread::id resumedOn;
    nextThreadFails = ENOMEM;
    mainThread.run(ask(starter, &answer, &resumedOn));
    EXPECT_EQ(answer, Answer{std::unexpected(PosixError{ENOMEM})});
    EXPECT_EQ(resumedOn, std::this_thread::get_id());
}

} // namespace
} // namespace posix
