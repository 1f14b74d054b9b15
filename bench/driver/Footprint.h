// The memory and the wake-ups of an idle server.
#pragma once

#include "bench/driver/Session.h"

namespace vostel_bench {

struct Footprint {
    double residentMiB = 0;
    /// The resident memory two seconds after a transcript of 16 MiB.
    double residentAfterLargeMiB = 0;
    double wakeUpsPerTenSeconds = 0;

    bool operator==(const Footprint&) const = default;

    /// Measures after initialize, the list of tools and some short calls. Takes about eight seconds and mostly sleeps.
    static Footprint measure(const Launch& launch, Inbox& inbox);
};

} // namespace vostel_bench
