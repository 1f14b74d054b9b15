// Records and JSON: each record lists its keys once, for both directions.
//
//     struct MCPClientInfo {
//         std::string name;
//         std::optional<std::string> version;
//
//         static void codingKeys(auto& self, auto& key) {
//             key("name", self.name);          // required
//             key("version", self.version);    // a std::optional: see below
//         }
//     };
//     MCPValue json = encode(info);
//     std::expected<MCPClientInfo, DecodingError> info = decode<MCPClientInfo>(json);
//
// An absent std::optional is left out of the object; a missing key and null both read as absent.
// `self` is const when encoding. A record may have any number of keys. Every other rule is a named function at its key,
// such as key.constant (see KeyReader). Decoding stops at the first key that fails. Keys that the record does not list
// are ignored. A type that a list of keys cannot describe has its own specialisation of Codec.
#pragma once

#include "kit/jsonrpc/DecodingError.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/jsonrpc/MCPObjectBuilder.h"
#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/match.h"

#include <concepts>
#include <expected>
#include <limits>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace VostelMCPKit {

template <class T>
struct Codec;

/// `value` as it is after it was written and read again: a double without a fraction becomes an integer. A value that
/// cannot be written stays unchanged. Takes constant time when there is no such double.
[[nodiscard]] MCPValue throughText(MCPValue value);

/// The JSON form of `value`, after throughText. Cannot fail. A number that is not finite is kept, and writing the
/// result fails. Large payloads are shared with `value`, not copied. Thread-safe.
template <class T>
[[nodiscard]] MCPValue encode(const T& value) {
    return throughText(Codec<T>::encode(value));
}

/// Reads a `T` from its JSON form. The error names the first value that is missing or wrong, and the path to it. Large
/// payloads are shared with `value`, not copied. Thread-safe.
template <class T>
[[nodiscard]] std::expected<T, DecodingError> decode(const MCPValue& value) {
    return Codec<T>::decode(value);
}

/// The failure to return from a Codec. `expected` has its article: "a string".
[[nodiscard]] inline std::unexpected<DecodingError> typeMismatch(const char* expected) {
    return std::unexpected(DecodingError{DecodingError::TypeMismatch{expected}});
}

/// The failure for an integer that is not from `least` to `most`.
[[nodiscard]] std::unexpected<DecodingError> integerOutside(std::int64_t least, std::uint64_t most);

/// Any JSON.
template <>
struct Codec<MCPValue> {
    static MCPValue encode(const MCPValue& value) { return value; }
    static std::expected<MCPValue, DecodingError> decode(const MCPValue& value) { return value; }
};

template <>
struct Codec<bool> {
    static MCPValue encode(bool value) { return value; }
    static std::expected<bool, DecodingError> decode(const MCPValue& value);
};

/// Fails for an integer that the type cannot hold.
template <MCPInteger Integer>
struct Codec<Integer> {
    static MCPValue encode(Integer value) { return value; }
    static std::expected<Integer, DecodingError> decode(const MCPValue& value) {
        const auto content = value.asInt();
        if (!content) return typeMismatch("an integer");
        if (std::in_range<Integer>(*content)) return static_cast<Integer>(*content);
        using Limits = std::numeric_limits<Integer>;
        return integerOutside(Limits::min(), Limits::max());
    }
};

template <>
struct Codec<double> {
    static MCPValue encode(double value) { return value; }
    static std::expected<double, DecodingError> decode(const MCPValue& value);
};

template <>
struct Codec<std::string> {
    static MCPValue encode(const std::string& value) { return value; }
    static std::expected<std::string, DecodingError> decode(const MCPValue& value);
};

template <class Element>
struct Codec<std::vector<Element>> {
    static MCPValue encode(const std::vector<Element>& list) {
        std::vector<MCPValue> elements;
        elements.reserve(list.size());
        for (const Element& element : list) elements.push_back(Codec<Element>::encode(element));
        return MCPValue::takingArray(elements);
    }
    static std::expected<std::vector<Element>, DecodingError> decode(const MCPValue& value) {
        if (value.kind() != MCPValue::Kind::Array) return typeMismatch("an array");
        std::vector<Element> list;
        for (const MCPValue& element : value.elements()) {
            auto decoded = VostelMCPKit::decode<Element>(element);
            if (!decoded) return std::unexpected(std::move(decoded.error()).withinElement(list.size()));
            list.push_back(*std::move(decoded));
        }
        return list;
    }
};

/// Fills the fields of one record from an object. codingKeys may call its public functions on `key`. KeyWriter has the
/// same functions for the other direction.
class KeyReader final {
public:
    /// `object` outlives the reader. A value of another kind fails at once.
    explicit KeyReader(const MCPValue& object);
    explicit KeyReader(const MCPValue&&) = delete;

    /// Required.
    template <class T>
    void operator()(std::string_view key, T& field) {
        if (const MCPValue* value = required(key)) read(key, *value, field);
    }
    /// Missing or null reads as absent.
    template <class T>
    void operator()(std::string_view key, std::optional<T>& field) {
        field.reset();
        if (const MCPValue* value = unlessNull(found(key))) read(key, *value, field.emplace());
    }
    /// Always written with this text. When reading, a missing value or another string is accepted. A value of another
    /// type is not.
    void constant(std::string_view key, std::string_view /*text*/) {
        std::string ignored;
        if (const MCPValue* value = found(key)) read(key, *value, ignored);
    }
    /// Any JSON value; a missing one reads as JSON null.
    void absentAsNull(std::string_view key, std::optional<MCPValue>& field) {
        const MCPValue* value = found(key);
        field = value != nullptr ? *value : MCPValue{};
    }
    /// Missing or null leaves the field as it is.
    template <class T>
    void absentAsDefault(std::string_view key, T& field) {
        if (const MCPValue* value = unlessNull(found(key))) read(key, *value, field);
    }
    /// The member `key` is an object with the single member `innerKey`. When either is missing, the field stays as it
    /// is.
    template <class T>
    void nested(std::string_view key, std::string_view innerKey, T& field) {
        const MCPValue* outer = found(key);
        const MCPValue* value = outer != nullptr ? unlessNull(outer->find(innerKey)) : nullptr;
        if (value != nullptr && !read(innerKey, *value, field)) error_ = std::move(*error_).within(key);
    }
    /// Exactly one of the two keys must be present, whatever its value. Otherwise decoding fails with `message`.
    template <class First, class Second>
    void exactlyOne(std::string_view first, std::string_view second, std::variant<First, Second>& field,
                    std::string_view message) {
        if (error_) return;
        const MCPValue* firstValue = found(first);
        const MCPValue* secondValue = found(second);
        if ((firstValue != nullptr) == (secondValue != nullptr)) {
            error_ = DecodingError{DecodingError::DataCorrupted{std::string{message}}, std::string{first}};
        } else if (firstValue != nullptr) {
            read(first, *firstValue, field.template emplace<First>());
        } else {
            read(second, *secondValue, field.template emplace<Second>());
        }
    }
    /// The member `kindKey` names the case. The keys of the case are in the same object.
    template <class... Cases>
    void oneOf(std::string_view kindKey, std::variant<Cases...>& field) {
        const auto readCase = [&]<class Case>(Case& value) { Case::codingKeys(value, *this); };
        readKind(kindKey, field, readCase);
    }
    /// The member `kindKey` names the case. The member `payloadKey` holds its record.
    template <class... Cases>
    void oneOf(std::string_view kindKey, std::string_view payloadKey, std::variant<Cases...>& field) {
        const auto readCase = [&](auto& value) { (*this)(payloadKey, value); };
        readKind(kindKey, field, readCase);
    }

    /// The first failure; absent when the record is complete.
    [[nodiscard]] std::optional<DecodingError> takeError() { return std::move(error_); }

private:
    /// Nothing is found after a failure.
    [[nodiscard]] const MCPValue* found(std::string_view key) const { return error_ ? nullptr : object_[key]; }
    [[nodiscard]] const MCPValue* required(std::string_view key);
    [[nodiscard]] static const MCPValue* unlessNull(const MCPValue* value) {
        return value != nullptr && !value->isNull() ? value : nullptr;
    }

    template <class T>
    bool read(std::string_view key, const MCPValue& value, T& field) {
        auto decoded = decode<T>(value);
        if (!decoded) {
            error_ = std::move(decoded.error()).within(key);
            return false;
        }
        field = *std::move(decoded);
        return true;
    }

    template <class... Cases>
    void readKind(std::string_view kindKey, std::variant<Cases...>& field, const auto& readCase) {
        std::string kind;
        (*this)(kindKey, kind);
        if (error_) return;
        const bool known = ((kind == Cases::kind && (readCase(field.template emplace<Cases>()), true)) || ...);
        if (!known) error_ = DecodingError{DecodingError::UnknownValue{}, std::string{kindKey}};
    }

    const MCPValue& object_;
    std::optional<DecodingError> error_;
};

/// Collects the members of one record. Its functions are those of KeyReader, which says what each means for reading.
class KeyWriter final {
public:
    template <class T>
    void operator()(std::string_view key, const T& field) {
        members_.add(key, Codec<T>::encode(field));
    }
    template <class T>
    void operator()(std::string_view key, const std::optional<T>& field) {
        if (field) (*this)(key, *field);
    }
    /// Writes `text`.
    void constant(std::string_view key, std::string_view text) { members_.add(key, text); }
    /// Left out when absent.
    void absentAsNull(std::string_view key, const std::optional<MCPValue>& field) { (*this)(key, field); }
    /// Always written.
    void absentAsDefault(std::string_view key, const auto& field) { (*this)(key, field); }
    /// Always written, as an object with the single member `innerKey`.
    template <class T>
    void nested(std::string_view key, std::string_view innerKey, const T& field) {
        members_.add(key, MCPValue::object({{innerKey, Codec<T>::encode(field)}}));
    }
    /// Writes the first case under `first`, the second one under `second`.
    void exactlyOne(std::string_view first, std::string_view second, const auto& field, std::string_view /*message*/) {
        const std::string_view key = field.index() == 0 ? first : second;
        std::visit([&](const auto& value) { (*this)(key, value); }, field);
    }
    /// The case's name, and its keys beside it.
    void oneOf(std::string_view kindKey, const auto& field) {
        const auto writeCase = [&]<class Case>(const Case& value) {
            members_.add(kindKey, Case::kind);
            Case::codingKeys(value, *this);
        };
        std::visit(writeCase, field);
    }
    /// The case's name, and its record under `payloadKey`.
    void oneOf(std::string_view kindKey, std::string_view payloadKey, const auto& field) {
        const auto writeCase = [&]<class Case>(const Case& value) {
            members_.add(kindKey, Case::kind);
            (*this)(payloadKey, value);
        };
        std::visit(writeCase, field);
    }

    /// The object. The writer is empty afterwards.
    [[nodiscard]] MCPValue take() { return members_.take(); }

private:
    MCPObjectBuilder members_;
};

/// Every type without a specialisation of its own is a record with codingKeys.
template <class Record>
struct Codec {
    static MCPValue encode(const Record& record) {
        KeyWriter writer;
        Record::codingKeys(record, writer);
        return writer.take();
    }
    static std::expected<Record, DecodingError> decode(const MCPValue& value) {
        Record record{};
        KeyReader reader{value};
        Record::codingKeys(record, reader);
        if (auto error = reader.takeError()) return std::unexpected(*std::move(error));
        return record;
    }
};

/// Appends the JSON text of a record to `out`; see writeJSON of values. Cheaper than writing the result of `encode`,
/// because it needs no throughText.
template <class Record>
    requires(!std::convertible_to<const Record&, MCPValue>)
[[nodiscard]] std::expected<void, EncodingError> writeJSON(const Record& record, Bytes& out) {
    return writeJSON(Codec<Record>::encode(record), out);
}

} // namespace VostelMCPKit
