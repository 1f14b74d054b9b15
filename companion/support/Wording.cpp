#include "companion/support/Wording.h"

#include <ctime>

namespace vostel_companion {

namespace {

std::string twoDigits(std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); }

} // namespace

std::string clockText(std::chrono::seconds time) {
    const std::int64_t minutes = time.count() / 60;
    const std::string seconds = twoDigits(time.count() % 60);
    if (minutes < 60) return std::to_string(minutes) + ":" + seconds;
    return std::to_string(minutes / 60) + ":" + twoDigits(minutes % 60) + ":" + seconds;
}

std::string percentText(double fraction) { return std::to_string(static_cast<int>(fraction * 100)) + "%"; }

std::string sizeText(std::uintmax_t bytes) {
    const std::uintmax_t kilobytes = (bytes + 999) / 1000;
    if (kilobytes < 1000) return std::to_string(kilobytes) + " KB";
    const bool isLarge = kilobytes >= 1'000'000;
    const std::uintmax_t tenths = kilobytes / (isLarge ? 100'000 : 100);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + (isLarge ? " GB" : " MB");
}

std::string localTimeText(Timestamp moment) {
    const std::time_t time = std::chrono::system_clock::to_time_t(moment);
    std::tm local{};
    char text[64];
    if (::localtime_r(&time, &local) == nullptr) return "?";
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local)};
}

} // namespace vostel_companion
