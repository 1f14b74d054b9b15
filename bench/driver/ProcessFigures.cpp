#include "bench/driver/ProcessFigures.h"

#include "bench/driver/Failure.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace vostel_bench::ProcessFigures {

namespace {

std::uint64_t statusNumber(const std::filesystem::path& folder, const std::string& name) {
    std::ifstream status(folder / "status");
    for (std::string line; std::getline(status, line);) {
        if (!line.starts_with(name + ":")) continue;
        std::uint64_t number = 0;
        std::istringstream(line.substr(name.size() + 1)) >> number;
        return number;
    }
    fail(folder.string() + "/status has no " + name + ": has the server ended?");
}

std::filesystem::path folderOf(pid_t process) { return "/proc/" + std::to_string(process); }

} // namespace

std::chrono::nanoseconds cpuTime(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        failWithErrno("the processor time of the server cannot be read");
    }
    return std::chrono::seconds{time.tv_sec} + std::chrono::nanoseconds{time.tv_nsec};
}

std::size_t peakMemory(pid_t process) { return statusNumber(folderOf(process), "VmHWM") * 1024; }

std::size_t residentMemory(pid_t process) { return statusNumber(folderOf(process), "VmRSS") * 1024; }

std::uint64_t contextSwitches(pid_t process) {
    std::uint64_t sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator(folderOf(process) / "task")) {
        sum += statusNumber(thread.path(), "voluntary_ctxt_switches");
        sum += statusNumber(thread.path(), "nonvoluntary_ctxt_switches");
    }
    return sum;
}

} // namespace vostel_bench::ProcessFigures
