#include "kit/wire/MCPWireFrames.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::written;

constexpr const char* badWireResponse = "Ответ провода обязан нести либо result, либо error, но не оба и не ни одного";

/// A record and its exact text, in both directions.
template <class Record>
struct Row {
    const char* when;
    Record record;
    const char* text;
};

template <class Record>
void expectBothWays(std::initializer_list<Row<Record>> rows) {
    vostel_tests::forEachRow(rows, [&](const auto& row) {
        EXPECT_EQ(written(row.record), row.text);
        EXPECT_EQ(decoded<Record>(row.text), row.record);
    });
}

/// A text that is not the record, and the expected error.
struct BadRow {
    const char* when;
    const char* text;
    DecodingError expected;
};

template <class Record>
void expectRefused(std::initializer_list<BadRow> rows) {
    for (const BadRow& row : rows) {
        SCOPED_TRACE(row.when);
        const auto record = decoded<Record>(row.text);
        ASSERT_FALSE(record);
        EXPECT_EQ(record.error(), row.expected) << record.error().description();
    }
}

using Missing = DecodingError::KeyNotFound;
using Mismatch = DecodingError::TypeMismatch;
using Corrupted = DecodingError::DataCorrupted;
const DecodingError unknownKind{DecodingError::UnknownValue{}, "kind"};

TEST(MCPClientInfo, leaves_out_a_version_that_is_absent) {
    expectBothWays<MCPClientInfo>({
        {"name and version", {"c", "1.0"}, R"({"name":"c","version":"1.0"})"},
        {"name alone", {"c", {}}, R"({"name":"c"})"},
        {"empty", {"", ""}, R"({"name":"","version":""})"},
    });
    EXPECT_EQ(decoded<MCPClientInfo>(R"({"name":"c","version":null,"title":1})"), (MCPClientInfo{"c", {}}));
    expectRefused<MCPClientInfo>({
        {"no name", R"({"version":"1"})", {Missing{}, "name"}},
        {"a null name", R"({"name":null})", {Mismatch{"a string"}, "name"}},
        {"a number as version", R"({"name":"c","version":1})", {Mismatch{"a string"}, "version"}},
        {"a string", R"("c")", {Mismatch{"an object"}}},
    });
}

TEST(MCPWireRequest, carries_the_call) {
    expectBothWays<MCPWireRequest>({
        {"arguments",
         {4, {"c", "1"}, "transcribe_file", MCPValue::object({{"path", "/a"}}), "0A"},
         R"({"arguments":{"path":"/a"},"clientInfo":{"name":"c","version":"1"},"protocolVersion":4,"requestID":"0A",)"
         R"("tool":"transcribe_file"})"},
        {"null arguments",
         {-1, {"", {}}, "", nullptr, ""},
         R"({"arguments":null,"clientInfo":{"name":""},"protocolVersion":-1,"requestID":"","tool":""})"},
    });
    expectRefused<MCPWireRequest>({
        {"no version",
         R"({"clientInfo":{"name":"c"},"tool":"t","arguments":{},"requestID":"r"})",
         {Missing{}, "protocolVersion"}},
        {"a fractional version",
         R"({"protocolVersion":4.5,"clientInfo":{"name":"c"},"tool":"t","arguments":{},"requestID":"r"})",
         {Mismatch{"an integer"}, "protocolVersion"}},
        {"no client", R"({"protocolVersion":4,"tool":"t","arguments":{},"requestID":"r"})", {Missing{}, "clientInfo"}},
        {"a client that is null",
         R"({"protocolVersion":4,"clientInfo":null,"tool":"t","arguments":{},"requestID":"r"})",
         {Mismatch{"an object"}, "clientInfo"}},
        {"no tool",
         R"({"protocolVersion":4,"clientInfo":{"name":"c"},"arguments":{},"requestID":"r"})",
         {Missing{}, "tool"}},
        {"no arguments",
         R"({"protocolVersion":4,"clientInfo":{"name":"c"},"tool":"t","requestID":"r"})",
         {Missing{}, "arguments"}},
        {"a number as id",
         R"({"protocolVersion":4,"clientInfo":{"name":"c"},"tool":"t","arguments":{},"requestID":7})",
         {Mismatch{"a string"}, "requestID"}},
    });
}

TEST(MCPWireCancellation, names_the_call) {
    expectBothWays<MCPWireCancellation>({{"a call", {4, "0A"}, R"({"protocolVersion":4,"requestID":"0A"})"}});
    expectRefused<MCPWireCancellation>({
        {"no version", R"({"requestID":"r"})", {Missing{}, "protocolVersion"}},
        {"no id", R"({"protocolVersion":4})", {Missing{}, "requestID"}},
        {"a string as version",
         R"({"protocolVersion":"4","requestID":"r"})",
         {Mismatch{"an integer"}, "protocolVersion"}},
    });
}

TEST(MCPWireProgress, leaves_out_a_message_that_is_absent) {
    expectBothWays<MCPWireProgress>({
        {"a message", {"r", 0.25, "half"}, R"({"fraction":0.25,"message":"half","requestID":"r"})"},
        {"no message", {"r", 0.5, {}}, R"({"fraction":0.5,"requestID":"r"})"},
        {"the end, without a fraction", {"r", 1.0, {}}, R"({"fraction":1,"requestID":"r"})"},
        {"the start", {"r", 0.0, ""}, R"({"fraction":0,"message":"","requestID":"r"})"},
    });
    EXPECT_EQ(decoded<MCPWireProgress>(R"({"requestID":"r","fraction":1,"message":null,"x":0})"),
              (MCPWireProgress{"r", 1.0, {}}));
    expectRefused<MCPWireProgress>({
        {"no id", R"({"fraction":1})", {Missing{}, "requestID"}},
        {"no fraction", R"({"requestID":"r"})", {Missing{}, "fraction"}},
        {"a string as fraction", R"({"requestID":"r","fraction":"1"})", {Mismatch{"a number"}, "fraction"}},
        {"a number as message", R"({"requestID":"r","fraction":1,"message":1})", {Mismatch{"a string"}, "message"}},
    });
}

TEST(MCPWireResponse, carries_either_a_result_or_an_error) {
    const DecodingError corrupted{Corrupted{badWireResponse}, "result"};
    expectBothWays<MCPWireResponse>({
        {"a result", {"r", MCPValue::object({{"isError", false}})}, R"({"requestID":"r","result":{"isError":false}})"},
        {"a null result", {"r", MCPValue{}}, R"({"requestID":"r","result":null})"},
        {"a version mismatch",
         {"r", MCPWireError{MCPWireError::VersionMismatch{4, 5}}},
         R"({"error":{"app":5,"helper":4,"kind":"versionMismatch"},"requestID":"r"})"},
        {"a frame that is too large",
         {"r", MCPWireError{MCPWireError::FrameTooLarge{70'000'000, 67'108'864}}},
         R"({"error":{"declared":70000000,"kind":"frameTooLarge","limit":67108864},"requestID":"r"})"},
    });
    expectRefused<MCPWireResponse>({
        {"both", R"({"requestID":"r","result":1,"error":{"kind":"versionMismatch","helper":4,"app":5}})", corrupted},
        {"both, null", R"({"requestID":"r","result":null,"error":null})", corrupted},
        {"neither", R"({"requestID":"r"})", corrupted},
        {"no id", R"({"result":1})", {Missing{}, "requestID"}},
        {"a null error", R"({"requestID":"r","error":null})", {Mismatch{"an object"}, "error"}},
        {"an error of unknown kind",
         R"({"requestID":"r","error":{"kind":"x"}})",
         {DecodingError::UnknownValue{}, "error.kind"}},
    });
}

TEST(MCPWireError, reads_the_keys_of_its_kind_and_no_others) {
    expectBothWays<MCPWireError>({
        {"versions", {MCPWireError::VersionMismatch{4, -1}}, R"({"app":-1,"helper":4,"kind":"versionMismatch"})"},
        {"sizes", {MCPWireError::FrameTooLarge{2, 1}}, R"({"declared":2,"kind":"frameTooLarge","limit":1})"},
    });
    EXPECT_EQ(decoded<MCPWireError>(R"({"kind":"versionMismatch","helper":4,"app":5,"declared":"x","limit":null})"),
              (MCPWireError{MCPWireError::VersionMismatch{4, 5}}));
    expectRefused<MCPWireError>({
        {"no kind", R"({"helper":4,"app":5})", {Missing{}, "kind"}},
        {"another letter case", R"({"kind":"VersionMismatch","helper":4,"app":5})", unknownKind},
        {"the keys of the other kind", R"({"kind":"frameTooLarge","helper":4,"app":5})", {Missing{}, "declared"}},
        {"a fraction", R"({"kind":"versionMismatch","helper":4,"app":5.5})", {Mismatch{"an integer"}, "app"}},
    });
}

TEST(MCPWireError, each_kind_has_its_sentence) {
    struct Described {
        const char* when;
        MCPWireError error;
        const char* expected;
    };
    const Described rows[] = {
        {"a large frame",
         {MCPWireError::FrameTooLarge{70'000'000, 67'108'864}},
         "Vostel MCP frame of 70000000 bytes exceeds the 67108864-byte limit and was rejected."},
        {"the largest frame",
         {MCPWireError::FrameTooLarge{4'294'967'295, 67'108'864}},
         "Vostel MCP frame of 4294967295 bytes exceeds the 67108864-byte limit and was rejected."},
        {"another version",
         {MCPWireError::VersionMismatch{4, 5}},
         "Vostel MCP wire protocol mismatch (helper v4, app v5). Restart the Vostel MCP server \xE2\x80\x94 quit and "
         "relaunch your AI client so it spawns vostel-mcp again."},
    };
    for (const Described& row : rows) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(row.error.description(), row.expected);
    }
}

TEST(MCPWireInboundFrame, names_the_kind_of_its_payload) {
    expectBothWays<MCPWireInboundFrame>({
        {"a request",
         {MCPWireRequest{4, {"c", {}}, "t", MCPValue::object({}), "R"}},
         R"({"kind":"request","payload":{"arguments":{},"clientInfo":{"name":"c"},"protocolVersion":4,)"
         R"("requestID":"R","tool":"t"}})"},
        {"a cancellation",
         {MCPWireCancellation{4, "R"}},
         R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":"R"}})"},
    });
    EXPECT_EQ(decoded<MCPWireInboundFrame>(
                  R"({"x":1,"payload":{"requestID":"R","protocolVersion":4},"kind":"cancellation"})"),
              (MCPWireInboundFrame{MCPWireCancellation{4, "R"}}));
    expectRefused<MCPWireInboundFrame>({
        {"a kind of the other direction", R"({"kind":"progress","payload":{"requestID":"R","fraction":1}})",
         unknownKind},
        {"no kind", R"({"payload":{}})", {Missing{}, "kind"}},
        {"no payload", R"({"kind":"request"})", {Missing{}, "payload"}},
        {"the payload of another kind",
         R"({"kind":"request","payload":{"protocolVersion":4,"requestID":"R"}})",
         {Missing{}, "payload.clientInfo"}},
    });
}

TEST(MCPWireOutboundFrame, names_the_kind_of_its_payload) {
    expectBothWays<MCPWireOutboundFrame>({
        {"progress",
         {MCPWireProgress{"R", 0.5, {}}},
         R"({"kind":"progress","payload":{"fraction":0.5,"requestID":"R"}})"},
        {"a response",
         {MCPWireResponse{"R", MCPValue::array({})}},
         R"({"kind":"response","payload":{"requestID":"R","result":[]}})"},
        {"a refusal",
         {MCPWireResponse{"R", MCPWireError{MCPWireError::VersionMismatch{4, 5}}}},
         R"({"kind":"response","payload":{"error":{"app":5,"helper":4,"kind":"versionMismatch"},"requestID":"R"}})"},
    });
    expectRefused<MCPWireOutboundFrame>({
        {"a kind of the other direction", R"({"kind":"request","payload":{"requestID":"R","result":1}})", unknownKind},
        {"a null kind", R"({"kind":null,"payload":{}})", {Mismatch{"a string"}, "kind"}},
        {"an unknown kind before a bad payload", R"({"kind":"","payload":7})", unknownKind},
        {"a payload that is not an object", R"({"kind":"response","payload":[]})", {Mismatch{"an object"}, "payload"}},
        {"both outcomes",
         R"({"kind":"response","payload":{"requestID":"R","result":1,"error":1}})",
         {Corrupted{badWireResponse}, "payload.result"}},
        {"not an object", "7", {Mismatch{"an object"}}},
    });
}

TEST(MCPWireFrames, compare_by_every_field) {
    const MCPWireRequest request{4, {"c", {}}, "t", 1, "r"};
    EXPECT_EQ(request, MCPWireRequest{request});
    for (const MCPWireRequest& other :
         {MCPWireRequest{5, {"c", {}}, "t", 1, "r"}, MCPWireRequest{4, {"d", {}}, "t", 1, "r"},
          MCPWireRequest{4, {"c", "1"}, "t", 1, "r"}, MCPWireRequest{4, {"c", {}}, "u", 1, "r"},
          MCPWireRequest{4, {"c", {}}, "t", 2, "r"}, MCPWireRequest{4, {"c", {}}, "t", 1, "s"}}) {
        EXPECT_NE(request, other);
    }
    const MCPWireProgress progress{"r", 0.5, "m"};
    for (const MCPWireProgress& other :
         {MCPWireProgress{"s", 0.5, "m"}, MCPWireProgress{"r", 0.6, "m"}, MCPWireProgress{"r", 0.5, {}}}) {
        EXPECT_NE(progress, other);
    }
    EXPECT_NE((MCPWireCancellation{4, "r"}), (MCPWireCancellation{4, "s"}));
    EXPECT_NE((MCPWireCancellation{4, "r"}), (MCPWireCancellation{5, "r"}));
    EXPECT_NE((MCPWireResponse{"r", 1}), (MCPWireResponse{"r", 2}));
    EXPECT_NE((MCPWireResponse{"r", 1}), (MCPWireResponse{"r", MCPWireError{MCPWireError::VersionMismatch{4, 5}}}));
    EXPECT_NE((MCPWireError{MCPWireError::VersionMismatch{4, 5}}), (MCPWireError{MCPWireError::FrameTooLarge{4, 5}}));
    EXPECT_NE((MCPWireInboundFrame{request}), (MCPWireInboundFrame{MCPWireCancellation{4, "r"}}));
}

} // namespace
} // namespace VostelMCPKit
