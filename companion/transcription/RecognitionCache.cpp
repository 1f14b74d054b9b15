#include "companion/transcription/RecognitionCache.h"

#include "companion/models/SHA256.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/Unicode.h"
#include "posix/FileDescriptor.h"
#include "posix/FileIO.h"
#include "posix/PrivateFolder.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <system_error>

namespace vostel_companion {

namespace fs = std::filesystem;
using VostelMCPKit::MCPValue;

namespace {

/// Raise it when utterances are cut or recognised in another way. Older entries are then not used.
constexpr std::string_view version = "2";
constexpr std::string_view extension = ".words";

std::string lineOf(const MCPValue& value) {
    VostelMCPKit::Bytes text;
    // Cannot fail: no number is infinite.
    std::ignore = VostelMCPKit::writeJSON(value, text);
    return std::string{text.text()} + "\n";
}

std::optional<std::size_t> sizeIn(const MCPValue& value, const char* key) {
    const auto found = value.integer(key);
    return found && *found >= 0 ? std::optional{static_cast<std::size_t>(*found)} : std::nullopt;
}

std::optional<std::vector<TranscriptSegment>> wordsIn(const MCPValue& line) {
    const MCPValue* list = line.find("words");
    if (list == nullptr || !list->asArray()) return std::nullopt;
    std::vector<TranscriptSegment> words;
    for (const MCPValue& entry : list->elements()) {
        const auto fields = entry.asArray();
        if (!fields || fields->size() != 3) return std::nullopt;
        const auto text = (*fields)[0].asString();
        const auto start = (*fields)[1].asDouble();
        const auto end = (*fields)[2].asDouble();
        if (!text || !start || !end) return std::nullopt;
        words.push_back(
            {std::string{*text}, std::chrono::duration<double>{*start}, std::chrono::duration<double>{*end}});
    }
    return words;
}

struct CacheFile {
    fs::path path;
    fs::file_time_type changed;
    std::uintmax_t size = 0;
};

std::vector<CacheFile> filesIn(const fs::path& folder) {
    std::vector<CacheFile> files;
    std::error_code failure;
    for (fs::directory_iterator entry{folder, failure}; !failure && entry != fs::directory_iterator{};
         entry.increment(failure)) {
        std::error_code ignored;
        if (entry->path().extension() != extension) continue;
        files.push_back({entry->path(), entry->last_write_time(ignored), entry->file_size(ignored)});
    }
    return files;
}

} // namespace

RecognitionCache::Recording::Recording(const fs::path& folder, const std::string& key, std::string_view path)
    : file_{folder / (key + std::string{extension})}, path_{VostelMCPKit::repairedUTF8(path)} {
    std::ifstream file{file_, std::ios::binary};
    for (std::string line; std::getline(file, line);) read(line);
}

/// Ignores a line that cannot be read. A crash can leave such a line.
void RecognitionCache::Recording::read(std::string_view line) {
    const auto value = VostelMCPKit::readJSON(line);
    if (!value) return;
    const auto samples = sizeIn(*value, "samples");
    const auto track = sizeIn(*value, "track");
    const auto tracks = sizeIn(*value, "tracks");
    if (samples && track && tracks) whole_ = {*samples, *track, *tracks};
    const auto start = sizeIn(*value, "start");
    const auto size = sizeIn(*value, "size");
    auto words = wordsIn(*value);
    if (start && size && words) utterances_[{*start, *size}] = *std::move(words);
}

const std::vector<TranscriptSegment>* RecognitionCache::Recording::find(const Utterance& utterance) const {
    const auto found = utterances_.find({utterance.start, utterance.samples.size()});
    return found == utterances_.end() ? nullptr : &found->second;
}

void RecognitionCache::Recording::add(const Utterance& utterance, const std::vector<TranscriptSegment>& words) {
    std::vector<MCPValue> list;
    for (const TranscriptSegment& word : words) {
        list.push_back(MCPValue::array({word.text, word.startTime.count(), word.endTime.count()}));
    }
    append(lineOf(MCPValue::object({{"start", utterance.start},
                                    {"size", utterance.samples.size()},
                                    {"words", MCPValue::array(std::move(list))}})));
    utterances_[{utterance.start, utterance.samples.size()}] = words;
}

Transcript RecognitionCache::Recording::transcript() const {
    Transcript transcript;
    for (const auto& [place, words] : utterances_) std::ranges::copy(words, std::back_inserter(transcript.segments));
    return transcript;
}

void RecognitionCache::Recording::finish(const Whole& whole) {
    append(lineOf(MCPValue::object({{"samples", whole.samples}, {"track", whole.track}, {"tracks", whole.tracks}})));
    whole_ = whole;
}

void RecognitionCache::Recording::append(const std::string& line) const {
    if (!posix::ensureFolder(file_.parent_path())) return;
    const posix::FileDescriptor file{
        ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)};
    struct stat status{};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return;
    // The line break ends a line that a crash may have cut.
    const std::string header = status.st_size == 0 ? lineOf(MCPValue::object({{"path", path_}})) : "\n";
    std::ignore = posix::writeAll(file, header + line, file_);
}

std::optional<std::string> RecognitionCache::keyOf(const std::string& path, std::string_view model) const {
    if (path.starts_with(temporary_.string() + "/")) return std::nullopt;
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
#ifdef __APPLE__
    const timespec changed = status.st_mtimespec;
#else
    const timespec changed = status.st_mtim;
#endif
    SHA256 digest;
    for (const std::string& part : {std::string{version}, std::to_string(status.st_dev), std::to_string(status.st_ino),
                                    std::to_string(status.st_size), std::to_string(changed.tv_sec),
                                    std::to_string(changed.tv_nsec), std::string{model}}) {
        digest.add(part + "\n");
    }
    const std::string key = digest.finish();
    return key.empty() ? std::nullopt : std::optional{key};
}

void RecognitionCache::prune(fs::file_time_type now) const {
    std::vector<CacheFile> files = filesIn(folder_);
    std::ranges::sort(files, std::ranges::greater{}, &CacheFile::changed);
    std::uintmax_t total = 0;
    for (const CacheFile& file : files) {
        total += file.size;
        std::error_code ignored;
        if (total > mostBytes || now - file.changed > longestAge) fs::remove(file.path, ignored);
    }
}

void RecognitionCache::forget(std::string_view path) const {
    const std::string header = lineOf(MCPValue::object({{"path", VostelMCPKit::repairedUTF8(path)}}));
    for (const CacheFile& file : filesIn(folder_)) {
        std::string line;
        std::ifstream stream{file.path, std::ios::binary};
        std::getline(stream, line);
        std::error_code ignored;
        if (line + "\n" == header) fs::remove(file.path, ignored);
    }
}

} // namespace vostel_companion
