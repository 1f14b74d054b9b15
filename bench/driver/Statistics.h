// What many figures come down to.
#pragma once

#include <vector>

namespace vostel_bench::Statistics {

/// The value that `share` of the values (from 0 to 1) do not exceed. `values` is not empty.
double quantile(std::vector<double> values, double share);

double median(std::vector<double> values);

} // namespace vostel_bench::Statistics
