#include "tests/server/Scheduler_linux.h"

#include <algorithm>
#include <cstdlib>
#include <sched.h>

namespace vostel_tests {

namespace {

const char everything = 0;
constexpr std::size_t mostThreads = 32;

/// Switching between threads on two processors takes ten times as long as on one.
void stayOn(int processor) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<unsigned>(processor), &processors);
    std::ignore = ::sched_setaffinity(0, sizeof processors, &processors);
}

} // namespace

thread_local Scheduler::Thread* Scheduler::self_ = nullptr;

Scheduler::~Scheduler() {
    isEnding_ = true;
    for (const auto& thread : threads_) {
        thread->turn.release();
        thread->thread.join();
    }
}

Scheduler::Outcome Scheduler::explore(const MakeWorld& makeWorld, std::size_t most) {
    cpu_set_t before;
    std::ignore = sched_getaffinity(0, sizeof before, &before);
    stayOn(sched_getcpu());
    outcome_ = {};
    path_.clear();
    while (outcome_.schedules < most && outcome_.violations.empty() && !outcome_.isComplete) {
        runOnce(makeWorld);
        outcome_.isComplete = !advance();
    }
    std::ignore = ::sched_setaffinity(0, sizeof before, &before);
    return outcome_;
}

void Scheduler::runOnce(const MakeWorld& makeWorld) {
    started_ = 0;
    depth_ = 0;
    asleep_.clear();
    clocks_.clear();
    isRepeated_ = false;
    world_ = makeWorld(*this);
    handOver(nullptr);
    ended_.acquire();

    if (!world_->isOver) world_->checkEnd();
    ++(isRepeated_ ? outcome_.repeated : outcome_.schedules);
    outcome_.mostSteps = std::max(outcome_.mostSteps, depth_);
    outcome_.violations = world_->violations();
    world_ = nullptr;
}

/// Moves on to the next order; false when there is none.
bool Scheduler::advance() {
    while (!path_.empty() && ++path_.back().taken == path_.back().options.size()) path_.pop_back();
    return !path_.empty();
}

void Scheduler::start(std::function<void()> body) {
    if (started_ == mostThreads) std::abort();
    if (started_ == threads_.size()) {
        threads_.push_back(std::make_unique<Thread>(*this, started_));
        Thread& made = *threads_.back();
        made.thread = std::thread{[this, &made] { live(made); }};
    }
    Thread& thread = *threads_[started_++];
    thread.body = std::move(body);
    thread.next = {};
    // All earlier steps of the starting thread come before the first step of the new thread.
    thread.clock = self_ != nullptr ? self_->clock : Clock(mostThreads);
    thread.isRunning = true;
}

void Scheduler::live(Thread& thread) {
    stayOn(sched_getcpu());
    self_ = &thread;
    for (thread.turn.acquire(); !isEnding_; thread.turn.acquire()) {
        thread.body();
        thread.body = nullptr;
        thread.isRunning = false;
        handOver(&thread);
    }
}

/// Wakes the chosen thread. A thread that has not ended then waits for its own next turn.
void Scheduler::handOver(Thread* from) {
    if (from != nullptr && !world_->isOver) world_->check();
    Thread* const next = choose(from);
    if (next == from && next != nullptr && next->isRunning) return;
    const bool waits = from != nullptr && from->isRunning;
    (next == nullptr ? ended_ : next->turn).release();
    if (waits) from->turn.acquire();
}

Scheduler::Thread* Scheduler::choose(const Thread* from) {
    std::vector<std::size_t> enabled;
    bool isAnyRunning = false;
    for (std::size_t index = 0; index < started_; ++index) {
        Thread& thread = *threads_[index];
        isAnyRunning |= thread.isRunning;
        if (!thread.isRunning || (thread.next.isPossible && !thread.next.isPossible())) continue;
        // The order of steps without a shared object makes no difference.
        if (thread.next.object == nullptr) return &thread;
        enabled.push_back(index);
    }
    if (!isAnyRunning) return nullptr;
    if (enabled.empty()) std::abort(); // A deadlock: the test would wait for ever.
    const bool isDecided = isRepeated_ || world_->isOver;
    Thread& chosen = *threads_[isDecided ? enabled.front() : chooseAmong(std::move(enabled), from)];
    if (!isRepeated_ && !world_->isOver) noteStep(chosen);
    return &chosen;
}

std::size_t Scheduler::chooseAmong(std::vector<std::size_t> enabled, const Thread* from) {
    if (depth_ == path_.size()) {
        Choice choice{.enabled = enabled, .asleep = asleep_, .options = {}};
        std::erase_if(enabled, [&](std::size_t index) { return std::ranges::count(asleep_, index) > 0; });
        if (enabled.empty()) {
            isRepeated_ = true;
            return choice.enabled.front();
        }
        // Prefers the same thread, because switching is slower.
        const bool mayStay = from != nullptr && std::ranges::count(enabled, from->index) > 0;
        choice.options.push_back(mayStay ? from->index : enabled.front());
        if (world_->mayEndEarly()) choice.add(choice.enabled);
        path_.push_back(std::move(choice));
    }
    const Choice& choice = path_[depth_];
    const std::size_t chosen = choice.chosen();
    asleep_ = choice.asleep;
    for (std::size_t earlier = 0; earlier < choice.taken; ++earlier) asleep_.push_back(choice.options[earlier]);
    std::erase_if(asleep_, [&](std::size_t index) {
        return index == chosen || !areIndependent(threads_[index]->next.object, threads_[chosen]->next.object);
    });
    return chosen;
}

void Scheduler::Choice::add(const std::vector<std::size_t>& more) {
    for (const std::size_t index : more) {
        if (std::ranges::count(options, index) + std::ranges::count(asleep, index) == 0) options.push_back(index);
    }
}

/// Finds the last step that could have come after the next step of `thread`. A later run tries that order.
void Scheduler::noteRace(const Thread& thread) {
    for (std::size_t earlier = depth_; earlier-- > 0;) {
        Choice& choice = path_[earlier];
        const std::size_t other = choice.chosen();
        if (other == thread.index || areIndependent(choice.object, thread.next.object)) continue;
        if (thread.clock[other] > earlier) continue;

        // Chooses a thread that leads to the next step of `thread`. `thread` itself may not have existed then.
        std::vector<std::size_t> leading;
        std::ranges::copy_if(choice.enabled, std::back_inserter(leading), [&](std::size_t index) {
            return index == thread.index || thread.clock[index] > earlier + 1;
        });
        if (leading.empty()) leading = choice.enabled;
        choice.add(leading);
        return;
    }
}

void Scheduler::noteStep(Thread& thread) {
    const auto learn = [](Clock& clock, const Clock& other) {
        for (std::size_t index = 0; index < other.size(); ++index) clock[index] = std::max(clock[index], other[index]);
    };
    const void* const object = thread.next.object;
    noteRace(thread);
    path_[depth_].object = object;
    ++depth_;
    for (auto& [touched, clock] : clocks_) {
        if (!areIndependent(touched, object)) learn(thread.clock, clock);
    }
    thread.clock[thread.index] = depth_;
    clocks_[object] = thread.clock;
}

bool Scheduler::areIndependent(const void* left, const void* right) {
    return left != right && left != &everything && right != &everything;
}

bool Scheduler::controlsThisThread() { return self_ != nullptr; }

void Scheduler::step(const void* object, std::function<bool()> isPossible) {
    if (self_ == nullptr) return;
    self_->next = {object, std::move(isPossible)};
    self_->scheduler.handOver(self_);
}

void Scheduler::stepOnEverything(std::function<bool()> isPossible) { step(&everything, std::move(isPossible)); }

void Scheduler::willLock(pthread_mutex_t* mutex) {
    if (self_ == nullptr) return;
    auto& holders = self_->scheduler.holders_;
    step(mutex, [&holders, mutex] { return !holders.contains(mutex); });
    holders.emplace(mutex, self_);
}

void Scheduler::hasUnlocked(pthread_mutex_t* mutex) {
    if (self_ != nullptr) self_->scheduler.holders_.erase(mutex);
}

} // namespace vostel_tests

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    vostel_tests::Scheduler::willLock(mutex);
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const int failure = __real_pthread_mutex_unlock(mutex);
    vostel_tests::Scheduler::hasUnlocked(mutex);
    return failure;
}
}
