#include "companion/terminal/ProgressBar.h"

#include "companion/support/Wording.h"

#include <algorithm>
#include <utility>

namespace vostel_companion {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t usualColumns = 80;
constexpr std::size_t narrowestBar = 10;
constexpr std::size_t widestBar = 40;
constexpr std::string_view clearLine = "\r\x1B[K";

std::string timeLeft(double fraction, std::chrono::milliseconds elapsed) {
    if (elapsed < 2s || fraction < 0.02 || fraction >= 1) return {};
    const auto left = std::chrono::ceil<std::chrono::seconds>(elapsed * ((1 - fraction) / fraction));
    return "  " + clockText(left) + " left";
}

} // namespace

std::string progressLine(std::string_view label, double fraction, std::chrono::milliseconds elapsed,
                         std::size_t columns) {
    fraction = fraction > 0 ? std::min(fraction, 1.0) : 0;
    const std::string percent = std::to_string(static_cast<int>(fraction * 100)) + "%";
    const std::string numbers = std::string(4 - percent.size(), ' ') + percent + timeLeft(fraction, elapsed);
    const std::size_t texts = label.size() + numbers.size();
    // Some terminals begin a new line after the last column.
    const std::size_t room = columns == 0 ? usualColumns - 1 : columns - 1;
    const std::size_t frame = std::string_view{"  [] "}.size();
    if (texts + frame + narrowestBar > room) return (std::string{label} + " " + numbers).substr(0, room);

    const std::size_t width = std::min(room - texts - frame, widestBar);
    const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(width));
    return std::string{label} + "  [" + std::string(filled, '=') + std::string(width - filled, ' ') + "] " + numbers;
}

ProgressBar::ProgressBar(const std::optional<ProgressTerminal>& terminal, std::string label)
    : terminal_{terminal}, label_{std::move(label)} {
    show(0);
}

ProgressBar::~ProgressBar() {
    if (terminal_) terminal_->write(clearLine);
}

void ProgressBar::show(double fraction) {
    if (!terminal_) return;
    const Time now = terminal_->now();
    if (drawn_ && now - *drawn_ < interval && fraction < 1) return;
    drawn_ = now;
    if (!begun_) begun_ = now;
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - *begun_);
    terminal_->write(std::string{clearLine} + progressLine(label_, fraction, elapsed, terminal_->columns()));
}

} // namespace vostel_companion
