// Values that are nested so deeply that recursion would overflow the smallest stack of the program's threads.
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/wire/MCPWireFrames.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

void onASmallStack(std::function<void()> work) {
    pthread_attr_t attributes;
    ASSERT_EQ(::pthread_attr_init(&attributes), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&attributes, 1'048'576), 0);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, run, &work), 0);
    EXPECT_EQ(::pthread_join(thread, nullptr), 0);
    ::pthread_attr_destroy(&attributes);
}

/// `innermost` inside as many pairs of `opening` and `closing`.
std::string nested(std::size_t pairs, std::string_view opening, std::string_view innermost, std::string_view closing) {
    std::string text;
    text.reserve(pairs * (opening.size() + closing.size()) + innermost.size());
    for (std::size_t pair = 0; pair < pairs; ++pair) text += opening;
    text += innermost;
    for (std::size_t pair = 0; pair < pairs; ++pair) text += closing;
    return text;
}

struct Shape {
    const char* when;
    std::string_view opening;
    std::string_view closing;
};
constexpr Shape shapes[] = {
    {"arrays", "[", "]"},
    {"objects", "{\"a\":", "}"},
};

/// With this depth, the stack has ten bytes for each level. Every call takes sixteen or more.
constexpr std::size_t greatDepth = 100'000;

TEST(Nesting, many_levels_are_read_written_copied_compared_hashed_and_destroyed) {
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.when);
        onASmallStack([&] {
            const std::string text = nested(greatDepth, shape.opening, "7", shape.closing);
            MCPValue value = json(text);
            EXPECT_TRUE(written(value) == text);
            const MCPValue copy = value;
            EXPECT_TRUE(copy == value);
            EXPECT_EQ(copy.hash(), value.hash());
            value = 7;
        });
    }
}

// The other tests use less depth, which still overflows the stack of any recursion.
constexpr std::size_t depth = 50'000;

TEST(Nesting, deep_values_that_differ_inside_are_not_equal) {
    const Shape withSiblings{"with siblings before and after", R"([0,{"a":[],"b":)", R"(,"c":{}},1])"};
    for (const Shape& shape : {shapes[0], shapes[1], withSiblings}) {
        SCOPED_TRACE(shape.when);
        onASmallStack([&] {
            const std::size_t pairs = depth / shape.opening.size();
            const std::string text = nested(pairs, shape.opening, "7", shape.closing);
            const MCPValue value = json(text);
            const MCPValue same = json(text);
            const MCPValue other = json(nested(pairs, shape.opening, "8", shape.closing));
            EXPECT_TRUE(written(value) == text);
            EXPECT_TRUE(value == same);
            EXPECT_FALSE(value == other);
            EXPECT_EQ(value.hash(), same.hash());
            EXPECT_NE(value.hash(), other.hash());
        });
    }
}

TEST(Nesting, deep_values_outlive_their_copies_and_their_originals) {
    onASmallStack([] {
        MCPValue value = json(nested(depth, R"([{"a":)", "\"a string of its own block\"", "}]"));
        MCPValue copy = value;
        const MCPValue moved = std::move(value);
        value = MCPValue::array({copy, moved});
        copy = nullptr;
        EXPECT_TRUE((*value.asArray())[0] == (*value.asArray())[1]);
        value = 1;
        EXPECT_EQ(moved.asArray()->size(), 1U);
    });
}

TEST(Nesting, many_levels_are_built_and_removed_one_by_one) {
    onASmallStack([] {
        MCPValue value = "a string of its own block";
        for (std::size_t level = 0; level < depth; ++level) {
            value = level % 2 == 0 ? MCPValue::array({value}) : MCPValue::object({{"a", value}});
        }
        std::size_t levels = 0;
        for (; value.kind() != MCPValue::Kind::String; ++levels) {
            const MCPValue inner = value.asArray() ? value.asArray()->front() : *value["a"];
            value = inner;
        }
        EXPECT_EQ(levels, depth);
    });
}

TEST(Nesting, a_failure_deep_inside_frees_everything) {
    struct Row {
        const char* when;
        std::string_view opening;
        std::string_view innermost;
        std::string_view closing;
        std::size_t offset;
    };
    const Row rows[] = {
        {"arrays that never close", "[", "", "", depth},
        {"objects that never close", "{\"a\":", "", "", 5 * depth},
        {"a bad word inside", "[", "nil", "]", depth},
        {"one bracket too many", "[", "", "]]", 2 * depth},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        onASmallStack([&] {
            const auto value = readJSON(nested(depth, row.opening, row.innermost, row.closing));
            ASSERT_FALSE(value);
            EXPECT_EQ(value.error(), DecodingError{DecodingError::NotJSON{row.offset}});
        });
    });
}

TEST(Nesting, a_deep_member_that_a_later_one_replaces_is_destroyed) {
    onASmallStack([] { EXPECT_EQ(written(json("{\"a\":" + nested(depth, "[", "", "]") + ",\"a\":1}")), "{\"a\":1}"); });
}

TEST(Nesting, deep_params_pass_through_every_record) {
    onASmallStack([] {
        const std::string deep = nested(depth, "{\"a\":[", "", "]}");
        const auto incoming =
            MCPDispatchLogic::classify(R"({"id":1,"jsonrpc":"2.0","method":"tools/call","params":)" + deep + "}");
        const auto* request = std::get_if<MCPRequest>(&incoming.is);
        ASSERT_NE(request, nullptr);
        EXPECT_TRUE(written(*request) == R"({"id":1,"jsonrpc":"2.0","method":"tools/call","params":)" + deep + "}");
        EXPECT_TRUE(incoming == MCPIncoming{incoming});
        EXPECT_EQ(std::hash<MCPIncoming>{}(incoming), std::hash<MCPIncoming>{}(MCPIncoming{incoming}));

        const MCPWireInboundFrame frame{MCPWireRequest{4, {"client", {}}, "tool", *request->params, "id"}};
        const auto again = vostel_tests::decoded<MCPWireInboundFrame>(written(frame));
        ASSERT_TRUE(again);
        EXPECT_TRUE(*again == frame);
    });
}

TEST(Nesting, a_deep_batch_is_a_batch) {
    onASmallStack([] {
        const auto incoming = MCPDispatchLogic::classify(nested(depth, "[", "", "]"));
        const auto* batch = std::get_if<MCPIncoming::Batch>(&incoming.is);
        ASSERT_NE(batch, nullptr);
        EXPECT_EQ(batch->elements.size(), 1U);
    });
}

} // namespace
} // namespace VostelMCPKit
