#include "bench/driver/Report.h"

#include "bench/driver/Failure.h"
#include "bench/driver/Statistics.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sys/utsname.h>
#include <thread>
#include <tuple>

namespace vostel_bench {

namespace {

const char* suffixOf(Unit unit) {
    switch (unit) {
    case Unit::microseconds:
        return "µs";
    case Unit::milliseconds:
        return "ms";
    case Unit::mebibytes:
        return "MiB";
    case Unit::perSecond:
        return "/s";
    case Unit::count:
        return "";
    }
    return "";
}

std::string formatted(const char* format, double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string number(double value) { return formatted(value < 10 ? "%.3g" : "%.0f", value); }

std::string withUnit(const std::vector<double>& values, Unit unit) {
    if (values.empty()) return "";
    const double value = Statistics::median(values);
    return formatted(value < 100 ? "%.3g" : "%.0f", value) + " " + suffixOf(unit);
}

std::string textOf(const Goal& goal) {
    switch (goal.kind) {
    case Goal::Kind::atMost:
        return "<= " + number(goal.value);
    case Goal::Kind::atLeast:
        return ">= " + number(goal.value);
    case Goal::Kind::none:
        return "";
    }
    return "";
}

/// Fills up `text` to `width` characters. Bytes that continue a UTF-8 character do not count.
std::string padded(std::string text, std::size_t width) {
    const auto continuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    const auto seen = text.size() - static_cast<std::size_t>(std::ranges::count_if(text, continuation));
    if (seen < width) text.append(width - seen, ' ');
    return text;
}

using Columns = std::array<std::string, 11>;

void printColumns(const Columns& columns) {
    constexpr std::array<std::size_t, std::tuple_size_v<Columns>> widths = {42, 12, 12, 8, 16, 9, 5, 12, 8, 9, 3};
    std::string line;
    for (std::size_t index = 0; index < columns.size(); ++index) line += padded(columns[index], widths[index]);
    std::puts(line.c_str());
    std::fflush(stdout);
}

} // namespace

double Measured::judged() const { return Statistics::median(ratios.empty() ? subject : ratios); }

double Measured::judgedByFloor() const { return floorRatios.empty() ? 0 : Statistics::median(floorRatios); }

bool Measured::meetsGoals() const {
    return row.goal.isMetBy(judged()) && (floorRatios.empty() || row.floorGoal.isMetBy(judgedByFloor()));
}

void Report::printHeader() {
    printColumns(
        {"work", "subject", "baseline", "ratio", "in all rounds", "goal", "met", "floor", "ratio", "goal", "met"});
}

void Report::print(const Measured& measured) {
    std::string ratio;
    std::string range;
    if (!measured.ratios.empty()) {
        ratio = number(measured.judged());
        const auto [least, most] = std::ranges::minmax(measured.ratios);
        range = number(least) + " - " + number(most);
    }
    const auto met = [](const Goal& goal, double judged) {
        if (goal.kind == Goal::Kind::none) return "";
        return goal.isMetBy(judged) ? "yes" : "NO";
    };
    const bool hasFloor = !measured.floorRatios.empty();
    const Row& row = measured.row;
    printColumns({row.name, withUnit(measured.subject, row.unit), withUnit(measured.baseline, row.unit), ratio, range,
                  textOf(row.goal), met(row.goal, measured.judged()), withUnit(measured.floor, row.unit),
                  hasFloor ? number(measured.judgedByFloor()) : "", hasFloor ? textOf(row.floorGoal) : "",
                  hasFloor ? met(row.floorGoal, measured.judgedByFloor()) : ""});
}

void Report::write(const std::filesystem::path& file, const std::vector<Measured>& all, int rounds) {
    utsname system{};
    ::uname(&system);
    nlohmann::ordered_json report = {
        {"system", std::string{system.sysname} + " " + system.release + " " + system.machine},
        {"processors", std::thread::hardware_concurrency()},
        {"rounds", rounds},
        {"rows", nlohmann::ordered_json::array()},
    };
    for (const Measured& measured : all) {
        nlohmann::ordered_json row = {{"work", measured.row.name},   {"unit", suffixOf(measured.row.unit)},
                                      {"subject", measured.subject}, {"baseline", measured.baseline},
                                      {"floor", measured.floor},     {"floorRatios", measured.floorRatios},
                                      {"ratios", measured.ratios},   {"judged", measured.judged()}};
        if (measured.row.goal.kind != Goal::Kind::none) {
            row["goal"] = textOf(measured.row.goal);
            row["met"] = measured.row.goal.isMetBy(measured.judged());
        }
        if (!measured.floorRatios.empty() && measured.row.floorGoal.kind != Goal::Kind::none) {
            row["floorGoal"] = textOf(measured.row.floorGoal);
            row["floorGoalMet"] = measured.row.floorGoal.isMetBy(measured.judgedByFloor());
        }
        report["rows"].push_back(std::move(row));
    }
    std::ofstream out(file);
    out << report.dump(2) << '\n';
    if (!out.flush()) fail("cannot write " + file.string());
}

} // namespace vostel_bench
