// The shared part of all fuzzers. A fuzzer is one function, `check`, which checks what must hold for any text.
#pragma once

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// Ends the process with a finding unless `holds`.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "finding: %s\n", what);
    std::abort();
}

/// The text of a value that can be written.
inline std::string written(const VostelMCPKit::MCPValue& value) {
    VostelMCPKit::Bytes out;
    require(writeJSON(value, out).has_value(), "a value that was read can be written");
    return std::string{out.text()};
}

/// The value of a text that our writer has written.
inline VostelMCPKit::MCPValue readBack(std::string_view text) {
    auto value = VostelMCPKit::readJSON(text);
    require(value.has_value(), "a text that was written can be read");
    return *std::move(value);
}

void check(std::string_view text);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    check({reinterpret_cast<const char*>(data), size});
    return 0;
}
