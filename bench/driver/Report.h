// The result of a run: one table and one file.
#pragma once

#include "bench/driver/Scenarios.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vostel_bench {

/// The figures of all rounds for one row. Each round runs subject, baseline, floor, floor, baseline, subject. Its
/// ratios are those of the means.
struct Measured {
    Row row;
    std::vector<double> subject;
    std::vector<double> baseline;
    std::vector<double> floor;
    /// Subject to baseline, one for each round. Empty when the goal is for the subject's own figure.
    std::vector<double> ratios;
    /// Subject to floor.
    std::vector<double> floorRatios;

    /// The value that the goal is compared with: the median ratio. Without ratios, the subject's median.
    [[nodiscard]] double judged() const;
    /// The same for the goal of the ratio to the floor; zero when there is no such ratio.
    [[nodiscard]] double judgedByFloor() const;
    [[nodiscard]] bool meetsGoals() const;
    bool operator==(const Measured&) const = default;
};

namespace Report {

void printHeader();
void print(const Measured& measured);

/// Writes the machine and every figure of every round. If the file cannot be written, the run fails.
void write(const std::filesystem::path& file, const std::vector<Measured>& all, int rounds);

} // namespace Report

} // namespace vostel_bench
