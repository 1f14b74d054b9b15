// What the two users of the recogniser library share.
#pragma once

#include <memory>
#include <pocketsphinx.h>

namespace vostel_companion {

struct FreeSphinxOptions {
    void operator()(cmd_ln_t* options) const { cmd_ln_free_r(options); }
};
using SphinxOptions = std::unique_ptr<cmd_ln_t, FreeSphinxOptions>;

/// The library narrates on standard error; once per process this stops it. Thread-safe.
void silenceSphinx();

} // namespace vostel_companion
