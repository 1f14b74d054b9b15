#include "tests/torture/Rules.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace torture {

namespace {

/// An allocation of this size is for a peer's data. Its failure must not end the server.
constexpr std::size_t largeAllocation = 65'536;

constexpr const char* startUpLine = "vostel-mcp wire protocol v4\n";

/// The violations that the faults of a point excuse.
struct Excuses {
    bool memory = false, output = false, input = false, waiting = false;
    /// The server cannot connect while these faults last. It launches the application and tries again for two minutes.
    bool connecting = false;

    explicit Excuses(const std::vector<Fault>& faults) {
        for (const Fault& fault : faults) {
            const bool fails = fault.kind == Fault::Kind::fails && !isTransient(fault.error);
            memory |= fault.kind == Fault::Kind::allocation;
            memory |= fails && (fault.number == SYS_mmap || fault.number == SYS_brk || fault.number == SYS_mprotect ||
                                fault.number == SYS_mremap);
            output |= fails && fault.number == SYS_write;
            input |= fails && fault.number == SYS_read;
            waiting |= fails && fault.number == SYS_wait4;
            connecting |= fails && fault.stays &&
                          (fault.number == SYS_socket || fault.number == SYS_connect || fault.number == SYS_poll);
        }
    }
    /// While the faults last, an answer may not come. The run does not wait for it before it ends the faults.
    [[nodiscard]] bool mayHoldBackAnswer() const { return memory || output || input || connecting; }
};

class Trial final {
public:
    Trial(const Point& point, const Programs& programs, Planted planted)
        : conversation_{*point.conversation}, excuses_{point.faults},
          stage_{{.server = programs.server,
                  .preloaded = programs.preloaded,
                  .faults = point.faults,
                  .planted = planted,
                  .armsAtMain = conversation_.fromTheStart,
                  .applicationListens = conversation_.applicationListens,
                  .applicationIsBroken = conversation_.applicationIsBroken}} {}

    Verdict run() {
        std::size_t descriptors = 3;
        if (!conversation_.fromTheStart) {
            begin();
            descriptors = stage_.descriptorCount();
            stage_.tracer().arm();
        }
        const auto limit = excuses_.mayHoldBackAnswer() ? std::chrono::milliseconds{250} : longestWait;
        conversation_.play(stage_, limit);
        stage_.tracer().disarm();
        verdict_.systemCalls = stage_.tracer().counts();
        verdict_.allocations = stage_.shared().allocations;
        verdict_.hasFault = stage_.tracer().failures() + stage_.shared().failures > 0;

        if (!stage_.tracer().ending()) tryNextCall(descriptors);
        if (!stage_.tracer().ending()) {
            stage_.closeInput();
            if (!stage_.playUntil([this] { return stage_.tracer().ending().has_value(); }))
                violate("the server does not end");
        }
        checkEnding();
        checkOutput();
        const auto deadline = std::chrono::steady_clock::now() + longestWait;
        while (!stage_.tracer().isAlone() && std::chrono::steady_clock::now() < deadline) usleep(1'000);
        if (!stage_.tracer().isAlone()) violate("a process that the server started is left");
        return std::move(verdict_);
    }

private:
    void violate(std::string rule) { verdict_.violations.push_back(std::move(rule)); }

    void begin() {
        stage_.ping(900);
        if (conversation_.applicationListens) stage_.call(901, "echo");
        const bool isReady = stage_.playUntil(
            [this] { return stage_.isAnswered(900) && (!conversation_.applicationListens || stage_.hasResult(901)); });
        if (!isReady || !stage_.waitForIdle()) violate("the server does not answer the first calls");
    }

    void tryNextCall(std::size_t descriptors) {
        stage_.ping(990);
        stage_.call(991, "echo");
        if (conversation_.applicationIsBroken) stage_.listen();
        const bool isAnswered = stage_.playUntil([this] { return stage_.isAnswered(990) && stage_.isAnswered(991); });
        if (stage_.tracer().ending()) return;
        if (!isAnswered || !stage_.hasResult(991)) return violate("the next call does not work");
        if (!stage_.waitForIdle() && !stage_.tracer().ending()) {
            violate(std::to_string(stage_.threadCount()) + " threads are left");
        }
        const std::size_t left = stage_.descriptorCount();
        if (left > descriptors) violate(std::to_string(left - descriptors) + " descriptors are left");
        if (stage_.hasChildren() && !excuses_.waiting) violate("a child is left");
    }

    void checkEnding() {
        const auto ending = stage_.tracer().ending();
        if (!ending) return;
        verdict_.aborted = *ending == Ending{0, SIGABRT};
        if (*ending == Ending{}) return;
        if (verdict_.aborted && excuses_.memory && stage_.shared().lastFailed < largeAllocation) return;
        if (*ending == Ending{1, 0} && conversation_.fromTheStart && verdict_.hasFault) return;
        violate("the server ends with status " + std::to_string(ending->exitStatus) + " and signal " +
                std::to_string(ending->signal) +
                (verdict_.aborted
                     ? ", after an allocation of " + std::to_string(stage_.shared().lastFailed) + " bytes has failed"
                     : ""));
    }

    void checkOutput() {
        const auto& lines = stage_.lines();
        if (!stage_.unfinishedLine().empty() && !excuses_.output) violate("the last line is not complete");
        for (const std::string& line : lines) {
            if (!line.starts_with("{") || !line.ends_with("}")) violate("a line is not a JSON object: " + line);
        }
        const bool mayHaveEnded = verdict_.aborted || *stage_.tracer().ending() != Ending{} || excuses_.input;
        const bool answersMayBeLost = mayHaveEnded || excuses_.output || excuses_.memory;
        for (const int id : conversation_.ids) {
            const int answers = stage_.answers(id);
            if (answers > 1) violate(std::to_string(id) + " has " + std::to_string(answers) + " answers");
            if (answers == 0 && !answersMayBeLost) violate(std::to_string(id) + " has no answer");
        }
        if (conversation_.cancelled != 0) checkCancellation();
        const std::string& error = stage_.errorText();
        const bool isCut = excuses_.output && conversation_.fromTheStart && std::string{startUpLine}.starts_with(error);
        const bool endedBefore = conversation_.fromTheStart && mayHaveEnded && error.empty();
        if (error != startUpLine && !isCut && !endedBefore) violate("standard error has: " + error);
    }

    void checkCancellation() {
        bool isHandled = false;
        const auto saysSo = [](const std::string& line) { return line.contains(R"("id":null)"); };
        // There may be no memory for the cancellation, and a second fault may take the line that says so.
        const bool isRefused = excuses_.memory && (excuses_.output || std::ranges::any_of(stage_.lines(), saysSo));
        for (const std::string& line : stage_.lines()) {
            isHandled |= conversation_.afterCancellation != 0 &&
                         line.contains(R"("id":)" + std::to_string(conversation_.afterCancellation) + ",");
            const bool isOfCall = line.contains(R"("id":)" + std::to_string(conversation_.cancelled) + ",") ||
                                  line.contains(R"("progressToken")");
            if (isHandled && isOfCall && !isRefused) violate("a line comes after the cancellation: " + line);
        }
        if (stage_.answers(conversation_.cancelled) > 1) violate("the cancelled call has two answers");
    }

    const Conversation& conversation_;
    const Excuses excuses_;
    Stage stage_;
    Verdict verdict_;
};

} // namespace

std::string Point::description() const {
    std::string text = conversation->name;
    text += ":";
    for (const Fault& fault : faults) text += " " + fault.description() + (&fault != &faults.back() ? "," : "");
    return text;
}

Verdict checkRun(const Point& point, const Programs& programs, Planted planted) {
    Trial trial{point, programs, planted};
    return trial.run();
}

} // namespace torture
