#include "kit/wire/MCPProgressReports.h"

#include "kit/jsonrpc/MCPLine.h"

#include <string_view>
#include <tuple>

namespace VostelMCPKit {

namespace {

constexpr std::string_view messageKey = R"("message":)";
constexpr std::string_view progressKey = R"("progress":)";

} // namespace

void MCPProgressReports::add(const MCPWireProgressText& report) {
    const std::string_view message = report.message.value_or("");
    // Reserves all room first. If that allocation fails, no part of the report has been added.
    std::ignore = members_.room(messageKey.size() + message.size() + progressKey.size() + report.fraction.size() + 2);
    if (report.message) {
        members_.append(messageKey);
        members_.append(message);
        members_.append(',');
    }
    members_.append(progressKey);
    members_.append(report.fraction);
    members_.append('\n');
    ++count_;
}

void MCPProgressReports::add(const MCPWireProgress& report) {
    Bytes fraction;
    if (!writeJSON(MCPValue{report.fraction}, fraction)) return;
    Bytes message;
    if (report.message) std::ignore = writeJSON(MCPValue{*report.message}, message);
    const auto messageText = report.message ? std::optional{message.text()} : std::nullopt;
    add(MCPWireProgressText{fraction.text(), messageText, report.requestID});
}

Bytes MCPProgressReports::lines(const MCPNotification& notification) const {
    Bytes line;
    std::ignore = appendLine(notification, line);
    // `progress` is the first member of the params. The text before it and the text after its value are the same in
    // every line.
    const std::size_t headLength = line.text().find(progressKey);
    const std::string_view head = line.text().substr(0, headLength);
    std::string_view tail = line.text().substr(headLength + progressKey.size());
    tail.remove_prefix(tail.find(','));

    std::string_view rest = members_.text();
    Bytes lines;
    std::ignore = lines.room(rest.size() + count_ * (head.size() + tail.size()));
    while (!rest.empty()) {
        const std::size_t length = rest.find('\n');
        lines.append(head);
        lines.append(rest.substr(0, length));
        lines.append(tail);
        rest.remove_prefix(length + 1);
    }
    return lines;
}

} // namespace VostelMCPKit
