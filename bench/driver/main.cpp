// Measures the server against others that do the same job. See `bench-driver --help`; script/bench runs it.
#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/Footprint.h"
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
std::filesystem::path writeToolList(const ThrowAwayHome& home, const Launch& subject, Inbox& inbox) {
    constexpr std::uint64_t id = 2;
    Client client(subject, inbox);
    const std::filesystem::path file = home.file("tools.json");
    std::ofstream out(file);
    out << Answers::resultOf(client.session().exchange(Requests::listTools(id), 1), id);
    if (!out.flush()) fail("cannot write " + file.string());
    return file;
}

std::vector<Measured> measure(const Scenario& scenario, const Launch& subject, const Launch& baseline, int rounds,
                              Inbox& inbox) {
    std::vector<Measured> all;
    for (const Row& row : scenario.rows) all.push_back({.row = row, .subject = {}, .baseline = {}, .ratios = {}});
    for (int round = 0; round < rounds; ++round) {
        const std::vector<double> first = scenario.measure(subject, inbox);
        const std::vector<double> second = scenario.measure(baseline, inbox);
        const std::vector<double> third = scenario.measure(baseline, inbox);
        const std::vector<double> fourth = scenario.measure(subject, inbox);
        for (std::size_t row = 0; row < all.size(); ++row) {
            all[row].subject.insert(all[row].subject.end(), {first[row], fourth[row]});
            all[row].baseline.insert(all[row].baseline.end(), {second[row], third[row]});
            all[row].ratios.push_back((first[row] + fourth[row]) / (second[row] + third[row]));
        }
    }
    return all;
}

std::vector<Measured> measureFootprint(const Launch& subject, const Launch& baseline, const std::string& server,
                                       Inbox& inbox) {
    const Footprint ofSubject = Footprint::measure(subject, inbox);
    const Footprint ofBaseline = Footprint::measure(baseline, inbox);
    std::vector<Measured> all;
    const auto add = [&all](const char* name, Unit unit, Goal goal, double subjectFigure, double baselineFigure) {
        Measured& measured = all.emplace_back();
        measured.row = {name, unit, goal};
        measured.subject = {subjectFigure};
        measured.baseline = {baselineFigure};
    };
    constexpr Goal memory{Goal::Kind::atMost, 4};
    constexpr Goal asleep{Goal::Kind::atMost, 0};
    constexpr Goal size{Goal::Kind::atMost, 1.5};
    add("idle: resident memory", Unit::mebibytes, memory, ofSubject.residentMiB, ofBaseline.residentMiB);
    add("idle: wake-ups in ten seconds", Unit::count, asleep, ofSubject.wakeUpsPerTenSeconds,
        ofBaseline.wakeUpsPerTenSeconds);
    add("idle after a 16 MiB transcript", Unit::mebibytes, {}, ofSubject.residentAfterLargeMiB,
        ofBaseline.residentAfterLargeMiB);
    add("executable, stripped", Unit::mebibytes, size, ProcessFigures::mebibytes(std::filesystem::file_size(server)),
        0);
    all.back().baseline.clear();
    return all;
}

int run(const Options& options) {
    Inbox inbox(48U << 20U, '\0');
    const ThrowAwayHome home;
    Session stub(home.launch({options.stub, home.socket().string()}, "stub.log"), inbox);
    if (stub.exchange({}, 1) != "ready\n") fail("the stub application did not start");

    const Launch subject = home.launch({options.server}, "subject.log");
    const std::string tools = writeToolList(home, subject, inbox).string();
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
    for (const Scenario& scenario : allScenarios()) {
        if (!isChosen(options, scenario.name)) continue;
        keep(measure(scenario, subject, scenario.againstRelay ? relay : peer, options.rounds, inbox));
    }
    if (isChosen(options, footprintRows)) keep(measureFootprint(subject, peer, options.server, inbox));

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
    app.add_option("--server", options.server, "the stripped executable")->required()->check(CLI::ExistingFile);
    app.add_option("--stub", options.stub, "the stub application")->required()->check(CLI::ExistingFile);
    app.add_option("--peer", options.peerFolder, "folder of the peer")->required()->check(CLI::ExistingDirectory);
    app.add_option("--json", options.json, "file for all figures");
    app.add_option("--rounds", options.rounds, "rounds of subject, baseline, baseline, subject")
        ->check(CLI::PositiveNumber);
    std::vector<std::string> names = {vostel_bench::footprintRows};
    for (const vostel_bench::Scenario& scenario : vostel_bench::allScenarios()) names.push_back(scenario.name);
    app.add_option("rows", options.rows, "only these")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    return vostel_bench::run(options);
}
