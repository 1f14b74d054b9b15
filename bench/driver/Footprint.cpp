#include "bench/driver/Footprint.h"

#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/ProcessFigures.h"

#include <chrono>
#include <thread>
#include <tuple>

namespace vostel_bench {

namespace {

constexpr std::chrono::seconds settling{2};
constexpr std::chrono::seconds watching{5};

} // namespace

Footprint Footprint::measure(const Launch& launch, Inbox& inbox) {
    Footprint measured;
    Client client(launch, inbox);
    constexpr std::uint64_t listID = 1'000'000;
    std::ignore = Answers::resultOf(client.session().exchange(Requests::listTools(listID), 1), listID);
    client.call(Workload::shortCall, Workload::result(Workload::shortCall), 10, 1);
    std::this_thread::sleep_for(settling);

    measured.residentMiB = ProcessFigures::mebibytes(ProcessFigures::residentMemory(client.process()));
    const std::uint64_t before = ProcessFigures::contextSwitches(client.process());
    std::this_thread::sleep_for(watching);
    const std::uint64_t switches = ProcessFigures::contextSwitches(client.process()) - before;
    measured.wakeUpsPerTenSeconds = static_cast<double>(switches) * 10.0 / watching.count();

    client.call(Workload::transcript16MiB, Workload::result(Workload::transcript16MiB), 1, 1);
    std::this_thread::sleep_for(settling);
    measured.residentAfterLargeMiB = ProcessFigures::mebibytes(ProcessFigures::residentMemory(client.process()));
    return measured;
}

} // namespace vostel_bench
