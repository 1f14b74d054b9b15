// Measures the server against others that do the same job. See `bench-driver --help`; script/bench runs it.
#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/Footprint.h"
#include "bench/driver/Plot.h"
#include "bench/driver/ProcessFigures.h"
#include "bench/driver/Report.h"
#include "bench/driver/Scenarios.h"

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
    std::string stub;
    std::string peerFolder;
    std::string floor;
    std::string json;
    std::string plot;
    int rounds = 5;
    std::vector<std::string> rows;
};

constexpr const char* footprintRows = "idle";

bool isChosen(const Options& options, const std::string& name) {
    return options.rows.empty() || std::ranges::find(options.rows, name) != options.rows.end();
}

/// A temporary home folder, so that the run uses no socket and no file of the user. A failed run keeps it with the
/// standard errors of the servers, for inspection.
class TemporaryHome final {
public:
    TemporaryHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vostel-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) failWithErrno("cannot create a temporary home folder");
        path_ = pattern;
        std::filesystem::create_directories(socket().parent_path());
    }
    ~TemporaryHome() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

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

/// The peer announces the tools of our server, so that both send the same list.
std::filesystem::path writeToolList(const TemporaryHome& home, const Launch& subject, Inbox& inbox) {
    constexpr std::uint64_t id = 2;
    Client client(subject, inbox);
    const std::filesystem::path file = home.file("tools.json");
    std::ofstream out(file);
    out << Answers::resultOf(client.session().exchange(Requests::listTools(id), 1), id);
    if (!out.flush()) fail("cannot write " + file.string());
    return file;
}

/// `baseline` is null when the scenario is compared only with the floor.
std::vector<Measured> measure(const Scenario& scenario, const Launch& subject, const Launch* baseline,
                              const Launch& floor, int rounds, Inbox& inbox) {
    using Rows = std::vector<double> Measured::*;
    std::vector<Measured> all;
    for (const Row& row : scenario.rows) all.emplace_back().row = row;
    const auto run = [&](const Launch* launch, Rows rows) {
        if (launch == nullptr) return;
        const std::vector<double> figures = scenario.measure(*launch, inbox);
        for (std::size_t row = 0; row < all.size(); ++row) (all[row].*rows).push_back(figures[row]);
    };
    for (int round = 0; round < rounds; ++round) {
        run(&subject, &Measured::subject);
        run(baseline, &Measured::baseline);
        run(&floor, &Measured::floor);
        run(&floor, &Measured::floor);
        run(baseline, &Measured::baseline);
        run(&subject, &Measured::subject);
        for (Measured& measured : all) {
            const auto sum = [](const std::vector<double>& figures) {
                return figures.empty() ? 0 : figures.back() + figures[figures.size() - 2];
            };
            if (baseline != nullptr) measured.ratios.push_back(sum(measured.subject) / sum(measured.baseline));
            measured.floorRatios.push_back(sum(measured.subject) / sum(measured.floor));
        }
    }
    return all;
}

std::vector<Measured> measureFootprint(const Launch& subject, const Launch& baseline, const Launch& floor,
                                       const std::string& server, Inbox& inbox) {
    const Footprint ofSubject = Footprint::measure(subject, inbox);
    const Footprint ofBaseline = Footprint::measure(baseline, inbox);
    const Footprint ofFloor = Footprint::measure(floor, inbox);
    std::vector<Measured> all;
    const auto add = [&](const char* name, Unit unit, Goal goal, double Footprint::* figure, Goal floorGoal = {}) {
        Measured& measured = all.emplace_back();
        measured.row = {name, unit, goal, floorGoal};
        measured.subject = {ofSubject.*figure};
        measured.baseline = {ofBaseline.*figure};
        measured.floor = {ofFloor.*figure};
        if (floorGoal.kind != Goal::Kind::none) measured.floorRatios = {ofSubject.*figure / ofFloor.*figure};
    };
    constexpr Goal memory{Goal::Kind::atMost, 4};
    constexpr Goal noWakeUps{Goal::Kind::atMost, 0};
    constexpr Goal size{Goal::Kind::atMost, 1.5};
    add("idle: resident memory", Unit::mebibytes, memory, &Footprint::residentMiB, {Goal::Kind::atMost, 1.5});
    add("idle: wake-ups in ten seconds", Unit::count, noWakeUps, &Footprint::wakeUpsPerTenSeconds);
    add("idle after a 16 MiB transcript", Unit::mebibytes, {}, &Footprint::residentAfterLargeMiB);
    Measured& executable = all.emplace_back();
    executable.row = {"executable, stripped", Unit::mebibytes, size, {}};
    executable.subject = {ProcessFigures::mebibytes(std::filesystem::file_size(server))};
    return all;
}

int run(const Options& options) {
    Inbox inbox(72U << 20U, '\0');
    const TemporaryHome home;
    Session stub(home.launch({options.stub, home.socket().string()}, "stub.log"), inbox);
    if (stub.exchange({}, 1) != "ready\n") fail("the stub application did not start");

    const auto launch = [&](std::vector<std::string> command, const char* log) {
        Launch made = home.launch(std::move(command), log);
        made.application = stub.process();
        return made;
    };
    const Launch subject = launch({options.server}, "subject.log");
    const std::string tools = writeToolList(home, subject, inbox).string();
    const Launch peer = launch({"node", options.peerFolder + "/server.mjs", tools}, "peer.log");
    const Launch relay = launch({"node", options.peerFolder + "/plain-relay.mjs"}, "relay.log");
    const Launch floor = launch({options.floor, tools}, "floor.log");
    const auto baselineOf = [&](const Scenario& scenario) -> const Launch* {
        switch (scenario.baseline) {
        case Scenario::Baseline::peer:
            return &peer;
        case Scenario::Baseline::plainRelay:
            return &relay;
        case Scenario::Baseline::none:
            break;
        }
        return nullptr;
    };

    if (!options.plot.empty()) {
        const std::vector<Plot::Server> servers = {
            {"SDK peer", "#c0392b", &peer}, {"vostel-mcp", "#2471a3", &subject}, {"floor", "#7f8c8d", &floor}};
        Plot::write(options.plot, servers, inbox);
        return 0;
    }

    std::vector<Measured> all;
    const auto keep = [&all](const std::vector<Measured>& some) {
        for (const Measured& measured : some) {
            Report::print(measured);
            all.push_back(measured);
        }
    };
    Report::printHeader();
    for (const Scenario& scenario : allScenarios()) {
        if (!isChosen(options, scenario.name)) continue;
        keep(measure(scenario, subject, baselineOf(scenario), floor, options.rounds, inbox));
    }
    if (isChosen(options, footprintRows)) keep(measureFootprint(subject, peer, floor, options.server, inbox));

    const auto missed = std::ranges::count_if(all, [](const Measured& measured) { return !measured.meetsGoals(); });
    std::printf("%td rows miss a goal\n", missed);
    if (!options.json.empty()) Report::write(options.json, all, options.rounds);
    return 0;
}

} // namespace

} // namespace vostel_bench

int main(int argc, char** argv) {
    vostel_bench::Options options;
    CLI::App app{"Measures vostel-mcp against a peer built with the official TypeScript SDK."};
    app.add_option("--server", options.server, "the stripped executable")->required()->check(CLI::ExistingFile);
    app.add_option("--stub", options.stub, "the stub application")->required()->check(CLI::ExistingFile);
    app.add_option("--peer", options.peerFolder, "folder of the peer")->required()->check(CLI::ExistingDirectory);
    app.add_option("--floor", options.floor, "the minimal server")->required()->check(CLI::ExistingFile);
    app.add_option("--json", options.json, "file for all figures");
    app.add_option("--plot", options.plot, "measures the plots instead of the rows, and writes them to this file");
    app.add_option("--rounds", options.rounds, "rounds of subject, baseline, floor, floor, baseline, subject")
        ->check(CLI::PositiveNumber);
    std::vector<std::string> names = {vostel_bench::footprintRows};
    for (const vostel_bench::Scenario& scenario : vostel_bench::allScenarios()) names.push_back(scenario.name);
    app.add_option("rows", options.rows, "measures only these rows")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    return vostel_bench::run(options);
}
