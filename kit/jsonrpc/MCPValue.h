// The one dynamic JSON value of the system: params, results, schemas, tool arguments, progress tokens.
//
// A value is 16 bytes. Booleans, numbers and strings of up to 15 bytes are in the value itself; longer strings,
// arrays and objects are in one immutable block that all copies of the value share:
//
//     byte   0 ................ 7 .. 14           15
//     short  the string's bytes                   its length, 0 to 15
//     other  payload or block    array, object:   the kind, 16 and above
//            pointer             flags
//
// Copying is therefore cheap at any size, and a value may cross threads freely. Objects keep their members in output
// order (see keyOrder): writing needs no sorting, equality goes member by member, and a key is found by search.
// Every string is valid UTF-8. Nothing here recurses, so values may nest to any depth on the smallest stack.
//
//     const MCPValue call = MCPValue::object({{"name", "models_list"}, {"limit", limit}});
//     if (const auto name = call.string("name")) ...
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VostelMCPKit {

/// The order of the keys of a written object: letter case is ignored (simple folding to lower case), runs of digits
/// compare by their value, and ties are broken by code points. Negative when `left` comes first, zero only for equal
/// keys.
[[nodiscard]] int keyOrder(std::string_view left, std::string_view right);

/// Exactly the integer types of the language, which excludes bool and the characters.
template <class T>
concept MCPInteger =
    (std::signed_integral<T> || std::unsigned_integral<T>) && !std::same_as<T, bool> && !std::same_as<T, char> &&
    !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// Any JSON value. Copies are cheap and independent, and may be read on several threads at once.
class MCPValue final {
public:
    // The names are in upper camel case, because `bool`, `int` and `double` are keywords.
    /// The kinds of JSON values. A number is an Int or a Double.
    enum class Kind : std::uint8_t {
        /// true or false.
        Bool,
        /// A number written without fraction and exponent that fits into 64 bits.
        Int,
        /// Any other number.
        Double,
        /// Valid UTF-8.
        String,
        /// Values in an order.
        Array,
        /// Values with keys, each key once.
        Object,
        /// null.
        Null
    };
    struct Member;
    template <class Item>
    class Items;

    /// JSON null.
    MCPValue() noexcept { setTag(Tag::null); }
    /// The same: `MCPValue::object({{"path", nullptr}})`.
    MCPValue(std::nullptr_t) noexcept : MCPValue() {}
    /// Exactly bool: a pointer or a number that would convert to bool is refused by the compiler.
    template <std::same_as<bool> Boolean>
    MCPValue(Boolean value) noexcept {
        set(Tag::boolean, value);
    }
    /// Exactly the integer types: characters are refused. An unsigned number beyond the 64-bit signed range has no
    /// exact JSON form here: it becomes a double that is not a number, so that writing it fails (EncodingError).
    template <MCPInteger Integer>
    MCPValue(Integer value) noexcept {
        if (std::in_range<std::int64_t>(value)) {
            set(Tag::integer, static_cast<std::int64_t>(value));
        } else {
            set(Tag::real, std::numeric_limits<double>::quiet_NaN());
        }
    }
    /// A number that is not finite can be held and compared, but not written (EncodingError).
    template <std::floating_point Floating>
    MCPValue(Floating value) noexcept {
        set(Tag::real, static_cast<double>(value));
    }
    /// The text is copied. U+FFFD replaces every byte that is not valid UTF-8, for example in a file's name. An answer
    /// with this character is better than an answer that cannot be written.
    MCPValue(std::string_view text);
    /// The same for a std::string.
    MCPValue(const std::string& text) : MCPValue(std::string_view{text}) {}
    /// A null pointer becomes JSON null.
    MCPValue(const char* text) : MCPValue(text != nullptr ? MCPValue{std::string_view{text}} : MCPValue{}) {}

    /// An array of copies.
    [[nodiscard]] static MCPValue array(std::span<const MCPValue> elements);
    /// The same in braces: `MCPValue::array({1, "two", nullptr})`.
    [[nodiscard]] static MCPValue array(std::initializer_list<MCPValue> elements) {
        return array(std::span{elements.begin(), elements.size()});
    }
    /// Takes the elements out of `elements`, without copying.
    [[nodiscard]] static MCPValue takingArray(std::span<MCPValue> elements);
    /// Members in any order. Two equal keys are a programming error and end the process. See MCPObjectBuilder for keys
    /// that are not known when writing the program.
    [[nodiscard]] static MCPValue object(std::initializer_list<std::pair<std::string_view, MCPValue>> members);
    /// Members in any order; of several members with one key the last one wins.
    [[nodiscard]] static MCPValue object(std::vector<Member> members);

    MCPValue(const MCPValue& other) noexcept : storage_(other.storage_) {
        if (isShared()) retain();
    }
    MCPValue(MCPValue&& other) noexcept : storage_(other.storage_) { other.setTag(Tag::null); }
    MCPValue& operator=(MCPValue other) noexcept {
        std::swap(storage_, other.storage_);
        return *this;
    }
    ~MCPValue() {
        if (isShared()) release();
    }

    /// Which of the accessors below has a value.
    [[nodiscard]] Kind kind() const;
    /// Whether this is JSON null.
    [[nodiscard]] bool isNull() const { return tag() == Tag::null; }

    // Each accessor returns nothing when the value is of another kind. Views live as long as this value, so a temporary
    // value returns none.
    /// true or false.
    [[nodiscard]] std::optional<bool> asBool() const;
    /// Deliberate: a double is never an integer, not even an integral one.
    [[nodiscard]] std::optional<std::int64_t> asInt() const;
    /// Every number, integers included.
    [[nodiscard]] std::optional<double> asDouble() const;
    /// The text in UTF-8.
    [[nodiscard]] std::optional<std::string_view> asString() const&;
    /// The elements in their order; see elements() for a loop.
    [[nodiscard]] std::optional<std::span<const MCPValue>> asArray() const&;
    /// The members in output order, each key once; see members() for a loop.
    [[nodiscard]] std::optional<std::span<const Member>> asObject() const&;
    void asString() const&& = delete;
    void asArray() const&& = delete;
    void asObject() const&& = delete;

    /// The elements of an array; none when this is not an array. The range keeps them alive, so a loop may run over a
    /// temporary: `for (const MCPValue& item : answer().elements())`.
    [[nodiscard]] Items<MCPValue> elements() const;
    /// The members of an object in output order; none when this is not an object. Kept alive like elements.
    [[nodiscard]] Items<Member> members() const;

    /// The member named `key`; a null pointer when this is not an object or has no such member. A member that holds
    /// JSON null is found. Lives as long as this value.
    [[nodiscard]] const MCPValue* operator[](std::string_view key) const&;
    void operator[](std::string_view key) const&& = delete;

    /// The value at the end of a path of keys: `params.find("_meta", "progressToken")`. A null pointer when a key on
    /// the way is missing or leads through something that is not an object. Lives as long as this value.
    template <std::convertible_to<std::string_view>... Keys>
        requires(sizeof...(Keys) > 0)
    [[nodiscard]] const MCPValue* find(const Keys&... path) const& {
        const std::string_view keys[]{path...};
        return findAlong(keys);
    }
    void find(auto&&...) const&& = delete;
    /// The string at the end of a path of keys: `params.string("clientInfo", "name")`. Absent when there is none, or a
    /// value of another kind. Lives as long as this value.
    [[nodiscard]] std::optional<std::string_view> string(const auto&... path) const& {
        const MCPValue* found = find(path...);
        return found != nullptr ? found->asString() : std::nullopt;
    }
    void string(auto&&...) const&& = delete;
    /// The integer at the end of a path of keys. A double is not one; see asInt.
    [[nodiscard]] std::optional<std::int64_t> integer(const auto&... path) const {
        const MCPValue* found = find(path...);
        return found != nullptr ? found->asInt() : std::nullopt;
    }
    /// The number at the end of a path of keys, an integer or a double.
    [[nodiscard]] std::optional<double> number(const auto&... path) const {
        const MCPValue* found = find(path...);
        return found != nullptr ? found->asDouble() : std::nullopt;
    }
    /// The boolean at the end of a path of keys.
    [[nodiscard]] std::optional<bool> boolean(const auto&... path) const {
        const MCPValue* found = find(path...);
        return found != nullptr ? found->asBool() : std::nullopt;
    }

    /// Same kind and same payload: the integer 1 is not the double 1.0; doubles compare as IEEE 754 numbers.
    friend bool operator==(const MCPValue& left, const MCPValue& right);
    /// Consistent with equality.
    [[nodiscard]] std::size_t hash() const;

private:
    friend struct JSONTextAccess;
    friend class MCPObjectBuilder;

    enum class Tag : std::uint8_t { longestInline = 15, string, array, object, boolean, integer, real, null };
    struct Block;

    struct alignas(8) Storage {
        char bytes[16];
    };

    [[nodiscard]] Tag tag() const { return static_cast<Tag>(storage_.bytes[15]); }
    void setTag(Tag tag) { storage_.bytes[15] = static_cast<char>(tag); }
    template <class Payload>
    void set(Tag tag, Payload payload) {
        std::memcpy(storage_.bytes, &payload, sizeof payload);
        setTag(tag);
    }
    template <class Payload>
    [[nodiscard]] Payload get() const {
        Payload payload;
        std::memcpy(&payload, storage_.bytes, sizeof payload);
        return payload;
    }
    [[nodiscard]] bool isShared() const {
        return static_cast<unsigned>(tag()) - static_cast<unsigned>(Tag::string) <= 2;
    }
    /// What is known of an array or an object.
    enum Flag : char { noFlag = 0, hasCachedText = 1, changing = 2 };
    [[nodiscard]] bool has(Flag flag) const {
        return (tag() == Tag::array || tag() == Tag::object) && (storage_.bytes[14] & flag) != 0;
    }
    /// `text` is valid UTF-8.
    void setString(std::string_view text);
    /// The flags of a new array or object with these values.
    [[nodiscard]] static int flagsOf(std::span<const MCPValue> values);
    /// An array or object of the block's values.
    [[nodiscard]] static MCPValue adopting(Tag tag, Block* block, int flags);
    /// Moves `values` into a block of their own.
    [[nodiscard]] static MCPValue takingContent(Tag tag, std::span<MCPValue> values, int flags);
    /// Takes alternating keys (strings) and values out of `keysAndValues`; of equal keys the last one wins.
    [[nodiscard]] static MCPValue takingObject(std::span<MCPValue> keysAndValues);
    /// Orders members by key, drops all but the last of equal keys, and returns those that are left.
    [[nodiscard]] static std::span<MCPValue> inOrder(std::span<MCPValue> keysAndValues);
    /// Whether reading the written text may give another value: a double without a fraction reads back as an integer.
    [[nodiscard]] bool changesWhenWritten() const;
    /// The values one level below an array or an object, keys included; none below a scalar.
    [[nodiscard]] std::span<const MCPValue> content() const;
    [[nodiscard]] const MCPValue* findAlong(std::span<const std::string_view> path) const;
    [[nodiscard]] bool equalsShallowly(const MCPValue& other) const;
    void retain() const;
    void release() const;

    Storage storage_;
};

/// One member of an object.
struct MCPValue::Member {
    /// `key` is copied, like the text of a value.
    Member(std::string_view key, MCPValue content) : name_{key}, value{std::move(content)} {}

    /// Lives as long as this member.
    [[nodiscard]] std::string_view key() const& { return name_.asString().value_or(""); }
    void key() const&& = delete;

private:
    /// Always a string. In the memory of an object it comes right before its value.
    MCPValue name_;

public:
    /// What the key names.
    MCPValue value;
};

/// The elements or the members of a value, for a loop. Holds a reference to them, which costs one atomic increment.
template <class Item>
class MCPValue::Items {
public:
    /// The first item. Iterators live as long as the range, so a temporary range returns none.
    [[nodiscard]] auto begin() const& { return items_.begin(); }
    /// After the last item.
    [[nodiscard]] auto end() const& { return items_.end(); }
    void begin() const&& = delete;
    void end() const&& = delete;
    /// The number of items.
    [[nodiscard]] std::size_t size() const { return items_.size(); }
    /// Whether there is no item.
    [[nodiscard]] bool empty() const { return items_.empty(); }
    /// `index` is below size(). The item lives as long as the range or the value; a temporary range gives a copy.
    [[nodiscard]] const Item& operator[](std::size_t index) const& { return items_[index]; }
    [[nodiscard]] Item operator[](std::size_t index) const&& { return items_[index]; }

private:
    friend class MCPValue;
    Items(MCPValue owner, std::span<const Item> items) : owner_{std::move(owner)}, items_{items} {}

    MCPValue owner_;
    std::span<const Item> items_;
};

inline MCPValue::Items<MCPValue> MCPValue::elements() const {
    return {*this, asArray().value_or(std::span<const MCPValue>{})};
}
inline MCPValue::Items<MCPValue::Member> MCPValue::members() const {
    return {*this, asObject().value_or(std::span<const Member>{})};
}

/// The value, or JSON null when it is absent; for looking into params: `orNull(request.params).string("name")`. Lives
/// as long as the optional.
[[nodiscard]] const MCPValue& orNull(const std::optional<MCPValue>& value);
void orNull(std::optional<MCPValue>&&) = delete;

} // namespace VostelMCPKit

template <>
struct std::hash<VostelMCPKit::MCPValue> {
    std::size_t operator()(const VostelMCPKit::MCPValue& value) const noexcept { return value.hash(); }
};
