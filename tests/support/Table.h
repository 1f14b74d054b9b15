// Helps with table tests, whose cases differ only in data.
//
//     struct Row { const char* when; ...; };
//     const Row rows[] = {...};
//     forEachRow(rows, [&](const Row& row) { EXPECT_EQ(...); });
#pragma once

#include <gtest/gtest.h>

namespace vostel_tests {

/// Checks every row. A failure message contains `when` of its row. A failed ASSERT ends only its row.
template <class Rows, class Check>
void forEachRow(const Rows& rows, const Check& check) {
    for (const auto& row : rows) {
        SCOPED_TRACE(row.when);
        check(row);
    }
}

} // namespace vostel_tests
