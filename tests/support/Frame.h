// The framing of the socket, implemented without the code under test.
#pragma once

#include <string>
#include <string_view>

namespace vostel_tests {

/// A frame around `payload`.
[[nodiscard]] inline std::string frame(std::string_view payload) {
    std::string bytes;
    for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(payload.size() >> shift & 0xFF);
    return bytes.append(payload);
}

} // namespace vostel_tests
