// What a server costs while nobody asks anything of it.
#pragma once

#include "bench/driver/Session.h"

namespace vostel_bench {

struct Footprint {
    double residentMiB = 0;
    /// Resident again some time after a transcript of 16 MiB has passed through.
    double residentAfterLargeMiB = 0;
    double wakeUpsPerTenSeconds = 0;

    bool operator==(const Footprint&) const = default;

    /// After the greeting, the list of tools and some short calls. Takes about eight seconds, for the most part asleep.
    static Footprint measure(const Launch& launch, Inbox& inbox);
};

} // namespace vostel_bench
