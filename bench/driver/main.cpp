// Measures the server against others that do the same job. See `bench-driver --help`; script/bench runs it.
#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/Footprint.h"
#include "bench/driver/ProcessFigures.h"
#include "bench/driver/Report.h"
#include "bench/driver/Workouts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace vostel_bench {

namespace {

struct Options {
    std::string server;
    std::string stripped;
    std::string stub;
    std::string peerFolder;
    std::string json;
    int rounds = 5;
    std::vector<std::string> rows;
};

constexpr const char* footprintRows = "idle";

bool isChosen(const Options& options, const std::string& name) {
    return options.rows.empty() || std::ranges::find(options.rows, name) != options.rows.end();
}

/// A home of this run's own, so that no socket and no file of the user is touched. A failed run leaves it, with the
/// servers' standard errors, to be looked at.
class ThrowAwayHome final {
public:
    ThrowAwayHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vostel-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) failWithErrno("no throw-away home");
        path_ = pattern;
        std::filesystem::create_directories(socket().parent_path());
    }
    ~ThrowAwayHome() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ThrowAwayHome(const ThrowAwayHome&) = delete;
    ThrowAwayHome& operator=(const ThrowAwayHome&) = delete;

    [[nodiscard]] std::filesystem::path file(const char* name) const { return path_ / name; }
    [[nodiscard]] std::filesystem::path socket() const {
        return path_ / "Library" / "Application Support" / "com.vostel.vostel" / "mcp.sock";
    }
    [[nodiscard]] Launch launch(std::vector<std::string> command, const char* name) const {
        return {.command = std::move(command), .home = path_.string(), .log = file(name).string()};
    }

private:
    std::filesystem::path path_;
};

/// The peer announces what our own server announces, so both carry the same list.
std::filesystem::path writeToolList(const ThrowAwayHome& home, const Launch& ours, Inbox& inbox) {
    constexpr std::uint64_t id = 2;
    Client client(ours, inbox);
    const std::filesystem::path file = home.file("tools.json");
    std::ofstream out(file);
    out << Answers::resultOf(client.session().exchange(Requests::listTools(id), 1), id);
    if (!out.flush()) fail("cannot write " + file.string());
    return file;
}

std::vector<Measured> measure(const Workout& workout, const Launch& ours, const Launch& theirs, int rounds,
                              Inbox& inbox) {
    std::vector<Measured> all;
    for (const Row& row : workout.rows) all.push_back({.row = row, .ours = {}, .theirs = {}, .ratios = {}});
    for (int round = 0; round < rounds; ++round) {
        const std::vector<double> first = workout.measure(ours, inbox);
        const std::vector<double> second = workout.measure(theirs, inbox);
        const std::vector<double> third = workout.measure(theirs, inbox);
        const std::vector<double> fourth = workout.measure(ours, inbox);
        for (std::size_t row = 0; row < all.size(); ++row) {
            all[row].ours.insert(all[row].ours.end(), {first[row], fourth[row]});
            all[row].theirs.insert(all[row].theirs.end(), {second[row], third[row]});
            all[row].ratios.push_back((first[row] + fourth[row]) / (second[row] + third[row]));
        }
    }
    return all;
}

std::vector<Measured> measureFootprint(const Launch& ours, const Launch& theirs, const std::string& stripped,
                                       Inbox& inbox) {
    const Footprint our = Footprint::measure(ours, inbox);
    const Footprint their = Footprint::measure(theirs, inbox);
    std::vector<Measured> all;
    const auto add = [&all](const char* name, Unit unit, Goal goal, double ourFigure, double theirFigure) {
        Measured& measured = all.emplace_back();
        measured.row = {name, unit, goal};
        measured.ours = {ourFigure};
        measured.theirs = {theirFigure};
    };
    constexpr Goal memory{Goal::Kind::atMost, 4};
    constexpr Goal asleep{Goal::Kind::atMost, 0};
    constexpr Goal size{Goal::Kind::atMost, 1.5};
    add("idle: resident memory", Unit::mebibytes, memory, our.residentMiB, their.residentMiB);
    add("idle: wake-ups in ten seconds", Unit::count, asleep, our.wakeUpsPerTenSeconds, their.wakeUpsPerTenSeconds);
    add("idle after a 16 MiB transcript", Unit::mebibytes, {}, our.residentAfterLargeMiB, their.residentAfterLargeMiB);
    if (!stripped.empty()) {
        add("executable, stripped", Unit::mebibytes, size,
            ProcessFigures::mebibytes(std::filesystem::file_size(stripped)), 0);
        all.back().theirs.clear();
    }
    return all;
}

int run(const Options& options) {
    Inbox inbox(48U << 20U, '\0');
    const ThrowAwayHome home;
    Session stub(home.launch({options.stub, home.socket().string()}, "stub.log"), inbox);
    if (stub.exchange({}, 1) != "ready\n") fail("the stub application did not start");

    const Launch ours = home.launch({options.server}, "ours.log");
    const std::string tools = writeToolList(home, ours, inbox).string();
    const Launch peer = home.launch({"node", options.peerFolder + "/server.mjs", tools}, "peer.log");
    const Launch relay = home.launch({"node", options.peerFolder + "/plain-relay.mjs"}, "relay.log");

    std::vector<Measured> all;
    const auto keep = [&all](const std::vector<Measured>& some) {
        for (const Measured& measured : some) {
            Report::print(measured);
            all.push_back(measured);
        }
    };
    Report::printHeader();
    for (const Workout& workout : allWorkouts()) {
        if (!isChosen(options, workout.name)) continue;
        keep(measure(workout, ours, workout.againstRelay ? relay : peer, options.rounds, inbox));
    }
    if (isChosen(options, footprintRows)) keep(measureFootprint(ours, peer, options.stripped, inbox));

    const auto missed = std::ranges::count_if(
        all, [](const Measured& measured) { return !measured.row.goal.isMetBy(measured.judged()); });
    std::printf("%td of the goals missed\n", missed);
    if (!options.json.empty()) Report::write(options.json, all, options.rounds);
    return 0;
}

} // namespace

} // namespace vostel_bench

int main(int argc, char** argv) {
    vostel_bench::Options options;
    CLI::App app{"Measures vostel-mcp against a peer built with the official TypeScript SDK."};
    app.add_option("--server", options.server, "our executable")->required()->check(CLI::ExistingFile);
    app.add_option("--stripped", options.stripped, "the same without symbols, for its size")->check(CLI::ExistingFile);
    app.add_option("--stub", options.stub, "the stub application")->required()->check(CLI::ExistingFile);
    app.add_option("--peer", options.peerFolder, "folder of the peer")->required()->check(CLI::ExistingDirectory);
    app.add_option("--json", options.json, "file for all figures");
    app.add_option("--rounds", options.rounds, "rounds of ours, theirs, theirs, ours")->check(CLI::PositiveNumber);
    std::vector<std::string> names = {vostel_bench::footprintRows};
    for (const vostel_bench::Workout& workout : vostel_bench::allWorkouts()) names.push_back(workout.name);
    app.add_option("rows", options.rows, "only these")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    return vostel_bench::run(options);
}
