#include "companion/tools/Rendering.h"

#include <cmath>
#include <cstdio>

namespace vostel_companion {

double rounded(Seconds time) { return std::round(time.count() * 1000) / 1000; }

std::optional<double> rounded(const std::optional<Seconds>& time) {
    return time ? std::optional{rounded(*time)} : std::nullopt;
}

SummaryLine& SummaryLine::add(std::string_view text) {
    text_.append(" · ").append(text);
    return *this;
}

SummaryLine& SummaryLine::addKnown(const std::optional<std::string>& text) {
    if (text) add(*text);
    return *this;
}

SummaryLine& SummaryLine::addKnown(const std::optional<Seconds>& time) {
    if (!time) return *this;
    char text[64];
    std::snprintf(text, sizeof text, "%.1f s", time->count());
    return add(text);
}

std::string pageHeading(std::size_t shown, std::int64_t total, std::string_view things) {
    if (total == 0) return "There are no " + std::string{things} + " here.";
    return std::to_string(shown) + " of " + std::to_string(total) + " " + std::string{things} + ", newest first.";
}

} // namespace vostel_companion
