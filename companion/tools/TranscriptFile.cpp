#include "companion/tools/TranscriptFile.h"

#include "kit/support/Unicode.h"
#include "posix/AtomicFile.h"
#include "posix/PrivateFolder.h"

#include <ctime>

namespace vostel_companion {

namespace {

/// In bytes. With date and id the name stays well below the 255 bytes that file systems allow.
constexpr std::size_t longestTitle = 120;

std::string localTime(Timestamp date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(date));
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H.%M", &local)};
}

/// Path separators, characters that other systems forbid in names, and control characters, which could make a name look
/// like another one.
bool isForbidden(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || std::string_view{"/\\:*?\"<>|"}.find(c) != std::string_view::npos;
}

std::string fileTitle(std::string_view title) {
    std::string name;
    for (const char c : VostelMCPKit::repairedUTF8(title)) name += isForbidden(c) ? '-' : c;
    name.resize(VostelMCPKit::validUTF8Prefix(std::string_view{name}.substr(0, longestTitle)));
    return std::string{VostelMCPKit::trimmed(name)};
}

std::string endingOfName(const VostelMCPKit::UUID& id) { return " " + id.text().substr(0, 8) + ".txt"; }

} // namespace

std::string transcriptFileName(Timestamp date, std::string_view title, const VostelMCPKit::UUID& id) {
    return localTime(date) + " " + fileTitle(title) + endingOfName(id);
}

std::string titleOf(const TranscriptSource& source) {
    const std::string_view value = source.value;
    if (source.kind == TranscriptSource::Kind::file) return std::string{value.substr(value.rfind('/') + 1)};
    const std::size_t scheme = value.find("://");
    return std::string{scheme == std::string_view::npos ? value : value.substr(scheme + 3)};
}

std::expected<std::string, posix::SystemError> saveTranscriptFile(const std::filesystem::path& folder,
                                                                  const std::string& name, std::string_view text) {
    const std::filesystem::path path = folder / name;
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) return path.string();
    if (auto made = posix::ensureFolder(folder); !made) return std::unexpected(std::move(made.error()));
    if (auto written = posix::writeFileAtomically(path, std::string{text} + "\n"); !written) {
        return std::unexpected(std::move(written.error()));
    }
    return path.string();
}

std::expected<void, posix::SystemError> deleteTranscriptFile(const std::filesystem::path& folder,
                                                             const VostelMCPKit::UUID& id) {
    // Only the ending is compared. The rest of the name depends on the time zone when the file was saved.
    const std::string ending = endingOfName(id);
    std::error_code failure;
    for (std::filesystem::directory_iterator entry{folder, failure};
         !failure && entry != std::filesystem::directory_iterator{}; entry.increment(failure)) {
        if (!entry->path().filename().string().ends_with(ending)) continue;
        std::error_code failed;
        std::filesystem::remove(entry->path(), failed);
        if (failed) return posix::systemError("delete", entry->path(), failed.value());
    }
    return {};
}

} // namespace vostel_companion
