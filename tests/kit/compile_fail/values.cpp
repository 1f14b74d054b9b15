// JSON values and records.
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPRequestID.h"
#include "kit/jsonrpc/MCPValue.h"

#include <tuple>

namespace VostelMCPKit {

MCPValue makeValue();
MCPValue::Member makeMember();
std::optional<MCPValue> makeParams();

// A view of a temporary would point into freed memory.
void viewsOfTemporaries(const MCPValue& value) {
    std::ignore = makeValue().asString();                                    // error: deleted
    std::ignore = makeValue().asArray();                                     // error: deleted
    std::ignore = makeValue().asObject();                                    // error: deleted
    std::ignore = makeValue()["key"];                                        // error: deleted
    std::ignore = makeValue().find("key");                                   // error: deleted
    std::ignore = makeValue().string("key");                                 // error: deleted
    for (const auto& member : *makeValue().asObject()) std::ignore = member; // error: deleted
    std::ignore = orNull(makeParams());                                      // error: deleted
    std::ignore = orNull(value);                                             // error: deleted
    std::ignore = KeyReader{makeValue()};                                    // error: deleted

    std::ignore = makeMember().key();             // error: deleted
    std::ignore = makeValue().elements().begin(); // error: deleted
    std::ignore = makeValue().members().end();    // error: deleted
    std::ignore = makeValue().members()[0].key(); // error: deleted
    std::ignore = &makeValue().elements()[0];     // error: address of

    std::ignore = KeyReader{value};
    std::ignore = value.asString();
    const MCPValue& copied = makeValue().elements()[0];
    std::ignore = copied.asString();
    std::ignore = makeValue().asInt();
    std::ignore = makeValue().integer("key");
    for (const MCPValue::Member& member : makeValue().members()) std::ignore = member.key();
    for (const MCPValue& element : readJSON("[]")->elements()) std::ignore = element;
}

// Conversions that could change the value are refused.
void exactTypes(const char* pointer, std::size_t size, void* memory) {
    std::ignore = MCPRequestID{true};    // error: no matching
    std::ignore = MCPRequestID{'7'};     // error: no matching
    std::ignore = MCPRequestID{size};    // error: no matching
    std::ignore = MCPRequestID{7U};      // error: no matching
    std::ignore = MCPRequestID{7.0};     // error: no matching
    std::ignore = MCPRequestID{pointer}; // error: no matching
    std::ignore = MCPRequestID{nullptr}; // error: no matching
    std::ignore = MCPRequestID{7};
    std::ignore = MCPRequestID{std::int64_t{7}};
    std::ignore = MCPRequestID{"7"};
    std::ignore = MCPRequestID{std::string{pointer}};

    std::ignore = MCPValue::Member{5, 6};       // error: no matching
    std::ignore = MCPValue::Member{nullptr, 6}; // error: deleted|no matching
    std::ignore = MCPValue::Member{"5", 6};

    std::ignore = MCPValue{'7'};    // error: no matching
    std::ignore = MCPValue{u8'7'};  // error: no matching
    std::ignore = MCPValue{memory}; // error: no matching
    std::ignore = MCPValue{size};
    std::ignore = MCPValue{pointer};
}

// Only the reader and the writer may pair a value with a text.
void privateParts(const MCPValue& value) {
    std::ignore = MCPValue::withCachedText(value, "[\n]"); // error: no member|not a member
    std::ignore = MCPValue::takingObject({});              // error: private
}

} // namespace VostelMCPKit
