// Equality and hashing of records, judged together.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace vostel_tests {

/// Each value equals its copy alone, and hashes like its copy alone: the values are few, so that two equal hashes among
/// them mean a field that the hash forgets.
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
