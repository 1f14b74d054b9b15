#include "kit/support/ASCII.h"
#include "kit/support/Bytes.h"
#include "kit/support/PosixError.h"
#include "kit/support/UUID.h"
#include "kit/support/match.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>

namespace VostelMCPKit {
namespace {

static_assert(!std::is_copy_constructible_v<Bytes> && !std::is_copy_assignable_v<Bytes>);
static_assert(std::is_nothrow_move_constructible_v<Bytes> && std::is_nothrow_move_assignable_v<Bytes>);

TEST(ASCII, only_letters_from_A_to_Z_change_to_lower_case) {
    EXPECT_EQ(asciiLowerCase("AZaz@[`{09 \u00C4\u0130"), "azaz@[`{09 \u00C4\u0130");
    EXPECT_EQ(asciiLowerCase(""), "");
    for (int byte = -128; byte < 128; ++byte) {
        const auto character = static_cast<char>(byte);
        EXPECT_EQ(asciiLowerCase(character) != character, character >= 'A' && character <= 'Z');
    }
}

TEST(ASCII, hexadecimal_digits_have_their_values) {
    const std::string_view lower = "0123456789abcdef";
    const std::string_view upper = "0123456789ABCDEF";
    for (int byte = -128; byte < 128; ++byte) {
        const auto character = static_cast<char>(byte);
        std::optional<int> expected;
        if (const auto at = lower.find(character); at != lower.npos) expected = static_cast<int>(at);
        if (const auto at = upper.find(character); at != upper.npos) expected = static_cast<int>(at);
        EXPECT_EQ(hexDigit(character), expected) << byte;
    }
}

TEST(ASCII, letters_and_digits_are_distinguished_from_adjacent_characters) {
    std::string letters;
    std::string digits;
    for (int byte = -128; byte < 128; ++byte) {
        const auto character = static_cast<char>(byte);
        if (isASCIILetter(character)) letters += character;
        if (isASCIIDigit(character)) digits += character;
    }
    EXPECT_EQ(letters, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(digits, "0123456789");
}

TEST(Bytes, start_empty) {
    Bytes bytes;
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(bytes.size(), 0U);
    EXPECT_EQ(bytes.text(), "");
    EXPECT_TRUE(bytes.span().empty());
    bytes.append("");
    bytes.removePrefix(0);
    bytes.truncate(0);
    EXPECT_EQ(bytes, Bytes{});
    EXPECT_EQ(bytes, Bytes{""});
}

TEST(Bytes, keep_what_is_appended_through_every_growth) {
    Bytes bytes;
    std::string expected;
    for (int round = 0; round < 2'000; ++round) {
        const std::string piece(static_cast<std::size_t>(round % 37), static_cast<char>(round));
        bytes.append(piece);
        bytes.append(static_cast<char>(round + 1));
        expected += piece;
        expected += static_cast<char>(round + 1);
    }
    EXPECT_EQ(bytes.text(), expected);
    EXPECT_FALSE(bytes.empty());
    const auto span = bytes.span();
    EXPECT_TRUE(std::equal(span.begin(), span.end(), expected.begin(), expected.end(),
                           [](std::byte left, char right) { return left == static_cast<std::byte>(right); }));
}

TEST(Bytes, growing_adds_the_room_to_the_content) {
    Bytes bytes{"ab"};
    char* room = bytes.room(1'000);
    std::fill_n(room, 3, 'c');
    EXPECT_EQ(bytes.text(), "ab");
    bytes.grow(3);
    EXPECT_EQ(bytes.text(), "abccc");
    bytes.data()[0] = 'x';
    EXPECT_EQ(std::as_const(bytes).data()[0], 'x');
}

TEST(Bytes, do_not_move_within_the_room_that_was_asked_for) {
    Bytes bytes{"a"};
    std::ignore = bytes.room(999);
    const char* before = bytes.data();
    bytes.append(std::string(999, 'b'));
    EXPECT_EQ(bytes.data(), before);
    std::ignore = bytes.room(0);
    EXPECT_EQ(bytes.size(), 1'000U);
}

TEST(Bytes, drop_a_prefix_or_the_rest) {
    Bytes bytes{"abcdef"};
    bytes.removePrefix(2);
    EXPECT_EQ(bytes.text(), "cdef");
    bytes.truncate(3);
    EXPECT_EQ(bytes.text(), "cde");
    bytes.removePrefix(3);
    EXPECT_TRUE(bytes.empty());
    bytes.append("again");
    EXPECT_EQ(bytes.text(), "again");
}

TEST(Bytes, prepend_into_the_place_of_a_dropped_prefix) {
    Bytes bytes{"0123456789content"};
    bytes.removePrefix(10);
    const char* before = bytes.data();
    bytes.prepend("the ");
    EXPECT_EQ(bytes.text(), "the content");
    EXPECT_EQ(bytes.data(), before - 4);
    bytes.prepend("");
    EXPECT_EQ(bytes.data(), before - 4);
}

TEST(Bytes, prepend_a_text_of_any_length) {
    for (const std::size_t dropped : {0U, 1U, 50U}) {
        for (const std::size_t length : {0U, 1U, 49U, 50U, 51U, 500U}) {
            Bytes bytes{std::string(dropped, '-') + "content"};
            bytes.removePrefix(dropped);
            const std::string prefix(length, '+');
            bytes.prepend(prefix);
            bytes.append("!");
            EXPECT_EQ(bytes.text(), prefix + "content!") << dropped << " " << length;
        }
    }
    Bytes empty;
    empty.prepend("now not");
    EXPECT_EQ(empty.text(), "now not");
}

TEST(Bytes, reuse_the_memory_of_a_dropped_prefix) {
    Bytes bytes{std::string(1'000, 'a')};
    const std::size_t before = bytes.capacity();
    for (int round = 0; round < 100; ++round) {
        bytes.removePrefix(900);
        bytes.append(std::string(900, 'b'));
    }
    EXPECT_EQ(bytes.text(), std::string(1'000, 'b'));
    EXPECT_LE(bytes.capacity(), 2 * before);
}

TEST(Bytes, take_the_end_of_a_large_message_without_moving_it) {
    Bytes bytes{"{"};
    bytes.append(std::string(10'000, 'a'));
    const char* const before = bytes.data();
    const std::size_t capacity = bytes.capacity();
    bytes.append("}}\n");
    EXPECT_EQ(bytes.data(), before);
    EXPECT_EQ(bytes.capacity(), capacity);
}

TEST(Bytes, are_empty_after_a_move) {
    Bytes source{"content"};
    Bytes target{std::move(source)};
    EXPECT_EQ(target.text(), "content");
    EXPECT_TRUE(source.empty()); // NOLINT(bugprone-use-after-move): a moved-from buffer is empty and usable.
    source.append("new");
    target = std::move(source);
    EXPECT_EQ(target.text(), "new");
    EXPECT_TRUE(source.empty()); // NOLINT(bugprone-use-after-move)
    Bytes& same = target;
    target = std::move(same);
    EXPECT_EQ(target.text(), "new");
}

TEST(Bytes, compare_by_content) {
    EXPECT_EQ(Bytes{"ab"}, Bytes{"ab"});
    EXPECT_NE(Bytes{"ab"}, Bytes{"ac"});
    EXPECT_NE(Bytes{"ab"}, Bytes{"abc"});
}

TEST(UUID, is_read_in_either_letter_case_and_written_in_upper_case) {
    struct Row {
        const char* when;
        std::string_view text;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"upper case", "0A1B2C3D-4E5F-6789-ABCD-EF0123456789", "0A1B2C3D-4E5F-6789-ABCD-EF0123456789"},
        {"lower case", "0a1b2c3d-4e5f-6789-abcd-ef0123456789", "0A1B2C3D-4E5F-6789-ABCD-EF0123456789"},
        {"all zeros", "00000000-0000-0000-0000-000000000000", "00000000-0000-0000-0000-000000000000"},
        {"all ones", "FfFfFfFf-FfFf-FfFf-FfFf-FfFfFfFfFfFf", "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF"},
        {"nothing", "", {}},
        {"a digit too few", "0A1B2C3D-4E5F-6789-ABCD-EF012345678", {}},
        {"a digit too many", "0A1B2C3D-4E5F-6789-ABCD-EF01234567890", {}},
        {"a letter that is not a digit", "0A1B2C3D-4E5F-6789-ABCD-EF012345678G", {}},
        {"a sign for a digit", "+A1B2C3D-4E5F-6789-ABCD-EF0123456789", {}},
        {"a space for a digit", " A1B2C3D-4E5F-6789-ABCD-EF0123456789", {}},
        {"no hyphens", "0A1B2C3D4E5F6789ABCDEF01234567890000", {}},
        {"a hyphen in the wrong place", "0A1B2C3-D4E5F-6789-ABCD-EF0123456789", {}},
        {"braces", "{A1B2C3D-4E5F-6789-ABCD-EF0123456789}", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto uuid = UUID::parse(row.text);
        EXPECT_EQ(uuid ? std::optional{uuid->text()} : std::nullopt, row.expected);
    });
}

TEST(UUID, its_text_holds_the_bytes_in_order) {
    UUID uuid;
    for (std::size_t index = 0; index < 16; ++index) uuid.bytes[index] = static_cast<std::uint8_t>(index * 0x11);
    EXPECT_EQ(uuid.text(), "00112233-4455-6677-8899-AABBCCDDEEFF");
    EXPECT_EQ(UUID::parse(uuid.text()), uuid);
}

TEST(UUID, random_bytes_keep_all_bits_except_version_and_variant) {
    std::array<std::uint8_t, 16> random{};
    EXPECT_EQ(UUID::fromRandom(random).text(), "00000000-0000-4000-8000-000000000000");
    random.fill(0xFF);
    EXPECT_EQ(UUID::fromRandom(random).text(), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
}

TEST(UUID, each_new_one_uses_new_random_bytes) {
    std::uint8_t next = 0xA0;
    const UUIDSource newID = RandomUUIDs{[&](void* bytes, std::size_t count) {
        std::memset(bytes, next++, count);
        return 0;
    }};
    EXPECT_EQ(newID().text(), "A0A0A0A0-A0A0-40A0-A0A0-A0A0A0A0A0A0");
    EXPECT_EQ(newID().text(), "A1A1A1A1-A1A1-41A1-A1A1-A1A1A1A1A1A1");
}

TEST(UUID, without_random_bytes_there_is_none) {
    EXPECT_EQ(RandomUUIDs([](void*, std::size_t) { return -1; }).next(), std::nullopt);
    EXPECT_EQ(RandomUUIDs{nullptr}.next(), std::nullopt);
    EXPECT_DEATH(std::ignore = RandomUUIDs{nullptr}(), "");
}

TEST(PosixError, has_the_systems_text_for_its_number) {
    EXPECT_EQ(PosixError{ENOENT}.systemText(), "No such file or directory");
    EXPECT_EQ(PosixError{ECONNREFUSED}.systemText(), "Connection refused");
    EXPECT_EQ(PosixError{EPIPE}, PosixError{EPIPE});
    EXPECT_NE(PosixError{EPIPE}, PosixError{ENOENT});
}

TEST(Match, picks_the_lambda_of_the_case) {
    using Either = std::variant<int, std::string>;
    const auto describe = [](const Either& either) {
        return match(
            either, [](int number) { return "number " + std::to_string(number); },
            [](const std::string& text) { return "text " + text; });
    };
    EXPECT_EQ(describe(7), "number 7");
    EXPECT_EQ(describe("x"), "text x");
}

TEST(Match, lets_a_lambda_change_or_move_out_the_case) {
    std::variant<int, std::string> either = "x";
    match(either, [](int&) {}, [](std::string& text) { text += "y"; });
    const std::string moved =
        match(std::move(either), [](int) { return std::string{}; }, [](std::string&& text) { return std::move(text); });
    EXPECT_EQ(moved, "xy");
}

} // namespace
} // namespace VostelMCPKit
