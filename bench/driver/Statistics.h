// Statistics over many figures.
#pragma once

#include <vector>

namespace vostel_bench::Statistics {

/// The value that `fraction` (from 0 to 1) of the values do not exceed. `values` is not empty.
double quantile(std::vector<double> values, double fraction);

double median(std::vector<double> values);

} // namespace vostel_bench::Statistics
