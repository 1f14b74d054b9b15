#include "companion/terminal/ProgressBar.h"
#include "tests/support/Table.h"

#include <cmath>
#include <gtest/gtest.h>
#include <utility>

namespace vostel_companion {

using namespace std::chrono_literals;

TEST(ProgressLine, shows_what_fits) {
    struct Row {
        const char* when;
        double fraction;
        std::chrono::milliseconds elapsed;
        std::size_t columns;
        std::string line;
    };
    const Row rows[] = {
        {"the beginning", 0, 0ms, 40, "Work  [                          ]   0%"},
        {"half of it", 0.5, 500ms, 40, "Work  [=============             ]  50%"},
        {"the end", 1, 90s, 40, "Work  [==========================] 100%"},
        {"enough time for an estimate", 0.5, 62s, 41, "Work  [========        ]  50%  1:02 left"},
        {"too early for an estimate", 0.5, 1999ms, 40, "Work  [=============             ]  50%"},
        {"too little done for an estimate", 0.01, 90s, 40, "Work  [                          ]   1%"},
        {"no room for a bar", 0.5, 0ms, 20, "Work  50%"},
        {"hardly any room", 0.5, 0ms, 5, "Work"},
        {"no room at all", 0.5, 0ms, 1, ""},
        {"a terminal of unknown width", 0, 0ms, 0, "Work  [" + std::string(40, ' ') + "]   0%"},
        {"a wide terminal", 0, 0ms, 500, "Work  [" + std::string(40, ' ') + "]   0%"},
        {"a fraction below 0", -1, 0ms, 20, "Work   0%"},
        {"a fraction above 1", 2, 0ms, 20, "Work 100%"},
        {"a fraction that is not a number", std::nan(""), 0ms, 20, "Work   0%"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(progressLine("Work", row.fraction, row.elapsed, row.columns), row.line);
    });
}

namespace {

struct Screen {
    std::string written;
    std::chrono::steady_clock::time_point time;
    std::optional<ProgressTerminal> terminal = ProgressTerminal{
        [this](std::string_view text) { written += text; }, [] { return std::size_t{20}; }, [this] { return time; }};

    std::string take() { return std::exchange(written, {}); }
};

} // namespace

TEST(ProgressBar, redraws_its_line_and_clears_it_at_the_end) {
    Screen screen;
    {
        ProgressBar bar{screen.terminal, "Work"};
        EXPECT_EQ(screen.take(), "\r\x1B[KWork   0%");
        screen.time += 100ms;
        bar.show(0.25);
        EXPECT_EQ(screen.take(), "\r\x1B[KWork  25%");
    }
    EXPECT_EQ(screen.take(), "\r\x1B[K");
}

TEST(ProgressBar, redraws_at_most_ten_times_a_second_before_the_end) {
    Screen screen;
    ProgressBar bar{screen.terminal, "Work"};
    screen.take();
    screen.time += 99ms;
    bar.show(0.5);
    EXPECT_EQ(screen.take(), "");
    bar.show(1);
    EXPECT_EQ(screen.take(), "\r\x1B[KWork 100%");
}

TEST(ProgressBar, draws_nothing_without_a_terminal) {
    const std::optional<ProgressTerminal> none;
    ProgressBar bar{none, "Work"};
    bar.show(0.5);
}

} // namespace vostel_companion
