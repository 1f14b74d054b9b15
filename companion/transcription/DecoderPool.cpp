#include "companion/transcription/DecoderPool.h"

#include <sys/stat.h>
#include <utility>

namespace vostel_companion {

ModelFolder ModelFolder::at(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return {.path = path};
    return {path, status.st_dev, status.st_ino, status.st_ctime};
}

std::expected<SpeechDecoder*, SpeechError> DecoderSlot::decoder(const std::string& path) {
    // Identified before the model is loaded. If the folder is replaced meanwhile, the next call notices it.
    ModelFolder folder = ModelFolder::at(path);
    if (decoder_ && folder_ == folder) return decoder_.get();
    // Freed first, because there may not be enough memory for two models.
    decoder_.reset();
    auto loaded = SpeechDecoder::load(path);
    if (!loaded) return std::unexpected(loaded.error());
    folder_ = std::move(folder);
    decoder_ = *std::move(loaded);
    return decoder_.get();
}

} // namespace vostel_companion
