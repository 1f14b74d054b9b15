#include "bench/workload/Workload.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace vostel_bench::Workload {

namespace {

/// Words in several scripts, and one with characters that JSON escapes.
constexpr std::array<std::string_view, 16> words = {
    " the",  " transcript", " of", " a",  " conversation", R"( \"quoted\")", " привет", " мир",
    " café", " naïve",      " 42", " in", " which",        " people",        " 会議",   " speak,",
};

/// A simple random generator with a fixed seed: it returns the same words on every machine and in both processes.
class WordPicker final {
public:
    std::string_view next() {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return words[state_ >> 60U];
    }

private:
    std::uint64_t state_ = 1;
};

/// Appends hundredths of a second as the shortest decimal number.
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
    made.sent = made.json;
    return made;
}

Result shortText(std::size_t bytes) {
    const std::size_t frame = assemble("", "").json.size();
    return assemble(std::string(bytes - frame, 'x'), "");
}

/// If `isSorted` is false, the keys of the segments are sent in another order.
Result transcript(std::size_t bytes, bool isSorted) {
    WordPicker picker;
    std::string text;
    std::string segments;
    std::string unsorted;
    std::uint64_t time = 0;
    // The text is sent twice, once for the model and once in the structured content.
    while (2 * text.size() + segments.size() < bytes) {
        const std::string_view word = picker.next();
        text += word;
        std::string start;
        std::string end;
        appendSeconds(start, time);
        appendSeconds(end, time + 8 * word.size());
        const std::string spoken = "\"text\":\"" + std::string{word} + '"';
        const char* separator = segments.empty() ? "" : ",";
        segments += separator;
        segments += "{\"endTime\":" + end + ",\"startTime\":" + start + ',' + spoken + '}';
        if (!isSorted) {
            unsorted += separator;
            unsorted += '{' + spoken + ",\"startTime\":" + start + ",\"endTime\":" + end + '}';
        }
        time += 9 * word.size();
    }
    const auto structured = [&](const std::string& list) {
        return "{\"segments\":[" + list + "],\"text\":\"" + text + "\"}";
    };
    Result made = assemble(text, structured(segments));
    if (!isSorted) {
        made.sent = assemble(text, structured(unsorted)).json;
        made.parts.pop_back(); // Segments in another order do not contain this part.
    }
    return made;
}

std::string repeated(std::string_view piece, std::size_t bytes) {
    std::string made;
    made.reserve(bytes + piece.size());
    while (made.size() < bytes) made += piece;
    return made;
}

/// The members are sent in an order that differs from that of the server's writer.
Result unsortedOf(const std::string& structuredContent) {
    const std::string content = R"("content":[])";
    const std::string structured = "\"structuredContent\":" + structuredContent;
    return {.json = '{' + content + ',' + structured + '}',
            .sent = '{' + structured + ',' + content + '}',
            .parts = {content, structured}};
}

} // namespace

const Tool* toolNamed(std::string_view name) {
    for (const std::span<const Tool> list : {std::span<const Tool>{ofSizes}, std::span<const Tool>{others}}) {
        const auto found = std::ranges::find(list, name, &Tool::name);
        if (found != list.end()) return &*found;
    }
    return nullptr;
}

Result result(const Tool& tool) {
    const std::size_t bytes = tool.resultBytes;
    switch (tool.shape) {
    case Shape::emptyArrays:
        return unsortedOf('[' + repeated("[],", bytes) + "[]]");
    case Shape::zeros:
        return unsortedOf('[' + repeated("0,", bytes) + "0]");
    case Shape::nestedArrays:
        return unsortedOf(repeated("[", bytes / 2) + repeated("]", bytes / 2));
    case Shape::transcript:
    case Shape::unsortedTranscript:
        break;
    }
    return bytes < 1000 ? shortText(bytes) : transcript(bytes, tool.shape == Shape::transcript);
}

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
    // From 0.1 up, so that the first digit is not zero. The last digit is 5, so that it is not zero either.
    const std::size_t millionths = 100'000 + index * 800'000 / count;
    return std::to_string(millionths) + '5';
}

} // namespace vostel_bench::Workload
