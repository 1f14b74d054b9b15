#include "tests/torture/Tracer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace torture {

namespace {

/// How often an interruption and a short transfer are repeated. Then the server can finish in time: a large answer
/// would take a hundred thousand transfers of one byte.
constexpr long mostRepetitions = 100;

user_regs_struct registersOf(pid_t thread) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
    return registers;
}

void setRegisters(pid_t thread, user_regs_struct& registers) { ptrace(PTRACE_SETREGS, thread, nullptr, &registers); }

} // namespace

Tracer::~Tracer() {
    {
        const std::lock_guard lock{mutex_};
        for (const pid_t thread : ids_) ::kill(thread, SIGKILL);
    }
    if (tracer_.joinable()) tracer_.join();
}

void Tracer::start(const Program& program, bool armsAtMain) {
    tracer_ = std::thread{[this, program, armsAtMain] { trace(program, armsAtMain); }};
    isStarted_.acquire();
}

void Tracer::arm() { shared_.isArmed = true; }
void Tracer::disarm() { shared_.isArmed = false; }

std::optional<Ending> Tracer::ending() const {
    const std::lock_guard lock{mutex_};
    return ending_;
}

bool Tracer::isAlone() const {
    const std::lock_guard lock{mutex_};
    return ids_.empty();
}

void Tracer::kill() const {
    if (server_ != 0 && !ending()) ::kill(server_, SIGKILL);
}

std::map<long, long> Tracer::counts() const {
    const std::lock_guard lock{mutex_};
    return counts_;
}

void Tracer::runProgram(const Program& program) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    for (const auto& [from, to] : {std::pair{program.input, 0}, {program.output, 1}, {program.error, 2}}) {
        dup2(from, to);
    }
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    // Without close_range, a launch makes one system call for each possible descriptor. Thousands of traced calls take
    // seconds.
    const rlimit descriptors{.rlim_cur = 64, .rlim_max = 256};
    setrlimit(RLIMIT_NOFILE, &descriptors);
    std::vector<char*> environment;
    for (const std::string& variable : program.environment) environment.push_back(const_cast<char*>(variable.c_str()));
    environment.push_back(nullptr);
    char* arguments[] = {const_cast<char*>(program.executable.c_str()), nullptr};
    execve(arguments[0], arguments, environment.data());
    _exit(127);
}

void Tracer::trace(const Program& program, bool armsAtMain) {
    armsAtMain_ = armsAtMain;
    // Not a posix::ChildProcess, because the child must ask to be traced before it executes the program.
    const pid_t child = fork();
    if (child == 0) runProgram(program);
    int status = 0;
    waitpid(child, &status, __WALL);
    constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                             PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, options);
    server_ = child;
    threads_[child] = {};
    noteThreads();
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    isStarted_.release();

    while (!threads_.empty()) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) break;
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            threads_.erase(thread);
            noteThreads();
            if (thread == child) {
                const std::lock_guard lock{mutex_};
                ending_ = WIFEXITED(status) ? Ending{WEXITSTATUS(status), 0} : Ending{0, WTERMSIG(status)};
            }
            continue;
        }
        if (!WIFSTOPPED(status)) continue;
        const int event = status >> 16;
        int signal = WSTOPSIG(status);
        const bool isNew = threads_.try_emplace(thread).second;
        if (isNew) noteThreads();
        if (event == PTRACE_EVENT_EXEC && thread != child) {
            // A program that the server has launched is no longer traced.
            threads_.erase(thread);
            noteThreads();
            ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
            continue;
        }
        if (signal == (SIGTRAP | 0x80)) {
            onSystemCall(thread);
            signal = 0;
        } else if (event != 0 || signal == SIGSTOP || signal == SIGTRAP) {
            signal = 0;
        }
        ptrace(PTRACE_SYSCALL, thread, nullptr, signal);
    }
    // Reaps the orphaned processes, which have become our children.
    while (waitpid(-1, &status, __WALL | WNOHANG) > 0) {}
}

void Tracer::noteThreads() {
    const std::lock_guard lock{mutex_};
    ids_.clear();
    for (const auto& [id, thread] : threads_) ids_.push_back(id);
}

void Tracer::onSystemCall(pid_t id) {
    Thread& thread = threads_[id];
    __ptrace_syscall_info information{};
    ptrace(static_cast<__ptrace_request>(PTRACE_GET_SYSCALL_INFO), id, sizeof information, &information);
    if (information.op == PTRACE_SYSCALL_INFO_ENTRY) {
        thread = {.isInside = true, .result = {}, .length = {}, .address = {}};
        enter(id, thread);
    } else if (information.op == PTRACE_SYSCALL_INFO_EXIT) {
        leave(id, thread);
    }
}

const Fault* Tracer::faultFor(long number) {
    const std::lock_guard lock{mutex_};
    const long position = ++counts_[number];
    for (const Fault& fault : faults_) {
        if (fault.number != number || (fault.kind != Fault::Kind::fails && fault.kind != Fault::Kind::isShort))
            continue;
        const bool isTemporary = fault.kind == Fault::Kind::isShort || isTransient(fault.error);
        const long last = !fault.stays ? fault.position : isTemporary ? fault.position + mostRepetitions : position;
        if (position >= fault.position && position <= last) return &fault;
    }
    return nullptr;
}

void Tracer::enter(pid_t id, Thread& thread) {
    user_regs_struct registers = registersOf(id);
    const auto number = static_cast<long>(registers.orig_rax);
    if (armsAtMain_ && number == SYS_fcntl && registers.rdi == 0 && id == server_) {
        armsAtMain_ = false;
        arm();
    }
    if (number == SYS_clock_nanosleep) {
        usleep(2'000);
        registers.orig_rax = static_cast<unsigned long long>(-1);
        thread.result = 0;
        return setRegisters(id, registers);
    }
    // The kernel interrupts only waiting system calls, and the system's library relies on that.
    const auto operation = static_cast<int>(registers.rsi) & FUTEX_CMD_MASK;
    if (number == SYS_futex && operation != FUTEX_WAIT && operation != FUTEX_WAIT_BITSET) return;
    if (!shared_.isArmed) return;
    const Fault* fault = faultFor(number);
    if (fault == nullptr) return;

    if (fault->kind == Fault::Kind::isShort) {
        if (registers.rdx <= 1) return;
        thread.length = registers.rdx;
        registers.rdx = 1;
    } else if (number == SYS_brk) {
        // brk reports a failure by returning the current end of the heap, as it does for the argument 0.
        if (registers.rdi == 0) return;
        thread.address = registers.rdi;
        registers.rdi = 0;
    } else if (number == SYS_close) {
        // A close that fails must nevertheless close the descriptor.
        thread.result = -fault->error;
    } else {
        registers.orig_rax = static_cast<unsigned long long>(-1);
        thread.result = -fault->error;
    }
    ++shared_.systemFailures;
    setRegisters(id, registers);
}

void Tracer::leave(pid_t id, Thread& thread) {
    if (thread.result || thread.length || thread.address) {
        user_regs_struct registers = registersOf(id);
        if (thread.result) registers.rax = static_cast<unsigned long long>(*thread.result);
        if (thread.length) registers.rdx = *thread.length;
        if (thread.address) registers.rdi = *thread.address;
        setRegisters(id, registers);
    }
    thread = {};
}

} // namespace torture
