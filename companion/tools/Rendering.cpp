#include "companion/tools/Rendering.h"

#include <cmath>
#include <cstdio>

namespace vostel_companion {

using VostelMCPKit::MCPValue;

double rounded(Seconds time) { return std::round(time.count() * 1000) / 1000; }

Members& Members::add(std::string_view key, const std::optional<MCPValue>& value) {
    if (value) list.push_back({key, *value});
    return *this;
}

Members& Members::add(std::string_view key, const std::optional<Seconds>& time) {
    if (time) add(key, *time);
    return *this;
}

Line& Line::add(std::string_view text) {
    text_.append(" · ").append(text);
    return *this;
}

Line& Line::addKnown(const std::optional<std::string>& text) {
    if (text) add(*text);
    return *this;
}

Line& Line::addKnown(const std::optional<Seconds>& time) {
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
