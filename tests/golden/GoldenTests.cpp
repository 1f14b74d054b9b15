// Reads the files of this folder. Writes those that are in our writer's form, and compares every byte. README.md
// explains the tables.
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/support/match.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFraming.h"
#include "tests/support/Files.h"
#include "tests/support/JSON.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::readFile;
using vostel_tests::written;

std::filesystem::path folder() { return std::filesystem::path{VOSTEL_KIT_TESTS}.parent_path() / "golden"; }

/// The rows of a table of this folder.
std::vector<MCPValue> rows(const char* table) {
    const MCPValue document = json(readFile(folder() / table));
    const auto elements = document.elements();
    EXPECT_FALSE(elements.empty());
    return {elements.begin(), elements.end()};
}

std::string text(const MCPValue& row, const char* key) { return std::string{row.string(key).value_or("")}; }

/// The content of the file that a row names.
std::string content(const MCPValue& row, const char* key = "file") { return readFile(folder() / text(row, key)); }

const char* refusal(const DecodingError& error) {
    return match(
        error.is, [](const DecodingError::NotJSON&) { return "not-json"; },
        [](const DecodingError::KeyNotFound&) { return "missing-key"; },
        [](const DecodingError::TypeMismatch&) { return "wrong-type"; },
        [](const DecodingError::UnknownValue&) { return "unknown-kind"; },
        // The document contains a number beyond the range of double.
        [&](const DecodingError::DataCorrupted&) { return error.path.empty() ? "not-json" : "not-exactly-one"; });
}

/// The content of a stream of bytes on the socket.
struct Stream {
    std::vector<MCPValue> records;
    std::string end = "complete";
    /// The records in frames of our writer.
    std::string written;
    /// The application's answer to the frame that ended the stream.
    std::optional<MCPValue> answer;
};

template <class Frame>
void take(Stream& stream, const Frame& frame) {
    stream.records.push_back(encode(frame));
    const auto bytes = MCPWireFraming::encode(frame);
    ASSERT_TRUE(bytes.has_value());
    stream.written += bytes->text();
}

bool takeInbound(Stream& stream, std::string_view payload) {
    const auto frame = readInboundFrame(payload);
    if (frame) return take(stream, *frame), true;
    stream.end = match(
        frame.error().is, [](const DecodingError& error) { return refusal(error); },
        [&](const MCPWireResponse& answer) {
            stream.answer = encode(MCPWireOutboundFrame{answer});
            return "version-mismatch";
        });
    return false;
}

bool takeOutbound(Stream& stream, std::string_view payload) {
    const auto frame = readOutboundFrame(payload);
    if (frame) return take(stream, *frame), true;
    stream.end = refusal(frame.error());
    return false;
}

Stream read(std::string_view bytes, bool toApplication) {
    Stream stream;
    while (true) {
        const auto cut = MCPWireFraming::extractFrame(bytes);
        if (!cut) {
            stream.end = "frame-too-large";
            return stream;
        }
        if (!*cut) {
            if (!bytes.empty()) stream.end = "incomplete";
            return stream;
        }
        const std::string_view payload = (*cut)->payload;
        if (!(toApplication ? takeInbound(stream, payload) : takeOutbound(stream, payload))) return stream;
        bytes = (*cut)->remainder;
    }
}

TEST(Golden, each_stream_of_frames_has_the_meaning_in_the_table) {
    for (const MCPValue& row : rows("frames.json")) {
        SCOPED_TRACE(text(row, "file"));
        const std::string bytes = content(row);
        const Stream stream = read(bytes, text(row, "direction") == "to-application");
        EXPECT_EQ(MCPValue::array(stream.records), *row["records"]);
        EXPECT_EQ(stream.end, text(row, "end"));
        const MCPValue* answer = row["answer"];
        EXPECT_EQ(stream.answer.has_value(), answer != nullptr);
        if (stream.answer && answer != nullptr) {
            EXPECT_EQ(*stream.answer, *answer);
        }
        EXPECT_EQ(stream.written == bytes, *row["written"] == MCPValue{true});
    }
}

/// What the server does with a line.
struct Handled {
    std::string kind;
    std::string does = "nothing";
    std::string reply;
};

Handled handled(std::string_view line) {
    Handled result;
    const MCPIncoming incoming = MCPDispatchLogic::classify(line);
    result.kind = match(
        incoming.is, [](const MCPRequest&) { return "request"; }, [](const MCPNotification&) { return "notification"; },
        [](const MCPIncoming::Batch&) { return "batch"; }, [](const MCPIncoming::Malformed&) { return "malformed"; },
        [](const MCPIncoming::Empty&) { return "empty"; });
    const auto reply = [&](const auto& message) {
        result.does = "reply";
        result.reply = written(message) + "\n";
    };
    match(
        MCPDispatchLogic::route(incoming, true).is, [&](const MCPHelperRoute::Reply& route) { reply(route.response); },
        [&](const MCPHelperRoute::ReplyWithoutID& route) { reply(MCPDispatchLogic::frameWithoutID(route.error)); },
        [&](const MCPHelperRoute::ForwardToApplication&) { result.does = "forward"; },
        [](const MCPHelperRoute::Ignore&) {});
    return result;
}

TEST(Golden, each_line_from_the_client_is_handled_as_in_the_table) {
    for (const MCPValue& row : rows("lines.json")) {
        if (text(row, "direction") != "from-client") continue;
        SCOPED_TRACE(text(row, "file"));
        const Handled line = handled(content(row));
        EXPECT_EQ(line.kind, text(row, "kind"));
        EXPECT_EQ(line.does, text(row, "does"));
        EXPECT_EQ(line.reply, row["reply"] == nullptr ? "" : content(row, "reply"));
    }
}

TEST(Golden, each_line_to_the_client_is_written_as_it_was_read) {
    for (const MCPValue& row : rows("lines.json")) {
        if (text(row, "direction") != "to-client") continue;
        SCOPED_TRACE(text(row, "file"));
        const std::string line = content(row);
        const MCPValue message = json(line);
        EXPECT_EQ(written(message) + "\n", line);
        const std::string kind = text(row, "kind");
        if (kind == "response") {
            EXPECT_EQ(written(decode<MCPResponse>(message).value()) + "\n", line);
        } else if (kind == "notification") {
            EXPECT_EQ(written(decode<MCPNotification>(message).value()) + "\n", line);
        } else {
            EXPECT_EQ(kind, "error-without-id");
            EXPECT_EQ(*message["id"], MCPValue{nullptr});
        }
    }
}

TEST(Golden, every_file_is_in_a_table) {
    std::set<std::string> named;
    for (const char* table : {"frames.json", "lines.json"}) {
        for (const MCPValue& row : rows(table)) named.insert(text(row, "file"));
    }
    std::set<std::string> found;
    for (const char* kind : {"frames", "lines"}) {
        for (const auto& file : std::filesystem::directory_iterator{folder() / kind}) {
            found.insert(kind + ("/" + file.path().filename().string()));
        }
    }
    EXPECT_EQ(named, found);
}

} // namespace
} // namespace VostelMCPKit
