#include "companion/speech/Sphinx.h"

#include <sphinxbase/err.h>

namespace vostel_companion {

void silenceSphinx() {
    [[maybe_unused]] static const bool quiet = (err_set_logfp(nullptr), err_set_callback(nullptr, nullptr), true);
}

} // namespace vostel_companion
