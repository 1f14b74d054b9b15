// What is measured: each scenario, its rows of the table, and their goals.
#pragma once

#include "bench/driver/Session.h"

#include <functional>
#include <string>
#include <vector>

namespace vostel_bench {

/// What a row of the table should reach.
struct Goal {
    enum class Kind { atMost, atLeast, none };
    Kind kind = Kind::none;
    double value = 0;

    [[nodiscard]] bool isMetBy(double measured) const;
    bool operator==(const Goal&) const = default;
};

enum class Unit { microseconds, milliseconds, mebibytes, perSecond, count };

/// One row: a figure of a scenario, and the goal for the ratio of the subject's figure to the baseline's.
struct Row {
    std::string name;
    Unit unit = Unit::count;
    Goal goal;
    /// For the ratio to the floor.
    Goal floorGoal = {};

    bool operator==(const Row&) const = default;
};

/// Work that the servers do in turns.
struct Scenario {
    std::string name;
    std::vector<Row> rows;
    /// What the server is compared with besides the floor.
    enum class Baseline { peer, plainRelay, none };
    Baseline baseline = Baseline::peer;
    /// Does the work once and returns a figure for each row. Each time uses a new server, so that compiled code or the
    /// peak memory of one round does not affect the next.
    std::function<std::vector<double>(const Launch&, Inbox&)> measure;
};

/// All of them, in the order of the table.
std::vector<Scenario> allScenarios();

} // namespace vostel_bench
