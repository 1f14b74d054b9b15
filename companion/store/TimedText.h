// A piece of recognised text and when it was spoken.
#pragma once

#include "companion/store/Database.h"

#include <string>

namespace vostel_companion {

struct TimedText {
    std::string text;
    Seconds startTime{0};
    Seconds endTime{0};

    bool operator==(const TimedText&) const = default;
};

} // namespace vostel_companion
