// Reading a tagged union: one lambda per case, so that the compiler finds the missing one.
//
//     const std::string text = match(outcome.is, [](const Found& found) { return found.name; },
//                                    [](const Missing&) { return std::string{"nothing"}; });
#pragma once

#include <variant>

namespace VostelMCPKit {

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

template <class Variant, class... Cases>
decltype(auto) match(Variant&& variant, Cases&&... cases) {
    return std::visit(Overloaded<std::decay_t<Cases>...>{std::forward<Cases>(cases)...},
                      std::forward<Variant>(variant));
}

} // namespace VostelMCPKit
