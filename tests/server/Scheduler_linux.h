// Runs the threads of a small world one at a time, in every order.
//
// Threads meet in mutexes, so the order in which they take them decides what happens. A test links with the wrappers of
// Scheduler_linux.cpp: each lock of a controlled thread is then a step, and the scheduler chooses who takes the next
// one. It runs the world from its beginning again and again, until no choice is left.
//
// Steps on different objects commute, so only the orders of steps on the same object are tried. Each run shows races:
// two such steps that nothing else puts in order. Where the first of them was chosen, a later run lets the other go
// first (dynamic partial-order reduction with sleep sets).
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <pthread.h>
#include <semaphore>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace vostel_tests {

/// What runs under a scheduler. Each order has a new one. While one of its functions runs, no thread of it does.
class ScheduledWorld {
public:
    ScheduledWorld() = default;
    ScheduledWorld(const ScheduledWorld&) = delete;
    virtual ~ScheduledWorld() = default;

    /// Called after each step.
    virtual void check() = 0;
    /// Called when every thread has ended. Nothing is chosen or checked any more once `isOver`.
    virtual void checkEnd() = 0;
    /// Whether a thread may set `isOver` before the others have ended. Then their races may not show.
    [[nodiscard]] virtual bool mayEndEarly() const { return false; }

    void violate(std::string rule) { violations_.push_back(std::move(rule)); }
    [[nodiscard]] const std::vector<std::string>& violations() const { return violations_; }

    /// The process has ended; its threads only run to their ends so that nothing is left.
    bool isOver = false;

private:
    std::vector<std::string> violations_;
};

class Scheduler final {
public:
    struct Outcome {
        /// Orders that differ: in each, some object is touched in another order than in all others.
        std::size_t schedules = 0;
        /// Runs that turned out to repeat one.
        std::size_t repeated = 0;
        std::size_t mostSteps = 0;
        bool isComplete = false;
        /// What the first order that breaks a rule breaks; empty when none does.
        std::vector<std::string> violations = {};
    };

    using MakeWorld = std::function<std::unique_ptr<ScheduledWorld>(Scheduler&)>;

    Scheduler() = default;
    Scheduler(const Scheduler&) = delete;
    ~Scheduler();

    /// Runs the world in every order, `most` at most, up to the first violation.
    [[nodiscard]] Outcome explore(const MakeWorld& makeWorld, std::size_t most);

    /// Adds a thread to the world. Called by what makes the world and by its threads.
    void start(std::function<void()> body);

    /// One step on `object`, which other threads may touch too. The calling thread waits until it is chosen, and it is
    /// not chosen unless `isPossible`.
    static void step(const void* object, std::function<bool()> isPossible = {});
    /// A step on everything there is.
    static void stepOnEverything(std::function<bool()> isPossible);
    /// Whether the calling thread runs under a scheduler.
    [[nodiscard]] static bool controlsThisThread();

    // For the wrappers of the system's functions.
    static void willLock(pthread_mutex_t* mutex);
    static void hasUnlocked(pthread_mutex_t* mutex);

private:
    /// What a thread does when it is chosen next.
    struct Step {
        /// Null for what touches nothing shared.
        const void* object = nullptr;
        std::function<bool()> isPossible = {};
    };

    /// For each thread, how many of the steps so far are known to come before.
    using Clock = std::vector<std::size_t>;

    struct Thread {
        Scheduler& scheduler;
        std::size_t index;
        std::binary_semaphore turn{0};
        std::function<void()> body = {};
        Step next = {};
        bool isRunning = false;
        Clock clock = {};
        std::thread thread = {};
    };

    /// A point at which more than one thread can go on.
    struct Choice {
        std::vector<std::size_t> enabled, asleep;
        /// Those whose order makes a difference, as far as runs have shown.
        std::vector<std::size_t> options;
        std::size_t taken = 0;
        const void* object = nullptr;

        [[nodiscard]] std::size_t chosen() const { return options[taken]; }
        void add(const std::vector<std::size_t>& more);
    };

    void runOnce(const MakeWorld& makeWorld);
    bool advance();
    void live(Thread& thread);
    void handOver(Thread* from);
    Thread* choose(const Thread* from);
    std::size_t chooseAmong(std::vector<std::size_t> enabled, const Thread* from);
    void noteRace(const Thread& thread);
    void noteStep(Thread& thread);
    [[nodiscard]] static bool areIndependent(const void* left, const void* right);

    static thread_local Thread* self_;

    /// Kept from run to run, in the order of their starts within one.
    std::vector<std::unique_ptr<Thread>> threads_;
    std::size_t started_ = 0;
    std::unordered_map<const pthread_mutex_t*, Thread*> holders_;
    std::unordered_map<const void*, Clock> clocks_;
    std::unique_ptr<ScheduledWorld> world_;
    std::binary_semaphore ended_{0};
    bool isEnding_ = false;

    /// The choices of the current run, and those of the next one up to where it differs.
    std::vector<Choice> path_;
    std::size_t depth_ = 0;
    /// Threads whose next step has been explored at this point already, and commutes with all that came since.
    std::vector<std::size_t> asleep_;
    bool isRepeated_ = false;
    Outcome outcome_;
};

} // namespace vostel_tests
