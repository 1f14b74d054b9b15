#include "tests/torture/Fault.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sys/syscall.h>

namespace torture {

namespace {

struct SystemCall {
    const char* name;
    std::vector<int> errors;
};

const std::map<long, SystemCall>& systemCalls() {
    static const std::map<long, SystemCall> calls{
        {SYS_read, {"read", {EINTR, EAGAIN, EIO}}},
        {SYS_write, {"write", {EINTR, EAGAIN, EIO, ENOSPC}}},
        {SYS_sendto, {"send", {EINTR, EPIPE, ECONNRESET, ENOBUFS}}},
        {SYS_recvfrom, {"recv", {EINTR, ECONNRESET, ENOMEM}}},
        {SYS_connect, {"connect", {EINTR, ECONNREFUSED, EAGAIN, EACCES}}},
        {SYS_socket, {"socket", {EMFILE, ENFILE, ENOBUFS}}},
        {SYS_setsockopt, {"setsockopt", {ENOMEM, EINVAL}}},
        {SYS_close, {"close", {EINTR, EIO}}},
        {SYS_openat, {"open", {EINTR, EMFILE, ENOENT, EACCES}}},
        {SYS_fcntl, {"fcntl", {EMFILE, EINVAL}}},
        {SYS_poll, {"poll", {EINTR, EAGAIN, ENOMEM}}},
        {SYS_mmap, {"mmap", {ENOMEM}}},
        {SYS_munmap, {"munmap", {ENOMEM}}},
        {SYS_mprotect, {"mprotect", {ENOMEM}}},
        {SYS_mremap, {"mremap", {ENOMEM}}},
        {SYS_madvise, {"madvise", {ENOMEM, EINVAL}}},
        {SYS_brk, {"brk", {ENOMEM}}},
        {SYS_clone, {"clone", {EAGAIN, ENOMEM}}},
        {SYS_clone3, {"clone3", {EAGAIN, ENOMEM, ENOSYS}}},
        {SYS_execve, {"exec", {ENOENT, EACCES, ENOMEM, ETXTBSY}}},
        {SYS_wait4, {"wait", {EINTR, ECHILD}}},
        {SYS_setsid, {"setsid", {EPERM}}},
        {SYS_chdir, {"chdir", {EACCES, EIO}}},
        {SYS_dup2, {"dup2", {EBUSY, EMFILE}}},
        {SYS_close_range, {"close_range", {ENOSYS, EPERM}}},
        {SYS_prlimit64, {"prlimit", {EPERM, EINVAL}}},
        {SYS_access, {"access", {EACCES, EIO}}},
        {SYS_getrandom, {"getrandom", {ENOSYS, EPERM, EINTR}}},
        {SYS_pipe2, {"pipe2", {EMFILE, ENFILE}}},
        {SYS_readlink, {"readlink", {EACCES, EIO}}},
        {SYS_newfstatat, {"stat", {EACCES, EIO}}},
        {SYS_fstat, {"fstat", {EIO}}},
        {SYS_lseek, {"lseek", {ESPIPE}}},
        {SYS_ioctl, {"ioctl", {ENOTTY}}},
        {SYS_prctl, {"prctl", {EINVAL}}},
        {SYS_sched_getaffinity, {"sched_getaffinity", {EINVAL}}},
        {SYS_futex, {"futex", {EINTR}}},
        {SYS_pause, {"pause", {EINTR}}},
        // The tracer makes every sleep end at once.
        {SYS_clock_nanosleep, {"nanosleep", {}}},
        {SYS_restart_syscall, {"restart", {}}},
        // These fail only after an error in the program.
        {SYS_rt_sigprocmask, {"sigprocmask", {}}},
        {SYS_rt_sigaction, {"sigaction", {}}},
        {SYS_rt_sigreturn, {"sigreturn", {}}},
        {SYS_set_robust_list, {"set_robust_list", {}}},
        {SYS_rseq, {"rseq", {}}},
        {SYS_set_tid_address, {"set_tid_address", {}}},
        {SYS_getpid, {"getpid", {}}},
        {SYS_gettid, {"gettid", {}}},
        {SYS_getuid, {"getuid", {}}},
        {SYS_tgkill, {"tgkill", {}}},
        {SYS_exit, {"exit", {}}},
        {SYS_exit_group, {"exit_group", {}}},
        {SYS_clock_gettime, {"clock_gettime", {}}},
    };
    return calls;
}

} // namespace

std::string Fault::description() const {
    std::string text;
    switch (kind) {
    case Kind::none:
        return "no fault";
    case Kind::fails:
        text = nameOf(number) + " " + strerrorname_np(error);
        break;
    case Kind::isShort:
        text = nameOf(number) + " short";
        break;
    case Kind::allocation:
        text = "allocation";
        break;
    }
    return text + " at " + std::to_string(position) + (stays ? " and after" : "");
}

std::optional<Fault> Fault::described(std::string_view text) {
    Fault fault;
    constexpr std::string_view staying = " and after";
    fault.stays = text.ends_with(staying);
    if (fault.stays) text.remove_suffix(staying.size());
    const auto at = text.rfind(" at ");
    if (at == text.npos) return std::nullopt;
    fault.position = std::strtol(std::string{text.substr(at + 4)}.c_str(), nullptr, 10);
    const std::string what{text.substr(0, at)};
    if (what == "allocation") {
        fault.kind = Kind::allocation;
        return fault;
    }
    for (const auto& [number, call] : systemCalls()) {
        fault.number = number;
        if (what == call.name + std::string{" short"}) {
            fault.kind = Kind::isShort;
            return fault;
        }
        for (const int error : call.errors) {
            if (what != call.name + std::string{" "} + strerrorname_np(error)) continue;
            fault.kind = Kind::fails;
            fault.error = error;
            return fault;
        }
    }
    return std::nullopt;
}

const std::vector<int>& errorsOf(long systemCall) {
    static const std::vector<int> none;
    const auto found = systemCalls().find(systemCall);
    return found == systemCalls().end() ? none : found->second.errors;
}

bool isKnown(long systemCall) { return systemCalls().contains(systemCall); }

bool mayBeShort(long systemCall) {
    return systemCall == SYS_read || systemCall == SYS_write || systemCall == SYS_sendto || systemCall == SYS_recvfrom;
}

std::string nameOf(long systemCall) {
    const auto found = systemCalls().find(systemCall);
    return found == systemCalls().end() ? std::to_string(systemCall) : found->second.name;
}

bool isTransient(int error) { return error == EINTR || error == EAGAIN; }

} // namespace torture
