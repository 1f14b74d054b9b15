// What the system knows about a running process. Linux only: it reads /proc.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace vostel_bench::ProcessFigures {

/// User and system time of all threads, those that ended included, to the nanosecond.
std::chrono::nanoseconds cpuTime(pid_t process);

/// The most memory that was ever resident, in bytes.
std::size_t peakMemory(pid_t process);

/// Memory resident now, in bytes.
std::size_t residentMemory(pid_t process);

/// How often a thread that lives now has been switched out: each wake-up ends in one.
std::uint64_t contextSwitches(pid_t process);

constexpr double mebibytes(std::uintmax_t bytes) { return static_cast<double>(bytes) / (1U << 20U); }

} // namespace vostel_bench::ProcessFigures
