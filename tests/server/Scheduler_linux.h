// Runs the threads of a small program, its world, one at a time and in every order.
//
// The order in which threads lock mutexes decides the result. A test links with the wrappers of Scheduler_linux.cpp.
// Each lock by a controlled thread is then a step, and the scheduler chooses which thread makes the next step. It runs
// the world again and again from its beginning, until every order has been tried.
//
// Steps on different objects commute, so only the orders of steps on the same object are tried. Each run shows races:
// two steps on one object that nothing else orders. A later run takes the second of them first (dynamic partial-order
// reduction with sleep sets).
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

/// A program that runs under a scheduler. Each order uses a new one. No thread of it runs during these functions.
class ScheduledWorld {
public:
    ScheduledWorld() = default;
    ScheduledWorld(const ScheduledWorld&) = delete;
    virtual ~ScheduledWorld() = default;

    /// Called after each step.
    virtual void check() = 0;
    /// Called when every thread has ended. After `isOver` is set, the scheduler neither chooses nor checks.
    virtual void checkEnd() = 0;
    /// Whether a thread may set `isOver` before the others have ended. Then their races may stay hidden.
    [[nodiscard]] virtual bool mayEndEarly() const { return false; }

    void violate(std::string rule) { violations_.push_back(std::move(rule)); }
    [[nodiscard]] const std::vector<std::string>& violations() const { return violations_; }

    /// The simulated process has ended. Its threads still run, only to end and free their memory.
    bool isOver = false;

private:
    std::vector<std::string> violations_;
};

class Scheduler final {
public:
    struct Outcome {
        /// The number of different orders. In each, the steps on some object have another order than in all others.
        std::size_t schedules = 0;
        /// The number of runs that repeated an order.
        std::size_t repeated = 0;
        std::size_t mostSteps = 0;
        bool isComplete = false;
        /// The first broken rule; empty when all orders keep the rules.
        std::vector<std::string> violations = {};
    };

    using MakeWorld = std::function<std::unique_ptr<ScheduledWorld>(Scheduler&)>;

    Scheduler() = default;
    Scheduler(const Scheduler&) = delete;
    ~Scheduler();

    /// Runs the world in every order, but in at most `most` orders. Stops at the first violation.
    [[nodiscard]] Outcome explore(const MakeWorld& makeWorld, std::size_t most);

    /// Adds a thread to the world. Called while the world is made, and by its threads.
    void start(std::function<void()> body);

    /// One step on `object`, which other threads may use too. The calling thread waits until it is chosen. It is chosen
    /// only while `isPossible` returns true.
    static void step(const void* object, std::function<bool()> isPossible = {});
    /// A step that conflicts with every other step.
    static void stepOnEverything(std::function<bool()> isPossible);
    /// Whether the calling thread runs under a scheduler.
    [[nodiscard]] static bool controlsThisThread();

    // For the wrappers of system functions.
    static void willLock(pthread_mutex_t* mutex);
    static void hasUnlocked(pthread_mutex_t* mutex);

private:
    /// The next step of a thread.
    struct Step {
        /// Null for a step without a shared object.
        const void* object = nullptr;
        std::function<bool()> isPossible = {};
    };

    /// For each thread, how many of its steps so far must come before.
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

    /// A point at which more than one thread can continue.
    struct Choice {
        std::vector<std::size_t> enabled, asleep;
        /// The threads whose order makes a difference, as far as runs have shown.
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

    /// Reused in every run. In the order of their starts within a run.
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
    /// Threads whose next step has been explored here already and commutes with all steps since then.
    std::vector<std::size_t> asleep_;
    bool isRepeated_ = false;
    Outcome outcome_;
};

} // namespace vostel_tests
