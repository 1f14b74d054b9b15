// The loaded models of the application.
#pragma once

#include "companion/speech/SpeechDecoder.h"
#include "companion/support/BoundedPool.h"

#include <ctime>
#include <expected>
#include <memory>
#include <string>
#include <sys/types.h>

namespace vostel_companion {

/// Identifies the folder at a path. A model that is installed again is in a new folder at the same path.
struct ModelFolder {
    std::string path;
    dev_t device = 0;
    ino_t number = 0;
    /// When it last changed, because the system reuses inode numbers.
    std::time_t changed = 0;

    [[nodiscard]] static ModelFolder at(const std::string& path);

    bool operator==(const ModelFolder&) const = default;
};

/// Holds one loaded model. For one thread at a time.
class DecoderSlot final {
public:
    DecoderSlot() = default;
    DecoderSlot(const DecoderSlot&) = delete;
    DecoderSlot& operator=(const DecoderSlot&) = delete;

    /// Loads the model in the folder at `path`, unless it is loaded already. The decoder is valid until the next call.
    [[nodiscard]] std::expected<SpeechDecoder*, SpeechError> decoder(const std::string& path);

private:
    ModelFolder folder_;
    std::unique_ptr<SpeechDecoder> decoder_;
};

using DecoderPool = BoundedPool<DecoderSlot, SpeechError>;

} // namespace vostel_companion
