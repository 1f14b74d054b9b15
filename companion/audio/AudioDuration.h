// How long a recording is, before anything is done with it.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Time.h"

#include <expected>
#include <string>

namespace vostel_companion {

/// What the file says of itself; a file that does not is decoded to its end. The error of a file without sound.
[[nodiscard]] std::expected<Seconds, AudioError> audioDuration(const std::string& path, Cancellation& cancellation);

} // namespace vostel_companion
