#include "bench/workload/Workload.h"

#include <array>
#include <cstdint>

namespace vostel_bench::Workload {

namespace {

/// Words of several scripts and with characters that JSON escapes, as speech recognisers give them.
constexpr std::array<std::string_view, 16> words = {
    " the",  " transcript", " of", " a",  " conversation", R"( \"quoted\")", " привет", " мир",
    " café", " naïve",      " 42", " in", " which",        " people",        " 会議",   " speak,",
};

/// Fixed and poor on purpose: the same words on every machine and in both processes.
class WordPicker final {
public:
    std::string_view next() {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return words[state_ >> 60U];
    }

private:
    std::uint64_t state_ = 1;
};

/// Hundredths as the shortest decimal number.
void appendSeconds(std::string& out, std::uint64_t hundredths) {
    out += std::to_string(hundredths / 100);
    const std::uint64_t rest = hundredths % 100;
    if (rest == 0) return;
    out += '.';
    out += static_cast<char>('0' + rest / 10);
    if (rest % 10 != 0) out += static_cast<char>('0' + rest % 10);
}

Result assemble(const std::string& contentText, const std::string& structuredContent) {
    Result made;
    const std::string text = "\"text\":\"" + contentText + '"';
    made.json = "{\"content\":[{" + text + R"(,"type":"text"}],"isError":false)";
    made.parts = {text, R"("type":"text")", R"("isError":false)"};
    if (!structuredContent.empty()) {
        const std::string structured = "\"structuredContent\":" + structuredContent;
        made.json += ',' + structured;
        made.parts.push_back(structured);
    }
    made.json += '}';
    return made;
}

Result shortText(std::size_t bytes) {
    const std::size_t frame = assemble("", "").json.size();
    return assemble(std::string(bytes - frame, 'x'), "");
}

Result transcript(std::size_t bytes) {
    WordPicker picker;
    std::string text;
    std::string segments;
    std::uint64_t time = 0;
    // The text travels twice, once for the model and once in the structured content.
    while (2 * text.size() + segments.size() < bytes) {
        const std::string_view word = picker.next();
        text += word;
        segments += segments.empty() ? "{\"endTime\":" : ",{\"endTime\":";
        appendSeconds(segments, time + 8 * word.size());
        segments += ",\"startTime\":";
        appendSeconds(segments, time);
        segments += ",\"text\":\"";
        segments += word;
        segments += "\"}";
        time += 9 * word.size();
    }
    return assemble(text, "{\"segments\":[" + segments + "],\"text\":\"" + text + "\"}");
}

} // namespace

Result result(std::size_t bytes) { return bytes < 1000 ? shortText(bytes) : transcript(bytes); }

std::string largeArgumentsJSON() {
    constexpr std::size_t bytes = 10'000'000;
    WordPicker picker;
    std::string json = R"({"rules":[)";
    for (std::size_t index = 0; json.size() < bytes; ++index) {
        if (index != 0) json += ',';
        json += R"({"replacement":")";
        json += picker.next();
        json += picker.next();
        json += R"(","word":"word )" + std::to_string(index) + "\"}";
    }
    json += "]}";
    return json;
}

std::string progressDigits(std::size_t index, std::size_t count) {
    // From 0.1 up, so that the first digit is not zero, and with a last 5, so that the last digit is not zero either.
    const std::size_t millionths = 100'000 + index * 800'000 / count;
    return std::to_string(millionths) + '5';
}

} // namespace vostel_bench::Workload
