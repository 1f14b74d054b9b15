// Loaded into the server before the system's library. It makes allocations fail, and plants faults in the server
// itself.

#include "tests/torture/SharedState.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>

using torture::Planted;
using torture::SharedState;

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
}

namespace {

SharedState* shared = nullptr;

__attribute__((constructor)) void begin() {
    const char* file = std::getenv("TORTURE_STATE");
    if (file == nullptr) return;
    const int descriptor = open(file, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return;
    void* mapping = mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (mapping == MAP_FAILED) return;
    auto* state = static_cast<SharedState*>(mapping);
    int nobody = 0;
    // Faults happen only in the server. The processes that it starts inherit its environment, and so this library.
    if (state->server.compare_exchange_strong(nobody, getpid())) shared = state;
}

bool allocationFails(size_t size) {
    if (shared == nullptr || !shared->isArmed) return false;
    const long position = ++shared->allocations;
    const long first = shared->failsAt;
    if (first == 0 || position < first || (position > first && !shared->stays)) return false;
    ++shared->failures;
    shared->lastFailed = size;
    errno = ENOMEM;
    return true;
}

bool isPlanted(Planted planted) { return shared != nullptr && shared->planted == planted; }

/// True once, after the system or an allocation has failed.
bool isTimeFor(Planted planted) {
    static std::atomic<bool> isDone = false;
    if (!isPlanted(planted) || shared->systemFailures + shared->failures == 0) return false;
    return !isDone.exchange(true);
}

void* sleepForever(void*) {
    for (;;) pause();
}

ssize_t systemWrite(int descriptor, const void* bytes, size_t length) {
    return syscall(SYS_write, descriptor, bytes, length);
}

} // namespace

extern "C" {

void* malloc(size_t size) { return allocationFails(size) ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return allocationFails(count * size) ? nullptr : __libc_calloc(count, size); }
void* realloc(void* old, size_t size) { return allocationFails(size) ? nullptr : __libc_realloc(old, size); }

ssize_t write(int descriptor, const void* bytes, size_t length) {
    const std::string_view text{static_cast<const char*>(bytes), length};
    const bool isAnswer = descriptor == STDOUT_FILENO && text.starts_with(R"({"id":)");
    if (isPlanted(Planted::tornLine) && isAnswer) {
        systemWrite(descriptor, bytes, length / 2);
        return static_cast<ssize_t>(length);
    }
    if (isPlanted(Planted::secondAnswer) && isAnswer) systemWrite(descriptor, bytes, length);
    if (isPlanted(Planted::lostAnswer) && isAnswer) return static_cast<ssize_t>(length);
    if (isTimeFor(Planted::crash)) raise(SIGSEGV);
    if (isTimeFor(Planted::hang)) sleepForever(nullptr);
    if (isTimeFor(Planted::leakedThread)) {
        pthread_t thread;
        pthread_create(&thread, nullptr, sleepForever, nullptr);
    }
    if (isTimeFor(Planted::leakedChild) && fork() == 0) sleepForever(nullptr);
    if (isTimeFor(Planted::leakedDescriptor)) std::ignore = dup(STDIN_FILENO);
    return systemWrite(descriptor, bytes, length);
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    if (isPlanted(Planted::brokenNextCall) && shared->systemFailures + shared->failures > 0 && !shared->isArmed) {
        errno = EACCES;
        return -1;
    }
    return static_cast<int>(syscall(SYS_connect, descriptor, address, length));
}

ssize_t send(int descriptor, const void* bytes, size_t length, int flags) {
    const std::string_view text{static_cast<const char*>(bytes), length};
    if (isPlanted(Planted::lineAfterCancellation) && text.find(R"("kind":"cancellation")") != text.npos) {
        const std::string_view line = R"({"id":2,"jsonrpc":"2.0","result":"cancelled"})"
                                      "\n";
        systemWrite(STDOUT_FILENO, line.data(), line.size());
    }
    return syscall(SYS_sendto, descriptor, bytes, length, flags, nullptr, 0);
}
}
