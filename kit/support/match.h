// Reads a tagged union with one lambda for each case. The compiler reports a missing case.
//
//     const std::string text = match(outcome.is, [](const Found& found) { return found.name; },
//                                    [](const Missing&) { return std::string{"nothing"}; });
#pragma once

#include <variant>

namespace VostelMCPKit {

/// One function object made of several lambdas.
template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

/// Calls the lambda for the case that `variant` holds and returns its result. All lambdas return the same type. Each is
/// copied or moved, so a lambda that collects results must capture by reference.
template <class Variant, class... Cases>
decltype(auto) match(Variant&& variant, Cases&&... cases) {
    return std::visit(Overloaded<std::decay_t<Cases>...>{std::forward<Cases>(cases)...},
                      std::forward<Variant>(variant));
}

} // namespace VostelMCPKit
