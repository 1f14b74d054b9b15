// Why a text or a value could not be read as what was expected.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

struct DecodingError {
    /// The text breaks the grammar of RFC 8259 (or UTF-8) at this byte.
    struct NotJSON {
        std::size_t offset;
        bool operator==(const NotJSON&) const = default;
    };
    struct KeyNotFound {
        std::string key;
        bool operator==(const KeyNotFound&) const = default;
    };
    /// `key` is empty when the value itself, rather than one of its members, is of the wrong type.
    struct TypeMismatch {
        std::string key;
        /// What was expected, with its article: "a string".
        std::string expected;
        bool operator==(const TypeMismatch&) const = default;
    };
    /// The type fits, the content does not.
    struct DataCorrupted {
        std::string key;
        std::string reason;
        bool operator==(const DataCorrupted&) const = default;
    };

    std::variant<NotJSON, KeyNotFound, TypeMismatch, DataCorrupted> is;

    /// A clause without its full stop, to follow a colon: "the key 'kind' is missing".
    [[nodiscard]] std::string description() const;

    bool operator==(const DecodingError&) const = default;
};

} // namespace VostelMCPKit
