// The length of a recording.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Time.h"

#include <expected>
#include <string>

namespace vostel_companion {

/// The length that the file states. A file that states none is decoded to its end. A file without sound is an error.
[[nodiscard]] std::expected<Seconds, AudioError> audioDuration(const std::string& path, Cancellation& cancellation);

} // namespace vostel_companion
