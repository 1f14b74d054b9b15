// Makes every system call and every allocation of the server fail once: torture SERVER PRELOADED [OPTION...]

#include "tests/torture/Rules.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace torture;

namespace {

struct Options {
    Programs programs;
    /// Tests each point whose number is a multiple of this.
    std::size_t every = 1;
    /// How many processes test points at the same time.
    std::size_t workers = 1;
    std::size_t pairs = 7'000;
    unsigned seed = 1;
    /// Tests only points whose description contains this text.
    std::string only = {};
    /// A finding or the description of a point, which is tested again.
    std::string again = {};
    int times = 1;
    bool isPlanted = false;
};

constexpr const char* usage = R"(usage: torture SERVER PRELOADED [OPTION...]
  --every N       test only every N-th point
  --workers N     how many points to test at the same time (1)
  --pairs N       how many pairs of faults to test (7000)
  --seed N        the seed that chooses the pairs (1)
  --only TEXT     test only points whose description contains this text
  --again LINE    test the point of this finding again
  --times N       how often to test it (1)
  --planted       test whether faults that are built into the server are found
)";

Options optionsOf(int count, char** arguments) {
    const auto fail = [] {
        std::fputs(usage, stderr);
        std::exit(2);
    };
    if (count < 3) fail();
    Options options{.programs = {arguments[1], arguments[2]}};
    for (int index = 3; index < count; ++index) {
        const std::string_view name = arguments[index];
        if (name == "--planted") {
            options.isPlanted = true;
            continue;
        }
        if (++index == count) fail();
        const char* value = arguments[index];
        if (name == "--only")
            options.only = value;
        else if (name == "--again")
            options.again = value;
        else if (name == "--times")
            options.times = static_cast<int>(std::strtol(value, nullptr, 10));
        else if (name == "--every")
            options.every = std::strtoul(value, nullptr, 10);
        else if (name == "--workers")
            options.workers = std::strtoul(value, nullptr, 10);
        else if (name == "--pairs")
            options.pairs = std::strtoul(value, nullptr, 10);
        else if (name == "--seed")
            options.seed = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        else
            fail();
    }
    return options;
}

/// Points with one fault each: one for every call that a run without faults has made.
std::vector<Point> singlePoints(const Conversation& conversation, const Verdict& shown) {
    std::vector<Point> points;
    const auto add = [&](Fault fault) { points.push_back({&conversation, {fault}}); };
    for (const auto& [number, count] : shown.systemCalls) {
        if (!isKnown(number)) {
            std::printf("There is no rule for the system call %ld.\n", number);
            std::exit(EXIT_FAILURE);
        }
        // The threads do not make exactly the same calls in each run.
        const long last = count + 1;
        for (long position = 1; position <= last; ++position) {
            for (const int error : errorsOf(number)) {
                for (const bool stays : {false, true}) {
                    add({.kind = Fault::Kind::fails,
                         .number = number,
                         .error = error,
                         .position = position,
                         .stays = stays});
                }
            }
            if (mayBeShort(number)) add({.kind = Fault::Kind::isShort, .number = number, .position = position});
        }
        if (mayBeShort(number)) {
            add({.kind = Fault::Kind::isShort, .number = number, .position = 1, .stays = true});
        }
    }
    for (long position = 1; position <= shown.allocations; ++position) {
        add({.kind = Fault::Kind::allocation, .position = position});
        add({.kind = Fault::Kind::allocation, .position = position, .stays = true});
    }
    return points;
}

std::vector<Point> allPoints(const Options& options) {
    std::vector<Point> points;
    std::mt19937 random{options.seed};
    for (const Conversation& conversation : conversations()) {
        const Verdict shown = checkRun({&conversation, {}}, options.programs);
        for (const std::string& violation : shown.violations) {
            std::printf("%s breaks a rule without a fault: %s\n", conversation.name, violation.c_str());
            std::exit(EXIT_FAILURE);
        }
        const std::vector<Point> single = singlePoints(conversation, shown);
        points.insert(points.end(), single.begin(), single.end());
        for (std::size_t pair = 0; pair < options.pairs / conversations().size(); ++pair) {
            const auto draw = [&] { return single[random() % single.size()].faults.front(); };
            Point drawn{&conversation, {draw(), draw()}};
            points.push_back(std::move(drawn));
        }
    }
    if (!options.only.empty()) {
        std::erase_if(points, [&](const Point& point) { return !point.description().contains(options.only); });
    }
    return points;
}

/// From now on, processes that the server has launched become children of this process when the server ends.
void adoptOrphans() { prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0); }

/// What the workers share. Each worker is a process, because a tracer waits for all children of its process.
struct Work {
    /// The point that is tested next.
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> tried = 0, hit = 0, aborted = 0, bad = 0;
};

/// Tests points until none is left. Some points take much longer than others, so a worker takes one at a time.
void testPoints(const std::vector<Point>& points, const Options& options, Work& work) {
    for (std::size_t index = 0; (index = work.next.fetch_add(options.every)) < points.size();) {
        const Verdict verdict = checkRun(points[index], options.programs);
        ++work.tried;
        work.hit += verdict.hasFault;
        work.aborted += verdict.aborted;
        work.bad += !verdict.violations.empty();
        for (const std::string& violation : verdict.violations) {
            std::printf("%s: %s\n", points[index].description().c_str(), violation.substr(0, 300).c_str());
        }
        std::fflush(stdout);
    }
}

int tortureAll(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const std::vector<Point> points = allPoints(options);
    void* const shared = mmap(nullptr, sizeof(Work), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) giveUp("mmap");
    Work& work = *new (shared) Work;
    std::fflush(stdout);
    std::vector<pid_t> workers(options.workers);
    for (pid_t& worker : workers) {
        worker = fork();
        if (worker < 0) giveUp("fork");
        if (worker > 0) continue;
        adoptOrphans();
        testPoints(points, options, work);
        _exit(EXIT_SUCCESS);
    }
    std::size_t lost = 0;
    for (const pid_t worker : workers) {
        int status = 0;
        lost += waitpid(worker, &status, 0) != worker || status != EXIT_SUCCESS;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%zu of %zu points in %.0f s: %zu met a fault, %zu ended for lack of memory, %zu break a rule\n",
                work.tried.load(), points.size(), seconds.count(), work.hit.load(), work.aborted.load(),
                work.bad.load());
    if (lost > 0) std::printf("%zu workers did not finish\n", lost);
    return work.bad == 0 && work.tried > 0 && lost == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// The point that `line` describes, with or without the violation after it.
Point pointOf(std::string_view line) {
    const auto next = [&line](std::string_view separator) {
        const std::string_view part = line.substr(0, line.find(separator));
        line.remove_prefix(std::min(line.size(), part.size() + separator.size()));
        return part;
    };
    const std::string_view name = next(": ");
    const auto conversation =
        std::ranges::find_if(conversations(), [&](const auto& each) { return each.name == name; });
    if (conversation == conversations().end()) {
        std::printf("There is no conversation %s.\n", std::string{name}.c_str());
        std::exit(2);
    }
    Point point{&*conversation, {}};
    for (line = next(": "); !line.empty();) {
        const std::string_view text = next(", ");
        const auto fault = Fault::described(text);
        if (!fault) {
            std::printf("There is no fault %s.\n", std::string{text}.c_str());
            std::exit(2);
        }
        point.faults.push_back(*fault);
    }
    return point;
}

int tortureAgain(const Options& options) {
    const Point point = pointOf(options.again);
    int hit = 0, bad = 0;
    for (int time = 0; time < options.times; ++time) {
        const Verdict verdict = checkRun(point, options.programs);
        hit += verdict.hasFault;
        bad += !verdict.violations.empty();
        for (const std::string& violation : verdict.violations) {
            std::printf("%s: %.300s\n", point.description().c_str(), violation.c_str());
        }
        std::fflush(stdout);
    }
    std::printf("%s, %d times: %d met a fault, %d break a rule\n", point.description().c_str(), options.times, hit,
                bad);
    return bad == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// Tests each planted fault in a conversation that makes it show. Some faults show only after a fault of the system.
int findPlanted(const Options& options) {
    const auto conversation = [](std::string_view name) {
        return &*std::ranges::find_if(conversations(), [&](const auto& each) { return each.name == name; });
    };
    const Fault refused{.kind = Fault::Kind::fails, .number = 42 /* connect */, .error = ECONNREFUSED, .position = 1};
    struct Row {
        Planted planted;
        const char* name;
        const char* conversation;
        std::vector<Fault> faults;
        const char* violation;
    };
    const Row rows[] = {
        {Planted::tornLine, "a torn line", "progress", {}, "the last line is not complete"},
        {Planted::secondAnswer, "a second answer", "progress", {}, "answers"},
        {Planted::lostAnswer, "a lost answer", "progress", {}, "has no answer"},
        {Planted::lineAfterCancellation, "a line after the cancellation", "cancellation", {}, "after the cancellation"},
        {Planted::leakedDescriptor, "a leaked descriptor", "progress", {refused}, "descriptors are left"},
        {Planted::leakedThread, "a leaked thread", "progress", {refused}, "threads are left"},
        {Planted::leakedChild, "a leaked child", "progress", {refused}, "child is left"},
        {Planted::brokenNextCall, "a broken next call", "progress", {refused}, "the next call does not work"},
        {Planted::crash, "a crash", "progress", {refused}, "signal 11"},
        {Planted::hang, "a hang", "progress", {refused}, "the next call does not work"},
    };
    int missed = 0;
    longestWait = std::chrono::seconds{1};
    for (const Row& row : rows) {
        const Verdict verdict = checkRun({conversation(row.conversation), row.faults}, options.programs, row.planted);
        const bool isFound = std::ranges::any_of(
            verdict.violations, [&](const std::string& violation) { return violation.contains(row.violation); });
        std::printf("%s: %s\n", row.name, isFound ? "found" : "MISSED");
        for (const std::string& violation : verdict.violations) std::printf("    %.200s\n", violation.c_str());
        missed += !isFound;
    }
    return missed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view name = arguments[0];
    if (name.ends_with("/Vostel")) return playLaunched(arguments[0]);
    adoptOrphans();
    signal(SIGPIPE, SIG_IGN);
    const Options options = optionsOf(count, arguments);
    if (options.isPlanted) return findPlanted(options);
    return options.again.empty() ? tortureAll(options) : tortureAgain(options);
}
