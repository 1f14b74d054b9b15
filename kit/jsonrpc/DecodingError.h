// Why a text or a value could not be read as what was expected.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

/// A plain value. Its text is English. Only some reasons of DataCorrupted are fixed texts in Russian.
struct DecodingError {
    /// The text breaks the grammar of RFC 8259 (or UTF-8) at one byte.
    struct NotJSON {
        /// The number of bytes before it.
        std::size_t offset;
        bool operator==(const NotJSON&) const = default;
    };
    /// The object has no such key.
    struct KeyNotFound {
        bool operator==(const KeyNotFound&) const = default;
    };
    /// The value is of another JSON type.
    struct TypeMismatch {
        /// What was expected, with its article: "a string".
        std::string expected;
        bool operator==(const TypeMismatch&) const = default;
    };
    /// A string that names none of the known cases.
    struct UnknownValue {
        bool operator==(const UnknownValue&) const = default;
    };
    /// The type fits, the content does not.
    struct DataCorrupted {
        /// A sentence without its full stop.
        std::string reason;
        bool operator==(const DataCorrupted&) const = default;
    };

    std::variant<NotJSON, KeyNotFound, TypeMismatch, UnknownValue, DataCorrupted> is;
    /// Where in the document, such as "models[1].sha256"; empty for the document itself.
    std::string path{};

    /// The same error with `key`, which leads to the value, before its path.
    [[nodiscard]] DecodingError within(std::string_view key) &&;
    /// The same for the element of an array.
    [[nodiscard]] DecodingError withinElement(std::size_t index) &&;

    /// A clause without its full stop, to follow a colon: "models[1].sha256 is missing".
    [[nodiscard]] std::string description() const;

    bool operator==(const DecodingError&) const = default;
};

} // namespace VostelMCPKit
