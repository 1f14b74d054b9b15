#include "kit/support/ByteBlock.h"
#include "kit/support/UTF8.h"
#include "kit/support/Unicode.h"

#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <random>
#include <string>

namespace VostelMCPKit {
namespace {

/// Sixteen bytes. Many of them begin, continue or break UTF-8 sequences.
std::string randomBlock(std::mt19937_64& random) {
    constexpr std::string_view pieces[] = {
        "\xC3\xA9",     "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "a",    "\"",   "\\",   "\n",
        "\xE0\xA0\x80", "\xE0\x9F",     "\xED\x9F\xBF",     "\xED", "\xA0", "\xF4", "\x8F"};
    std::string bytes;
    while (bytes.size() < ByteBlock::size) {
        if (random() % 8 == 0) {
            bytes += static_cast<char>(random());
        } else {
            bytes += pieces[random() % std::size(pieces)];
        }
    }
    bytes.resize(ByteBlock::size);
    return bytes;
}

TEST(ByteBlock, masks_name_the_bytes_in_range) {
    const std::string text = "0123456789\"\\\n\x80\xFF ";
    const PortableBlock block{text.data()};
    EXPECT_EQ(block.inRange('0', '9'), 0x03FFU);
    EXPECT_EQ(block.notPlain(), 0x1C00U);
    EXPECT_EQ(block.notASCII(), 0x6000U);
    EXPECT_EQ(block.inRange(0, 0xFF), 0xFFFFU);
    EXPECT_EQ(block.equalTo(PortableBlock{"0x23456789\"\\\n\x80\xFF!"}), 0x7FFDU);
}

TEST(ByteBlock, masks_are_read_from_the_first_byte_on) {
    EXPECT_EQ(countBefore(0x6000), 13U);
    EXPECT_EQ(upToFirst(0b1000), 0b1111U);
    EXPECT_EQ(upToFirst(0), 0xFFFF'FFFFU);
}

#if defined(__SSE2__) || defined(__aarch64__)
TEST(ByteBlock, vector_instructions_give_the_masks_of_the_portable_code) {
    std::mt19937_64 random{1};
    for (int round = 0; round < 3'000; ++round) {
        const std::string bytes = randomBlock(random);
        const PortableBlock portable{bytes.data()};
        const VectorBlock vector{bytes.data()};
        SCOPED_TRACE(testing::PrintToString(bytes));
        ASSERT_EQ(vector.notASCII(), portable.notASCII());
        ASSERT_EQ(vector.notPlain(), portable.notPlain());
        auto low = static_cast<unsigned char>(random());
        auto high = static_cast<unsigned char>(random());
        if (low > high) std::swap(low, high);
        ASSERT_EQ(vector.inRange(low, high), portable.inRange(low, high));
        const std::string others = randomBlock(random);
        ASSERT_EQ(vector.equalTo(VectorBlock{others.data()}), portable.equalTo(PortableBlock{others.data()}));
    }
}
#endif

TEST(UTF8, the_sequence_of_each_code_point_is_well_formed_and_no_shorter_one_is) {
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; codePoint += codePoint < 0x3000 ? 1 : 61) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) continue;
        std::string text;
        appendUTF8(codePoint, text);
        const char* end = text.data() + text.size();
        ASSERT_EQ(sequenceLength(text.data(), end), text.size()) << static_cast<std::uint32_t>(codePoint);
        if (text.size() == 1) continue;
        ASSERT_EQ(sequenceLength(text.data(), end - 1), 0U);
    }
}

TEST(UTF8, the_first_three_bytes_are_judged_as_in_the_tables_of_Unicode) {
    for (std::uint32_t start = 0x800000; start <= 0xFFFFFF; start += 0x1F) {
        const std::string bytes{static_cast<char>(start >> 16), static_cast<char>(start >> 8), static_cast<char>(start),
                                '\x80'};
        std::string_view rest = bytes;
        const std::size_t expected = takeCodePoint(rest) ? bytes.size() - rest.size() : 0;
        ASSERT_EQ(sequenceLength(bytes.data(), bytes.data() + bytes.size()), expected) << testing::PrintToString(bytes);
    }
}

std::size_t lengthOfSequence(const std::string& bytes) {
    return sequenceLength(bytes.data(), bytes.data() + bytes.size());
}

/// How many bytes at the start of `bytes` are complete sequences, found one by one. Absent when the bytes after them
/// cannot begin a sequence.
std::optional<std::size_t> wholeOneByOne(std::string_view bytes) {
    std::string rest{bytes};
    while (!rest.empty() && lengthOfSequence(rest) != 0) rest.erase(0, lengthOfSequence(rest));
    const bool isContinued =
        lengthOfSequence(rest + "\x80\x80\x80") != 0 || lengthOfSequence(rest + "\xBF\xBF\xBF") != 0;
    if (!rest.empty() && !isContinued) return std::nullopt;
    return bytes.size() - rest.size();
}

TEST(UTF8, a_block_has_the_same_complete_sequences_as_are_found_one_by_one) {
    std::mt19937_64 random{2};
    int wellFormed = 0;
    int illFormed = 0;
    for (int round = 0; round < 5'000; ++round) {
        const std::string bytes = randomBlock(random);
        SCOPED_TRACE(testing::PrintToString(bytes));
        const ByteBlock block{bytes.data()};
        const auto expected = wholeOneByOne(bytes);
        ASSERT_EQ(wholeSequences(block, upToFirst(0)), expected.value_or(0));
        ++(expected ? wellFormed : illFormed);

        const std::size_t considered = 1 + random() % ByteBlock::size;
        const auto mask = static_cast<std::uint32_t>((1U << considered) - 1);
        const bool isWellFormed = wholeOneByOne(std::string_view{bytes}.substr(0, considered)).has_value();
        ASSERT_EQ(wholeSequences(block, mask) != 0, isWellFormed) << considered;
    }
    // Both occurred often enough.
    EXPECT_GT(wellFormed, 100);
    EXPECT_GT(illFormed, 1'000);
}

} // namespace
} // namespace VostelMCPKit
