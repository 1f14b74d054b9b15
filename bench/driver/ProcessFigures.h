// The system's figures about a running process. Linux only, because it reads /proc.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace vostel_bench::ProcessFigures {

/// User and system time of all threads, including ended ones, in nanoseconds.
std::chrono::nanoseconds cpuTime(pid_t process);

/// The peak of the resident memory, in bytes.
std::size_t peakMemory(pid_t process);

/// Memory resident now, in bytes.
std::size_t residentMemory(pid_t process);

/// The number of context switches of all current threads. Each wake-up of a thread ends with one.
std::uint64_t contextSwitches(pid_t process);

constexpr double mebibytes(std::uintmax_t bytes) { return static_cast<double>(bytes) / (1U << 20U); }

} // namespace vostel_bench::ProcessFigures
