// Declarations that the check must name or accept. Each line that it must name is marked.
#pragma once

#include <vector>

namespace VostelMCPKit::Planted {

struct Record {    // named
    int field = 0; // named
    /// Documented.
    int other = 0;
    /// Documented, unlike the next one.
    static constexpr int least = 0;
    static constexpr int most = 9;   // named
    using Fields = std::vector<int>; // named
    enum class Shape {               // named
        round                        // named
    };

    static void codingKeys(auto& self, auto& key) { key("other", self.other); }
    bool operator==(const Record&) const = default;
};

enum class Choice { // named
    one,            // named
    /// Documented.
    two
};

/// Documented.
class Resource final {
public:
    Resource(const Resource&) = delete;
    explicit Resource(int field); // named
    int take();                   // named
    template <class T>
    void put(T item); // named

private:
    int hidden_ = 0;
    void hide();
};

// A comment with two slashes is not documentation.
inline constexpr int limit = 7; // named
void run();                     // named
template <class T>
concept Runs = requires(T task) { task(); }; // named
using List = std::vector<int>;               // named
typedef int Number;                          // named
template <class T>
inline constexpr T zero{}; // named
template <class T>
using Lists = std::vector<T>; // named
/// The comment of a group belongs to its first declaration alone.
inline constexpr int first = 1;
inline constexpr int second = 2; // named

/// Documented.
template <class T>
struct Holder {
    T content; // named
};

namespace planted_detail {
void helper();
} // namespace planted_detail

} // namespace VostelMCPKit::Planted
