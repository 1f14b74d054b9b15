// Declarations that the check must name or accept. Each line that it must name is marked.
#pragma once

#include <vector>

namespace VostelMCPKit::Planted {

struct Record {    // named
    int field = 0; // named
    /// Documented.
    int other = 0;

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
    int take(); // named
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

/// Documented.
template <class T>
struct Holder {
    T content; // named
};

namespace planted_detail {
void helper();
} // namespace planted_detail

} // namespace VostelMCPKit::Planted
