#include "kit/jsonrpc/MCPValue.h"

#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/support/ASCII.h"
#include "kit/support/Unicode.h"
#include "kit/support/outOfMemory.h"
#include "kit/support/unwrap.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

namespace VostelMCPKit {

/// What copies of a long string, an array or an object share. The payload follows in the same allocation: the bytes of
/// a string, the elements of an array, or the keys and values of an object's members in turn. Cached text follows the
/// values, its length first.
struct MCPValue::Block {
    union {
        std::atomic<std::size_t> references;
        /// After the last reference is gone: the next block whose elements are still to be released.
        Block* nextDead;
    };
    /// Bytes of a string; values of an array or an object, which has two for each member.
    std::size_t count;

    static Block* allocate(std::size_t count, std::size_t bytesEach, std::size_t extraBytes = 0) {
        if (count > (SIZE_MAX - sizeof(Block) - extraBytes) / bytesEach) std::abort();
        void* memory = nullptr;
        while ((memory = std::malloc(sizeof(Block) + count * bytesEach + extraBytes)) == nullptr) outOfMemory();
        return new (memory) Block{{1}, count};
    }
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
    MCPValue* values() { return std::launder(reinterpret_cast<MCPValue*>(this + 1)); }

    [[nodiscard]] bool dropReference() {
        // A sole owner needs no atomic write: nobody else can take a reference meanwhile.
        return references.load(std::memory_order_acquire) == 1 ||
               references.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }
};

namespace {

/// Stable: of equal keys the one that came last stays last.
void sortByKey(std::span<MCPValue::Member> members) {
    const auto isBefore = [](const MCPValue::Member& left, const MCPValue::Member& right) {
        return keyOrder(left.key(), right.key()) < 0;
    };
    // The library's stable sort allocates, which costs more than sorting the few members of a message.
    constexpr std::size_t few = 12;
    if (members.size() > few) return std::stable_sort(members.begin(), members.end(), isBefore);
    for (auto next = members.begin(); next != members.end(); ++next) {
        std::rotate(std::upper_bound(members.begin(), next, *next, isBefore), next, next + 1);
    }
}

} // namespace

MCPValue::MCPValue(std::string_view text) {
    if (isValidUTF8(text)) {
        setString(text);
    } else {
        setString(repairedUTF8(text));
    }
}

void MCPValue::setString(std::string_view text) {
    if (text.size() <= static_cast<std::size_t>(Tag::longestInline)) {
        if (!text.empty()) std::memcpy(storage_.bytes, text.data(), text.size());
        setTag(static_cast<Tag>(text.size()));
        return;
    }
    Block* block = Block::allocate(text.size(), 1);
    std::memcpy(block->bytes(), text.data(), text.size());
    set(Tag::string, block);
}

bool MCPValue::changesWhenWritten() const {
    if (tag() != Tag::real) return has(changing);
    // Outside the range of 64-bit integers, a number stays a double. Inside, the text decides. A needless true costs
    // time only.
    const auto number = get<double>();
    return number == std::trunc(number) && std::fabs(number) <= 0x1p63;
}

int MCPValue::flagsOf(std::span<const MCPValue> values) {
    return std::ranges::any_of(values, &MCPValue::changesWhenWritten) ? changing : noFlag;
}

MCPValue MCPValue::adopting(Tag tag, Block* block, int flags) {
    MCPValue value;
    value.set(tag, block);
    value.storage_.bytes[14] = static_cast<char>(flags);
    return value;
}

MCPValue MCPValue::takingContent(Tag tag, std::span<MCPValue> values, int flags) {
    if (values.empty()) {
        // All empty arrays and objects share one block, which is never freed.
        static constinit Block none{{1}, 0};
        MCPValue empty = adopting(tag, &none, noFlag);
        empty.retain();
        return empty;
    }
    Block* block = Block::allocate(values.size(), sizeof(MCPValue));
    std::uninitialized_move(values.begin(), values.end(), block->values());
    return adopting(tag, block, flags);
}

MCPValue MCPValue::array(std::span<const MCPValue> elements) {
    Block* block = Block::allocate(elements.size(), sizeof(MCPValue));
    std::uninitialized_copy(elements.begin(), elements.end(), block->values());
    return adopting(Tag::array, block, flagsOf(elements));
}

MCPValue MCPValue::takingArray(std::span<MCPValue> elements) {
    return takingContent(Tag::array, elements, flagsOf(elements));
}

MCPValue MCPValue::object(std::initializer_list<std::pair<std::string_view, MCPValue>> members) {
    std::vector<Member> list;
    list.reserve(members.size());
    for (const auto& [key, value] : members) list.emplace_back(key, value);
    MCPValue result = object(std::move(list));
    if (result.content().size() != 2 * members.size()) std::abort();
    return result;
}

MCPValue MCPValue::object(std::vector<Member> members) {
    static_assert(sizeof(Member) == 2 * sizeof(MCPValue));
    return takingObject({reinterpret_cast<MCPValue*>(members.data()), 2 * members.size()});
}

MCPValue MCPValue::takingObject(std::span<MCPValue> keysAndValues) {
    const std::span content = inOrder(keysAndValues);
    return takingContent(Tag::object, content, flagsOf(content));
}

std::span<MCPValue> MCPValue::inOrder(std::span<MCPValue> keysAndValues) {
    std::span<Member> members{reinterpret_cast<Member*>(keysAndValues.data()), keysAndValues.size() / 2};
    const auto notAscending = [](const Member& left, const Member& right) {
        return keyOrder(left.key(), right.key()) >= 0;
    };
    // Most texts come from a writer like ours, so the members are usually in order already.
    if (std::adjacent_find(members.begin(), members.end(), notAscending) == members.end()) return keysAndValues;
    sortByKey(members);
    std::size_t kept = 0;
    for (std::size_t next = 1; next < members.size(); ++next) {
        if (members[kept].key() != members[next].key()) ++kept;
        if (kept != next) members[kept] = std::move(members[next]);
    }
    return keysAndValues.first(2 * (kept + 1));
}

MCPValue JSONTextAccess::string(std::string_view valid) {
    MCPValue value;
    value.setString(valid);
    return value;
}

MCPValue JSONTextAccess::array(std::span<MCPValue> elements, bool mayChange) {
    const int flags = mayChange ? MCPValue::flagsOf(elements) : MCPValue::noFlag;
    return MCPValue::takingContent(MCPValue::Tag::array, elements, flags);
}

MCPValue JSONTextAccess::object(std::span<MCPValue> keysAndValues, bool mayChange) {
    const std::span content = MCPValue::inOrder(keysAndValues);
    const int flags = mayChange ? MCPValue::flagsOf(content) : MCPValue::noFlag;
    return MCPValue::takingContent(MCPValue::Tag::object, content, flags);
}

bool JSONTextAccess::changesWhenWritten(const MCPValue& value) { return value.changesWhenWritten(); }

MCPValue JSONTextAccess::withCachedText(const MCPValue& value, std::string_view text) {
    if (value.tag() != MCPValue::Tag::array && value.tag() != MCPValue::Tag::object) return value;
    const std::span values = value.content();
    const std::size_t length = text.size();
    auto* block = MCPValue::Block::allocate(values.size(), sizeof(MCPValue), sizeof length + length);
    MCPValue* end = std::uninitialized_copy(values.begin(), values.end(), block->values());
    auto* afterValues = reinterpret_cast<char*>(end);
    std::memcpy(afterValues, &length, sizeof length);
    std::copy(text.begin(), text.end(), afterValues + sizeof length);
    const bool changes = value.has(MCPValue::changing);
    return MCPValue::adopting(value.tag(), block, MCPValue::hasCachedText | (changes ? MCPValue::changing : 0));
}

std::optional<std::string_view> JSONTextAccess::cachedText(const MCPValue& value) {
    if (!value.has(MCPValue::hasCachedText)) return std::nullopt;
    auto* block = value.get<MCPValue::Block*>();
    const auto* afterValues = reinterpret_cast<const char*>(block->values() + block->count);
    std::size_t length = 0;
    std::memcpy(&length, afterValues, sizeof length);
    return std::string_view{afterValues + sizeof length, length};
}

MCPValue::Kind MCPValue::kind() const {
    switch (tag()) {
    case Tag::array:
        return Kind::Array;
    case Tag::object:
        return Kind::Object;
    case Tag::boolean:
        return Kind::Bool;
    case Tag::integer:
        return Kind::Int;
    case Tag::real:
        return Kind::Double;
    case Tag::null:
        return Kind::Null;
    default:
        return Kind::String;
    }
}

std::optional<bool> MCPValue::asBool() const {
    if (tag() != Tag::boolean) return std::nullopt;
    return get<bool>();
}

std::optional<std::int64_t> MCPValue::asInt() const {
    if (tag() != Tag::integer) return std::nullopt;
    return get<std::int64_t>();
}

std::optional<double> MCPValue::asDouble() const {
    if (tag() == Tag::integer) return static_cast<double>(get<std::int64_t>());
    if (tag() != Tag::real) return std::nullopt;
    return get<double>();
}

std::optional<std::string_view> MCPValue::asString() const& {
    if (tag() <= Tag::longestInline) return std::string_view{storage_.bytes, static_cast<std::size_t>(tag())};
    if (tag() != Tag::string) return std::nullopt;
    auto* block = get<Block*>();
    return std::string_view{block->bytes(), block->count};
}

std::optional<std::span<const MCPValue>> MCPValue::asArray() const& {
    if (tag() != Tag::array) return std::nullopt;
    return content();
}

std::optional<std::span<const MCPValue::Member>> MCPValue::asObject() const& {
    if (tag() != Tag::object) return std::nullopt;
    return std::span{reinterpret_cast<const Member*>(content().data()), content().size() / 2};
}

const MCPValue* MCPValue::operator[](std::string_view key) const& {
    const auto members = asObject();
    if (!members) return nullptr;
    // Among few keys, comparing each is faster than a binary search.
    constexpr std::size_t few = 16;
    auto found = members->begin();
    if (members->size() <= few) {
        found = std::ranges::find_if(*members, [key](const Member& member) { return member.key() == key; });
    } else {
        found = std::lower_bound(members->begin(), members->end(), key,
                                 [](const Member& member, auto wanted) { return keyOrder(member.key(), wanted) < 0; });
    }
    return found != members->end() && found->key() == key ? &found->value : nullptr;
}

const MCPValue* MCPValue::findAlong(std::span<const std::string_view> path) const {
    const MCPValue* value = this;
    for (const std::string_view key : path) {
        value = (*value)[key];
        if (value == nullptr) return nullptr;
    }
    return value;
}

const MCPValue& orNull(const std::optional<MCPValue>& value) {
    static const MCPValue null;
    return value ? *value : null;
}

std::span<const MCPValue> MCPValue::content() const {
    if (tag() != Tag::array && tag() != Tag::object) return {};
    auto* block = get<Block*>();
    return {block->values(), block->count};
}

/// Equality of everything but the elements.
bool MCPValue::equalsShallowly(const MCPValue& other) const {
    if (kind() != other.kind()) return false;
    switch (kind()) {
    case Kind::Bool:
        return get<bool>() == other.get<bool>();
    case Kind::Int:
        return get<std::int64_t>() == other.get<std::int64_t>();
    case Kind::Double:
        return get<double>() == other.get<double>();
    case Kind::String:
        return asString() == other.asString();
    case Kind::Array:
    case Kind::Object:
        return content().size() == other.content().size();
    case Kind::Null:
        return true;
    }
    std::unreachable();
}

bool operator==(const MCPValue& left, const MCPValue& right) {
    using Elements = std::span<const MCPValue>;
    if (!left.equalsShallowly(right)) return false;
    std::vector<std::pair<Elements, Elements>> pending{{left.content(), right.content()}};
    while (!pending.empty()) {
        const auto [ours, theirs] = pending.back();
        pending.pop_back();
        for (std::size_t index = 0; index < ours.size(); ++index) {
            if (!ours[index].equalsShallowly(theirs[index])) return false;
            if (!ours[index].content().empty()) {
                pending.emplace_back(ours[index].content(), theirs[index].content());
            }
        }
    }
    return true;
}

std::size_t MCPValue::hash() const {
    std::size_t combined = 0;
    const auto mix = [&combined](std::size_t part) {
        combined ^= part + 0x9e3779b97f4a7c15U + (combined << 6) + (combined >> 2);
    };
    const auto mixShallowly = [&mix](const MCPValue& value) {
        mix(static_cast<std::size_t>(value.kind()));
        switch (value.kind()) {
        case Kind::Bool:
            return mix(value.get<bool>());
        case Kind::Int:
            return mix(std::hash<std::int64_t>{}(value.get<std::int64_t>()));
        case Kind::Double:
            return mix(std::hash<double>{}(value.get<double>()));
        case Kind::String:
            return mix(std::hash<std::string_view>{}(unwrap(value.asString())));
        case Kind::Array:
        case Kind::Object:
            return mix(value.content().size());
        case Kind::Null:
            return;
        }
    };
    mixShallowly(*this);
    std::vector<std::span<const MCPValue>> pending{content()};
    while (!pending.empty()) {
        const auto values = pending.back();
        pending.pop_back();
        for (const MCPValue& value : values) {
            mixShallowly(value);
            if (!value.content().empty()) pending.push_back(value.content());
        }
    }
    return combined;
}

void MCPValue::retain() const { get<Block*>()->references.fetch_add(1, std::memory_order_relaxed); }

void MCPValue::release() const {
    Block* dead = get<Block*>();
    if (!dead->dropReference()) return;
    if (tag() == Tag::string) return std::free(dead);
    dead->nextDead = nullptr;
    while (dead != nullptr) {
        Block* block = dead;
        dead = block->nextDead;
        for (const MCPValue& value : std::span{block->values(), block->count}) {
            if (!value.isShared()) continue;
            Block* child = value.get<Block*>();
            if (!child->dropReference()) continue;
            if (value.tag() == Tag::string) {
                std::free(child);
            } else {
                child->nextDead = dead;
                dead = child;
            }
        }
        std::free(block);
    }
}

namespace {

/// Takes the run of digits off the front of `text` and returns it without leading zeros.
std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isASCIIDigit);
    std::string_view run{text.begin(), end};
    text.remove_prefix(run.size());
    run.remove_prefix(std::min(run.find_first_not_of('0'), run.size()));
    return run;
}

int sign(auto ordering) { return ordering < 0 ? -1 : (ordering > 0 ? 1 : 0); }

constexpr int endOfKey = 0;
constexpr int notPlain = -1;

/// The rank of a letter or the underscore when letter case is ignored; every other byte needs a closer look.
int plainRank(char character) {
    return isASCIILetter(character) || character == '_' ? asciiLowerCase(character) : notPlain;
}

int compareIgnoringCase(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        if (isASCIIDigit(left.front()) && isASCIIDigit(right.front())) {
            const auto ours = takeDigits(left);
            const auto theirs = takeDigits(right);
            if (ours.size() != theirs.size()) return ours.size() < theirs.size() ? -1 : 1;
            if (const int order = ours.compare(theirs); order != 0) return order;
            continue;
        }
        const char32_t ours = takeFolded(left);
        const char32_t theirs = takeFolded(right);
        if (ours != theirs) return ours < theirs ? -1 : 1;
    }
    return sign(static_cast<int>(!left.empty()) - static_cast<int>(!right.empty()));
}

} // namespace

int keyOrder(std::string_view left, std::string_view right) {
    // If two keys first differ in a letter, or where one of them ends, that difference decides. Nearly all keys do.
    // Only digits depend on what is before them. Only letters that differ in case alone depend on what follows.
    const auto [ours, theirs] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    const int ourRank = ours == left.end() ? endOfKey : plainRank(*ours);
    const int theirRank = theirs == right.end() ? endOfKey : plainRank(*theirs);
    if (ourRank != theirRank && ourRank != notPlain && theirRank != notPlain) return ourRank < theirRank ? -1 : 1;
    if (ourRank == endOfKey && theirRank == endOfKey) return 0;
    if (const int order = compareIgnoringCase(left, right); order != 0) return sign(order);
    // The bytes of UTF-8 sort like its code points.
    return sign(left.compare(right));
}

} // namespace VostelMCPKit
