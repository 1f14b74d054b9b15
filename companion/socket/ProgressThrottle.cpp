#include "companion/socket/ProgressThrottle.h"

namespace vostel_companion {

bool ProgressThrottle::admits(double fraction, Time now) {
    if (fraction >= 1) return false;
    if (last && (fraction <= last->fraction || now < last->at + interval)) return false;
    last = Report{now, fraction};
    return true;
}

} // namespace vostel_companion
