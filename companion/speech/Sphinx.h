// Shared by the two users of the recogniser library.
#pragma once

#include <memory>
#include <pocketsphinx.h>

namespace vostel_companion {

struct FreeSphinxOptions {
    void operator()(cmd_ln_t* options) const { cmd_ln_free_r(options); }
};
using SphinxOptions = std::unique_ptr<cmd_ln_t, FreeSphinxOptions>;

/// Stops the library's log on standard error, once per process. Thread-safe.
void silenceSphinx();

} // namespace vostel_companion
