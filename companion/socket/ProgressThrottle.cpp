#include "companion/socket/ProgressThrottle.h"

namespace vostel_companion {

bool ProgressThrottle::admits(double fraction, Time now) {
    if (last && fraction <= last->fraction) return false;
    if (last && fraction < 1 && now < last->at + interval) return false;
    last = Report{now, fraction};
    return true;
}

} // namespace vostel_companion
