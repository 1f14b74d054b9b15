#include "bench/driver/Plot.h"

#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/Statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <string_view>
#include <sys/utsname.h>
#include <thread>

namespace vostel_bench::Plot {

namespace {

struct Point {
    double x;
    double milliseconds;
};

struct Curve {
    std::string name;
    std::string colour;
    bool isDashed = false;
    std::vector<Point> points;
};

/// Both axes are logarithmic, and each begins and ends at a power of ten.
struct Diagram {
    std::string title;
    std::string xLabel;
    std::vector<Curve> curves;
};

std::vector<double> inMilliseconds(const std::vector<std::chrono::nanoseconds>& times) {
    std::vector<double> values;
    for (const auto time : times) values.push_back(std::chrono::duration<double, std::milli>(time).count());
    return values;
}

Diagram timesBySize(const std::vector<Server>& servers, Inbox& inbox) {
    Diagram diagram{"Median time of a call, one at a time", "size of the result in KiB", {}};
    for (const Server& server : servers) {
        Curve curve{server.name, server.colour, /*isDashed=*/false, {}};
        for (const Workload::Tool& tool : Workload::ofSizes) {
            const auto result = Workload::result(tool);
            Client client(*server.launch, inbox);
            client.call(tool, result, 1, 1);
            std::vector<double> times;
            const int calls = tool.resultBytes <= 1U << 20U ? 50 : 5;
            for (int call = 0; call < calls; ++call) {
                times.push_back(inMilliseconds({client.call(tool, result, 1, 1)}).front());
            }
            curve.points.push_back({static_cast<double>(tool.resultBytes) / 1024, Statistics::median(times)});
        }
        diagram.curves.push_back(std::move(curve));
    }
    return diagram;
}

Diagram timesByLoad(const std::vector<Server>& servers, Inbox& inbox) {
    Diagram diagram{"Time of a small call: p50, and p99 dashed", "calls in flight", {}};
    const auto result = Workload::result(Workload::shortCall);
    for (const Server& server : servers) {
        Curve middle{server.name, server.colour, /*isDashed=*/false, {}};
        Curve slow{"", server.colour, /*isDashed=*/true, {}};
        for (const std::size_t atOnce : {1U, 2U, 5U, 10U, 20U, 50U, 100U, 200U, 500U, 1000U}) {
            Client client(*server.launch, inbox);
            client.call(Workload::shortCall, result, 300, atOnce);
            const auto times = inMilliseconds(client.callTimes(Workload::shortCall, result, 2000, atOnce));
            const auto x = static_cast<double>(atOnce);
            middle.points.push_back({x, Statistics::quantile(times, 0.5)});
            slow.points.push_back({x, Statistics::quantile(times, 0.99)});
        }
        diagram.curves.push_back(std::move(middle));
        diagram.curves.push_back(std::move(slow));
    }
    return diagram;
}

/// A power of ten in plain digits: 0.01, 1, 1000.
std::string label(int exponent) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f", std::max(0, -exponent), std::pow(10, exponent));
    return text.data();
}

/// One element of SVG, its attributes formatted like printf.
template <class... Values>
void element(std::string& out, const char* format, Values... values) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    out += text.data();
    out += '\n';
}

/// An axis from one power of ten to another one, over a range of the picture.
class Axis final {
public:
    Axis(double least, double most, double start, double end)
        : first_{static_cast<int>(std::floor(std::log10(least)))}, last_{static_cast<int>(std::ceil(std::log10(most)))},
          start_{start}, end_{end} {}

    [[nodiscard]] int first() const { return first_; }
    [[nodiscard]] int last() const { return last_; }
    [[nodiscard]] double place(double value) const {
        return start_ + (end_ - start_) * (std::log10(value) - first_) / (last_ - first_);
    }

private:
    int first_;
    int last_;
    double start_;
    double end_;
};

void draw(std::string& out, const Diagram& diagram, double left) {
    constexpr double top = 50;
    constexpr double width = 380;
    constexpr double height = 300;
    constexpr double bottom = top + height;
    std::vector<Point> all;
    for (const Curve& curve : diagram.curves) all.insert(all.end(), curve.points.begin(), curve.points.end());
    const auto [leastX, mostX] = std::ranges::minmax(all, {}, &Point::x);
    const auto [leastY, mostY] = std::ranges::minmax(all, {}, &Point::milliseconds);
    const Axis x{leastX.x, mostX.x, left, left + width};
    const Axis y{leastY.milliseconds, mostY.milliseconds, bottom, top};

    element(out, R"(<text x="%.0f" y="%.0f" class="title">%s</text>)", left, top - 16, diagram.title.c_str());
    for (int decade = x.first(); decade <= x.last(); ++decade) {
        const double at = x.place(std::pow(10, decade));
        element(out, R"(<path class="grid" d="M%.1f %.0fV%.0f"/>)", at, top, bottom);
        element(out, R"(<text x="%.1f" y="%.0f" class="x">%s</text>)", at, bottom + 16, label(decade).c_str());
    }
    for (int decade = y.first(); decade <= y.last(); ++decade) {
        const double at = y.place(std::pow(10, decade));
        element(out, R"(<path class="grid" d="M%.0f %.1fH%.0f"/>)", left, at, left + width);
        element(out, R"(<text x="%.0f" y="%.1f" class="y">%s ms</text>)", left - 6, at + 4, label(decade).c_str());
    }
    element(out, R"(<text x="%.0f" y="%.0f" class="x">%s</text>)", left + width / 2, bottom + 36,
            diagram.xLabel.c_str());
    double legend = top + 16;
    for (const Curve& curve : diagram.curves) {
        std::string points;
        for (const Point& point : curve.points) {
            element(points, "%.1f,%.1f", x.place(point.x), y.place(point.milliseconds));
        }
        std::ranges::replace(points, '\n', ' ');
        out += "<polyline class=\"curve\" stroke=\"" + curve.colour + "\"" +
               (curve.isDashed ? " stroke-dasharray=\"4 3\"" : "") + " points=\"" + points + "\"/>\n";
        if (curve.name.empty()) continue;
        element(out, R"(<text x="%.0f" y="%.0f" fill="%s">%s</text>)", left + 12, legend, curve.colour.c_str(),
                curve.name.c_str());
        legend += 18;
    }
}

/// The date, the system and the processor.
std::string origin() {
    std::array<char, 32> date{};
    const std::time_t now = std::time(nullptr);
    std::strftime(date.data(), date.size(), "%Y-%m-%d", std::gmtime(&now));
    utsname system{};
    ::uname(&system);
    std::string processor = "unknown processor";
    std::ifstream processors("/proc/cpuinfo");
    constexpr std::string_view key = "model name";
    for (std::string line; std::getline(processors, line);) {
        if (!line.starts_with(key)) continue;
        processor = line.substr(std::min(line.size(), line.find(':') + 2));
        break;
    }
    return std::string{date.data()} + ", " + system.sysname + " " + system.machine + ", " +
           std::to_string(std::thread::hardware_concurrency()) + " x " + processor;
}

} // namespace

void write(const std::filesystem::path& file, const std::vector<Server>& servers, Inbox& inbox) {
    std::string svg = R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 960 430" width="960" height="430">
<style>
text { font: 12px sans-serif }
.title { font-size: 15px; font-weight: bold }
.x { text-anchor: middle }
.y { text-anchor: end }
.grid { stroke: #ddd; fill: none }
.curve { fill: none; stroke-width: 2 }
</style>
<rect width="960" height="430" fill="white"/>
)";
    draw(svg, timesBySize(servers, inbox), 70);
    draw(svg, timesByLoad(servers, inbox), 550);
    svg += "<text x=\"70\" y=\"418\">" + origin() + "</text>\n</svg>\n";
    std::ofstream out(file);
    out << svg;
    if (!out.flush()) fail("cannot write " + file.string());
}

} // namespace vostel_bench::Plot
