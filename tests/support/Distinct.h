// Checks equality and hashing of records together.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace vostel_tests {

/// Each value must equal only its own copy, and have the same hash only as its own copy. The values are few, so two
/// equal hashes mean that the hash ignores a field.
template <class Value>
void expectDistinct(const std::vector<Value>& values) {
    const std::hash<Value> hash;
    for (std::size_t left = 0; left < values.size(); ++left) {
        for (std::size_t right = 0; right < values.size(); ++right) {
            EXPECT_EQ(values[left] == Value{values[right]}, left == right) << left << " " << right;
            EXPECT_EQ(hash(values[left]) == hash(Value{values[right]}), left == right) << left << " " << right;
        }
    }
}

} // namespace vostel_tests
