// Converts the JSON texts of tests to values and records, and back.
#pragma once

#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace vostel_tests {

/// The value of `text`, which is JSON.
inline VostelMCPKit::MCPValue json(std::string_view text) {
    auto value = VostelMCPKit::readJSON(text);
    EXPECT_TRUE(value.has_value()) << text << "\n" << value.error().description();
    return value.value_or(VostelMCPKit::MCPValue{});
}

template <class Record>
std::expected<Record, VostelMCPKit::DecodingError> decoded(std::string_view text) {
    return VostelMCPKit::decode<Record>(json(text));
}

/// The exact text of a value or a record.
template <class Record>
std::string written(const Record& record) {
    VostelMCPKit::Bytes out;
    EXPECT_TRUE(VostelMCPKit::writeJSON(record, out).has_value());
    return std::string{out.text()};
}

} // namespace vostel_tests
