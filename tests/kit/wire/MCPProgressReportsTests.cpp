#include "kit/jsonrpc/MCPLine.h"
#include "kit/wire/MCPCancellationRegistry.h"
#include "kit/wire/MCPProgressReports.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <variant>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

constexpr const char* wireID = "00000000-0000-0000-0000-000000000000";

/// A registry with one call, whose progress token is `token`.
MCPCancellationRegistry registryWith(const char* token) {
    MCPCancellationRegistry registry;
    registry.registerCall("1", json(token), UUID{});
    return registry;
}

/// The line of one report, made from its notification.
std::string lineByValue(const MCPCancellationRegistry& registry, const MCPWireProgress& report) {
    Bytes line;
    const auto notification = registry.progressNotification(wireID, report.fraction, report.message);
    EXPECT_TRUE(appendLine(*notification, line));
    return std::string{line.text()};
}

std::string linesOf(const MCPProgressReports& reports, const MCPCancellationRegistry& registry) {
    const Bytes lines = reports.lines(*registry.progressNotification(wireID, 0.25, {}));
    return std::string{lines.text()};
}

TEST(MCPProgressReports, a_line_equals_that_of_the_notification) {
    struct Row {
        const char* when;
        double fraction;
        std::optional<std::string> message;
    };
    const Row rows[] = {
        {"no message", 0.5, {}},
        {"a message", 0.1234567, "Слушаю…"},
        {"an empty message", 0, ""},
        {"finished", 1, {}},
        {"an exponent", 1e-7, "m"},
        {"less than zero", -0.5, {}},
        {"escapes", 0.5, "a\n\"b\"\x01\\"},
        {"a large number", 1e300, {}},
        {"the text of a key", 0.5, R"("progress":0,"progressToken":9)"},
    };
    const char* tokens[] = {"7", "\"t\"", "1.5", "null", R"({"progress":0,"b":["\n"]})", R"("\"progress\":1,")"};
    for (const char* token : tokens) {
        SCOPED_TRACE(token);
        const auto registry = registryWith(token);
        vostel_tests::forEachRow(rows, [&](const Row& row) {
            const MCPWireProgress report{wireID, row.fraction, row.message};
            MCPProgressReports reports{wireID};
            reports.add(report);
            EXPECT_EQ(linesOf(reports, registry), lineByValue(registry, report));

            const std::string payload = written(MCPWireOutboundFrame{report});
            const auto parts = canonicalProgress(payload);
            if (!parts) return;
            MCPProgressReports asText{wireID};
            asText.add(*parts);
            EXPECT_EQ(linesOf(asText, registry), linesOf(reports, registry));
        });
    }
}

TEST(MCPProgressReports, the_lines_come_in_the_order_of_the_reports) {
    const auto registry = registryWith("7");
    MCPProgressReports reports{wireID};
    EXPECT_EQ(reports.requestID(), wireID);
    EXPECT_EQ(linesOf(reports, registry), "");
    reports.add(MCPWireProgress{wireID, 0.25, "a"});
    reports.add(MCPWireProgressText{"0.5", {}, wireID});
    reports.add(MCPWireProgressText{"0.75", "\"b\"", wireID});
    const auto line = [](const std::string& members) {
        return R"({"jsonrpc":"2.0","method":"notifications/progress","params":{)" + members +
               R"(,"progressToken":7,"total":1}})" + "\n";
    };
    EXPECT_EQ(linesOf(reports, registry), line(R"("message":"a","progress":0.25)") + line(R"("progress":0.5)") +
                                              line(R"("message":"b","progress":0.75)"));
}

TEST(MCPProgressReports, a_report_without_a_finite_fraction_has_no_line) {
    const auto registry = registryWith("7");
    MCPProgressReports reports{wireID};
    reports.add(MCPWireProgress{wireID, 0.25, {}});
    const std::string before = linesOf(reports, registry);
    reports.add(MCPWireProgress{wireID, std::numeric_limits<double>::quiet_NaN(), {}});
    reports.add(MCPWireProgress{wireID, std::numeric_limits<double>::infinity(), "m"});
    EXPECT_EQ(linesOf(reports, registry), before);
}

TEST(MCPProgressReports, a_report_relayed_as_text_has_the_line_of_its_notification_whichever_byte_is_changed) {
    const auto registry = registryWith("7");
    const std::string text = written(MCPWireOutboundFrame{MCPWireProgress{wireID, 0.25, "zwölf"}});
    std::mt19937 random{9};
    int passed = 0;
    for (std::size_t damaged = 0; damaged < text.size(); ++damaged) {
        for (int attempt = 0; attempt < 40; ++attempt) {
            std::string other = text;
            other[damaged] = static_cast<char>(random());
            const auto parts = canonicalProgress(other);
            if (!parts) continue;
            const auto frame = readOutboundFrame(other);
            ASSERT_TRUE(frame) << other;
            const auto& report = std::get<MCPWireProgress>(frame->is);
            ASSERT_EQ(parts->requestID, report.requestID);
            MCPProgressReports reports{wireID};
            reports.add(*parts);
            ASSERT_EQ(linesOf(reports, registry), lineByValue(registry, report)) << other;
            ++passed;
        }
    }
    EXPECT_GT(passed, 100);
}

} // namespace
} // namespace VostelMCPKit
