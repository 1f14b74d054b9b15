#include "companion/support/Iso8601.h"

#include <cstdio>
#include <ctime>

namespace vostel_companion {

namespace {

using namespace std::chrono;

/// Parses a text from its front. Each step returns whether it matched.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_{text} {}

    bool digits(std::size_t count, int& value) {
        if (rest_.size() < count) return false;
        value = 0;
        for (const char digit : rest_.substr(0, count)) {
            if (digit < '0' || digit > '9') return false;
            value = value * 10 + (digit - '0');
        }
        rest_.remove_prefix(count);
        return true;
    }
    bool oneOf(std::string_view characters, char& found) {
        if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) return false;
        found = rest_.front();
        rest_.remove_prefix(1);
        return true;
    }
    bool oneOf(std::string_view characters) {
        char ignored = 0;
        return oneOf(characters, ignored);
    }
    bool isAtEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

std::optional<year_month_day> takeDay(Scanner& text) {
    int yearNumber = 0;
    int monthNumber = 0;
    int dayNumber = 0;
    const bool fits = text.digits(4, yearNumber) && text.oneOf("-") && text.digits(2, monthNumber) && text.oneOf("-") &&
                      text.digits(2, dayNumber);
    const year_month_day day{year{yearNumber}, month{static_cast<unsigned>(monthNumber)},
                             std::chrono::day{static_cast<unsigned>(dayNumber)}};
    if (!fits || yearNumber == 0 || !day.ok()) return std::nullopt;
    return day;
}

std::optional<microseconds> takeTimeOfDay(Scanner& text) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!text.digits(2, hour) || !text.oneOf(":") || !text.digits(2, minute)) return std::nullopt;
    microseconds fraction{0};
    if (text.oneOf(":")) {
        if (!text.digits(2, second)) return std::nullopt;
        if (text.oneOf(".,")) {
            int digit = 0;
            if (!text.digits(1, digit)) return std::nullopt;
            microseconds worth = 100ms;
            do {
                fraction += worth * digit;
                worth /= 10;
            } while (text.digits(1, digit));
        }
    }
    // A leap second is written :60 (RFC 3339).
    if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
    return hours{hour} + minutes{minute} + seconds{second} + fraction;
}

/// The offset of the time zone from UTC.
std::optional<minutes> takeZone(Scanner& text) {
    if (text.oneOf("Zz")) return minutes{0};
    char sign = 0;
    int hour = 0;
    int minute = 0;
    if (!text.oneOf("+-", sign) || !text.digits(2, hour)) return std::nullopt;
    if (!text.isAtEnd()) {
        std::ignore = text.oneOf(":");
        if (!text.digits(2, minute)) return std::nullopt;
    }
    if (hour > 23 || minute > 59) return std::nullopt;
    const minutes ahead = hours{hour} + minutes{minute};
    return sign == '+' ? ahead : -ahead;
}

std::optional<year_month_day> localDate(std::time_t moment) {
    std::tm parts{};
    if (localtime_r(&moment, &parts) == nullptr) return std::nullopt;
    return year_month_day{year{parts.tm_year + 1900}, month{static_cast<unsigned>(parts.tm_mon + 1)},
                          day{static_cast<unsigned>(parts.tm_mday)}};
}

} // namespace

std::optional<sys_seconds> systemLocalMidnight(year_month_day day) {
    tzset();
    // If the clock skips or repeats midnight, mktime may return one of several times. So this is a binary search for
    // the first second of the day, between a time before it and a time after it. It also works where a country crossed
    // the date line and skipped a whole day.
    std::tm parts{};
    parts.tm_year = static_cast<int>(day.year()) - 1900;
    parts.tm_mon = static_cast<int>(static_cast<unsigned>(day.month())) - 1;
    parts.tm_mday = static_cast<int>(static_cast<unsigned>(day.day()));
    parts.tm_hour = 12;
    parts.tm_isdst = -1;
    const std::time_t localNoon = std::mktime(&parts);
    if (localNoon == -1) return std::nullopt;

    constexpr std::time_t dayLength = seconds{24h}.count();
    std::time_t before = localNoon - 2 * dayLength;
    std::time_t notBefore = localNoon + dayLength;
    while (notBefore - before > 1) {
        const std::time_t middle = before + (notBefore - before) / 2;
        const auto date = localDate(middle);
        if (!date) return std::nullopt;
        (*date < day ? before : notBefore) = middle;
    }
    return sys_seconds{seconds{notBefore}};
}

std::optional<sys_time<microseconds>> parseTimestamp(std::string_view text, const LocalMidnight& localMidnight) {
    Scanner scanner{text};
    const auto day = takeDay(scanner);
    if (!day) return std::nullopt;
    if (scanner.isAtEnd()) {
        const auto midnight = localMidnight(*day);
        if (!midnight) return std::nullopt;
        return *midnight;
    }
    if (!scanner.oneOf("Tt ")) return std::nullopt;
    const auto timeOfDay = takeTimeOfDay(scanner);
    if (!timeOfDay) return std::nullopt;
    const auto zone = takeZone(scanner);
    if (!zone || !scanner.isAtEnd()) return std::nullopt;
    return sys_days{*day} + *timeOfDay - *zone;
}

std::string formatTimestamp(Timestamp moment) {
    const auto day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss time{moment - day};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
    return text;
}

} // namespace vostel_companion
