// Two plots in one SVG: time against the size of the result, and time against calls in flight.
#pragma once

#include "bench/driver/Session.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vostel_bench::Plot {

struct Server {
    std::string name;
    std::string colour;
    const Launch* launch = nullptr;
};

/// Measures each server and writes the plots, with the date and the machine. If the file cannot be written, the run
/// fails.
void write(const std::filesystem::path& file, const std::vector<Server>& servers, Inbox& inbox);

} // namespace vostel_bench::Plot
