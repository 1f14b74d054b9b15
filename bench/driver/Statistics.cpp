#include "bench/driver/Statistics.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vostel_bench::Statistics {

double quantile(std::vector<double> values, double fraction) {
    std::ranges::sort(values);
    const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(values.size()));
    return values[std::min(rank, values.size() - 1)];
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

} // namespace vostel_bench::Statistics
