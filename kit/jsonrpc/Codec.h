// Records and JSON: each record lists its keys once, for both directions.
//
//     static void codingKeys(auto& self, auto& key) {
//         key("name", self.name);          // required
//         key("version", self.version);    // a std::optional: left out when absent; missing or null reads as absent
//     }
//
// `self` is const when encoding. Every rule beyond these two is one visible word at its key (see KeyWriter). When
// decoding, the first key that fails decides and later ones are not read; keys that the record does not list are
// ignored. A shape that no list of keys can say has a Codec specialisation of its own.
#pragma once

#include "kit/jsonrpc/DecodingError.h"
#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/match.h"

#include <array>
#include <cstdlib>
#include <expected>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace VostelMCPKit {

template <class T>
struct Codec;

/// The JSON form of `value`.
template <class T>
[[nodiscard]] MCPValue encode(const T& value) {
    return Codec<T>::encode(value);
}

/// Reads a `T` out of its JSON form. Large payloads are shared with `value`, not copied.
template <class T>
[[nodiscard]] std::expected<T, DecodingError> decode(const MCPValue& value) {
    return Codec<T>::decode(value);
}

[[nodiscard]] inline std::unexpected<DecodingError> typeMismatch(const char* expected) {
    return std::unexpected(DecodingError{DecodingError::TypeMismatch{{}, expected}});
}

template <>
struct Codec<MCPValue> {
    static MCPValue encode(const MCPValue& value) { return value; }
    static std::expected<MCPValue, DecodingError> decode(const MCPValue& value) { return value; }
};

template <>
struct Codec<bool> {
    static MCPValue encode(bool value) { return value; }
    static std::expected<bool, DecodingError> decode(const MCPValue& value) {
        if (const auto content = value.asBool()) return *content;
        return typeMismatch("a boolean");
    }
};

template <>
struct Codec<std::int64_t> {
    static MCPValue encode(std::int64_t value) { return value; }
    static std::expected<std::int64_t, DecodingError> decode(const MCPValue& value) {
        if (const auto content = value.asInt()) return *content;
        return typeMismatch("an integer");
    }
};

template <>
struct Codec<double> {
    static MCPValue encode(double value) { return value; }
    static std::expected<double, DecodingError> decode(const MCPValue& value) {
        if (const auto content = value.asDouble()) return *content;
        return typeMismatch("a number");
    }
};

template <>
struct Codec<std::string> {
    static MCPValue encode(const std::string& value) { return value; }
    static std::expected<std::string, DecodingError> decode(const MCPValue& value) {
        if (const auto content = value.asString()) return std::string{*content};
        return typeMismatch("a string");
    }
};

template <class Element>
struct Codec<std::vector<Element>> {
    static MCPValue encode(const std::vector<Element>& list) {
        std::vector<MCPValue> elements;
        elements.reserve(list.size());
        for (const Element& element : list) elements.push_back(VostelMCPKit::encode(element));
        return MCPValue::takingArray(elements);
    }
    static std::expected<std::vector<Element>, DecodingError> decode(const MCPValue& value) {
        const auto elements = value.asArray();
        if (!elements) return typeMismatch("an array");
        std::vector<Element> list;
        list.reserve(elements->size());
        for (const MCPValue& element : *elements) {
            auto decoded = VostelMCPKit::decode<Element>(element);
            if (!decoded) return std::unexpected(std::move(decoded.error()));
            list.push_back(*std::move(decoded));
        }
        return list;
    }
};

/// Collects the members of one record. Its words are those of KeyReader, which says what each means when read.
class KeyWriter final {
public:
    template <class T>
    void operator()(std::string_view key, const T& field) {
        add(key, encode(field));
    }
    template <class T>
    void operator()(std::string_view key, const std::optional<T>& field) {
        if (field) add(key, encode(*field));
    }
    void constant(std::string_view key, std::string_view text) { add(key, text); }
    void absentAsNull(std::string_view key, const std::optional<MCPValue>& field) { (*this)(key, field); }
    template <class T>
    void absentAsDefault(std::string_view key, const T& field) {
        (*this)(key, field);
    }
    template <class T>
    void nested(std::string_view key, std::string_view innerKey, const T& field) {
        add(key, MCPValue::object({{innerKey, encode(field)}}));
    }
    template <class First, class Second>
    void exactlyOne(std::string_view first, std::string_view second, const std::variant<First, Second>& field,
                    std::string_view /*message*/) {
        match(
            field, [&](const First& value) { add(first, encode(value)); },
            [&](const Second& value) { add(second, encode(value)); });
    }
    template <class... Cases>
    void oneOf(std::string_view kindKey, const std::variant<Cases...>& field) {
        std::visit(
            [&]<class Case>(const Case& value) {
                add(kindKey, Case::kind);
                Case::codingKeys(value, *this);
            },
            field);
    }
    template <class... Cases>
    void oneOf(std::string_view kindKey, std::string_view payloadKey, const std::variant<Cases...>& field) {
        std::visit(
            [&]<class Case>(const Case& value) {
                add(kindKey, Case::kind);
                add(payloadKey, encode(value));
            },
            field);
    }

    [[nodiscard]] MCPValue take() { return MCPValue::takingObject(std::span{keysAndValues_}.first(2 * count_)); }

private:
    /// More than any record has.
    static constexpr std::size_t mostMembers = 8;

    void add(std::string_view key, MCPValue value) {
        if (count_ == mostMembers) std::abort();
        keysAndValues_[2 * count_] = key;
        keysAndValues_[2 * count_ + 1] = std::move(value);
        ++count_;
    }

    std::array<MCPValue, 2 * mostMembers> keysAndValues_;
    std::size_t count_ = 0;
};

/// Fills the fields of one record from an object.
class KeyReader final {
public:
    explicit KeyReader(const MCPValue& object) : object_{object} {
        if (object.kind() != MCPValue::Kind::Object)
            fail({}, DecodingError{DecodingError::TypeMismatch{{}, "an object"}});
    }

    /// Required.
    template <class T>
    void operator()(std::string_view key, T& field) {
        if (const MCPValue* value = required(key)) read(key, *value, field);
    }
    /// Missing or null reads as absent.
    template <class T>
    void operator()(std::string_view key, std::optional<T>& field) {
        field.reset();
        const MCPValue* value = found(key);
        if (value != nullptr && !value->isNull()) read(key, *value, field.emplace());
    }
    /// Always written with this text. Missing or any other string is accepted; a value of another type is not.
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
        const MCPValue* value = found(key);
        if (value != nullptr && !value->isNull()) read(key, *value, field);
    }
    /// The only member of an object of its own. When `key` is missing or holds no object, the field stays as it is.
    template <class T>
    void nested(std::string_view key, std::string_view innerKey, T& field) {
        const MCPValue* outer = found(key);
        const MCPValue* value = outer != nullptr ? (*outer)[innerKey] : nullptr;
        if (value != nullptr && !value->isNull()) read(innerKey, *value, field);
    }
    /// One of the two keys is present, whatever its value, and the other is not; else the record fails with `message`.
    template <class First, class Second>
    void exactlyOne(std::string_view first, std::string_view second, std::variant<First, Second>& field,
                    std::string_view message) {
        if (error_) return;
        const MCPValue* firstValue = found(first);
        const MCPValue* secondValue = found(second);
        if ((firstValue != nullptr) == (secondValue != nullptr)) {
            error_ = DecodingError{DecodingError::DataCorrupted{std::string{first}, std::string{message}}};
        } else if (firstValue != nullptr) {
            read(first, *firstValue, field.template emplace<First>());
        } else {
            read(second, *secondValue, field.template emplace<Second>());
        }
    }
    /// The member `kindKey` names the case, whose keys stand beside it.
    template <class... Cases>
    void oneOf(std::string_view kindKey, std::variant<Cases...>& field) {
        const auto readCase = [&]<class Case>(Case& value) { Case::codingKeys(value, *this); };
        readKind(kindKey, field, readCase);
    }
    /// The member `kindKey` names the case, which stands in the member `payloadKey`.
    template <class... Cases>
    void oneOf(std::string_view kindKey, std::string_view payloadKey, std::variant<Cases...>& field) {
        const auto readCase = [&](auto& value) { (*this)(payloadKey, value); };
        readKind(kindKey, field, readCase);
    }

    [[nodiscard]] std::optional<DecodingError> takeError() { return std::move(error_); }

private:
    [[nodiscard]] const MCPValue* found(std::string_view key) const { return error_ ? nullptr : object_[key]; }

    [[nodiscard]] const MCPValue* required(std::string_view key) {
        const MCPValue* value = found(key);
        if (value == nullptr && !error_) error_ = DecodingError{DecodingError::KeyNotFound{std::string{key}}};
        return value;
    }

    template <class T>
    void read(std::string_view key, const MCPValue& value, T& field) {
        auto decoded = decode<T>(value);
        if (decoded) {
            field = *std::move(decoded);
        } else {
            fail(key, std::move(decoded.error()));
        }
    }

    template <class... Cases>
    void readKind(std::string_view kindKey, std::variant<Cases...>& field, const auto& readCase) {
        std::string kind;
        (*this)(kindKey, kind);
        if (error_) return;
        const bool known = ((kind == Cases::kind && (readCase(field.template emplace<Cases>()), true)) || ...);
        if (!known) {
            error_ = DecodingError{DecodingError::DataCorrupted{
                std::string{kindKey}, "the key '" + std::string{kindKey} + "' holds an unknown value"}};
        }
    }

    void fail(std::string_view key, DecodingError error) {
        // A mismatch of the value as a whole is told by the key under which the value stands.
        auto* mismatch = std::get_if<DecodingError::TypeMismatch>(&error.is);
        if (mismatch != nullptr && mismatch->key.empty()) mismatch->key = key;
        error_ = std::move(error);
    }

    const MCPValue& object_;
    std::optional<DecodingError> error_;
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
        Record record;
        KeyReader reader{value};
        Record::codingKeys(record, reader);
        if (auto error = reader.takeError()) return std::unexpected(*std::move(error));
        return record;
    }
};

} // namespace VostelMCPKit
