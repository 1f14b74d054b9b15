// The rules for frames, links, results and configurations.
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/connect/MCPConnectLogic.h"
#include "kit/support/Unicode.h"
#include "kit/tools/MCPOutputLimit.h"
#include "kit/tools/MCPSchema.h"
#include "kit/tools/MCPURLPolicy.h"
#include "kit/wire/MCPProgressReports.h"
#include "kit/wire/MCPWireAnswer.h"
#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"

#include <tuple>

namespace VostelMCPKit {

std::string receive();
Bytes makeBytes();
MCPWireFrameBuffer makeBuffer();
MCPProgressReports makeReports();

// The payload and the remainder would be views of freed memory.
void viewsOfTemporaries(const Bytes& bytes) {
    std::ignore = MCPWireFraming::extractFrame(receive());                          // error: deleted
    std::ignore = MCPWireFraming::extractFrame(std::string{"\0\0\0\0", 4});         // error: deleted
    std::ignore = MCPWireFraming::extractFrame(static_cast<const std::string>("")); // error: deleted

    std::ignore = makeBytes().text();                                // error: deleted
    std::ignore = makeBytes().span();                                // error: deleted
    std::ignore = makeBytes().data();                                // error: deleted
    std::ignore = makeBytes().room(1);                               // error: qualifiers|not viable|passing
    std::ignore = MCPWireFraming::extractFrame(makeBytes().text());  // error: deleted
    std::ignore = MCPWireFraming::encode(std::string_view{}).text(); // error: deleted
    std::ignore = makeBuffer().room(1);                              // error: qualifiers|not viable|passing
    std::ignore = makeBuffer().next();                               // error: qualifiers|not viable|passing

    std::ignore = canonicalProgress(receive()); // error: deleted
    std::ignore = canonicalResult(receive());   // error: deleted
    std::ignore = trimmed(receive());           // error: deleted
    std::ignore = makeReports().requestID();    // error: deleted

    std::string received = receive();
    MCPWireFrameBuffer buffer = makeBuffer();
    std::ignore = buffer.next();
    std::ignore = MCPWireFraming::extractFrame(received);
    std::ignore = MCPWireFraming::extractFrame(bytes.text());
    std::ignore = MCPWireFraming::extractFrame("HTTP");
    std::ignore = canonicalProgress(received);
    std::ignore = canonicalResult(bytes.text());
    std::ignore = trimmed(std::string_view{received}.substr(1));
}

// No link can be evaluated without a resolver, and calling an empty function would throw.
void resolvers(const MCPURLPolicy::Resolver& resolver) {
    std::ignore = MCPURLPolicy::evaluate("https://youtu.be/a", nullptr); // error: deleted
    std::ignore = MCPURLPolicy::evaluate("https://youtu.be/a", resolver);
    std::ignore = MCPURLPolicy::evaluate("https://youtu.be/a");
}

// Nobody would notice if two adjacent arguments of one type were swapped.
void namedArguments(std::chrono::seconds time, std::int64_t version) {
    std::ignore = MCPWireVersionLogic::validate(version, 4);                // error: could not convert|too many
    std::ignore = MCPConnectLogic::shouldContinuePolling(time, time);       // error: could not convert|too many
    std::ignore = MCPOutputLimit::truncationNotice(1, 2, std::nullopt);     // error: could not convert|too many
    std::ignore = MCPClientConfigLogic::parseCodexTable("vostel", "a = 1"); // error: could not convert|too many
    std::ignore = MCPOutputLimit::shape(receive(), receive());              // error: could not convert|too many
    std::ignore = MCPSchema::property("Absolute path.", "string"); // error: cannot convert|no viable conversion

    std::ignore = MCPWireVersionLogic::validate({.requestVersion = version, .knownVersion = 4});
    std::ignore = MCPConnectLogic::shouldContinuePolling({.elapsed = time, .ceiling = time});
    std::ignore = MCPOutputLimit::truncationNotice({.shown = 1, .full = 2}, std::nullopt);
    std::ignore = MCPOutputLimit::shape({.text = receive(), .path = receive()});
    std::ignore = MCPSchema::property(MCPSchema::Type::string, "Absolute path.");
    std::ignore = MCPClientConfigLogic::parseCodexTable({.tableName = "vostel", .text = "a = 1"});
}

// A null pointer is neither a connection nor a tool.
void serving(MCPToolOutcome (*run)(const MCPWireRequest&), std::ptrdiff_t (*receive)(char*, std::size_t)) {
    std::ignore = MCPWireAnswer::serve(nullptr, run);     // error: no matching
    std::ignore = MCPWireAnswer::serve(receive, nullptr); // error: no matching
    std::ignore = MCPWireAnswer::serve(receive, run);
}

// Each direction has its own records, and only a frame is sent.
void directions(const MCPWireProgress& progress) {
    std::ignore = MCPWireFraming::encode(progress); // error: no matching
    std::ignore = MCPWireInboundFrame{progress};    // error: could not convert|no viable conversion
    std::ignore = MCPWireFraming::encode(MCPWireOutboundFrame{progress});
}

} // namespace VostelMCPKit
