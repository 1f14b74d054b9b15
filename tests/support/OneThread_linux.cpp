// Makes a test fail if it starts a thread and its file is in ONE_THREAD, which the thread sanitizer does not see.
#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>

namespace {

std::atomic<int> startedThreads = 0;

/// VOSTEL_ONE_THREAD holds the names of the files, each between two slashes.
class OneThread final : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { startedThreads = 0; }

    void OnTestEnd(const testing::TestInfo& test) override {
        const std::string name = "/" + std::filesystem::path{test.file()}.filename().string() + "/";
        if (std::strstr(VOSTEL_ONE_THREAD, name.c_str()) == nullptr) return;
        EXPECT_EQ(startedThreads, 0) << "threads were started, so this file must not be in ONE_THREAD";
    }
};

[[maybe_unused]] const bool isListening = (testing::UnitTest::GetInstance()->listeners().Append(new OneThread), true);

} // namespace

/// The program's definition takes precedence over that of the system's library.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) {
    static const auto start = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    ++startedThreads;
    return start(thread, attributes, body, argument);
}
