#include "companion/terminal/ConfirmationTerminal.h"

#include "companion/store/Schema.h"
#include "posix/RandomUUID.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

namespace {

/// No event tells us that a request has expired or that another process has answered it. So we check this often.
constexpr std::chrono::milliseconds pollInterval{1000};
/// In bytes. Longer input cannot be an answer.
constexpr std::size_t longestLine = 4096;

void write(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

/// Whether typed input is for this program. After "bg" it belongs to the shell.
bool isInForeground() { return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp(); }

} // namespace

std::expected<std::unique_ptr<ConfirmationTerminal>, VostelMCPKit::PosixError>
ConfirmationTerminal::make(Paths paths, const ModelStore& models) {
    auto wakePipe = posix::WakePipe::make();
    if (!wakePipe) return std::unexpected(wakePipe.error());
    // A background process that uses the terminal is stopped. The server must not be.
    std::signal(SIGTTIN, SIG_IGN);
    std::signal(SIGTTOU, SIG_IGN);
    return std::unique_ptr<ConfirmationTerminal>{
        new ConfirmationTerminal{std::move(paths), models, *std::move(wakePipe)}};
}

void ConfirmationTerminal::run() {
    write("Vostel serves AI clients on this machine until you press Ctrl-C.\n");
    auto database = openStore(paths_.database());
    if (!database) {
        write(database.error().description() + "\n");
        while (true) ::pause();
    }
    Confirmations confirmations{*database, models_, std::chrono::system_clock::now,
                                VostelMCPKit::RandomUUIDs{posix::randomBytes}};
    std::string lastFailure;
    while (true) {
        if (const auto open = confirmations.open()) {
            perform(prompt_.poll(*open), confirmations);
        } else if (const std::string failure = open.error().description(); failure != lastFailure) {
            write("\n" + failure + "\n");
            lastFailure = failure;
        }
        wait();
        while (true) {
            const auto end = typed_.find('\n');
            if (end == std::string::npos) break;
            const std::string line = typed_.substr(0, end);
            typed_.erase(0, end + 1);
            perform(prompt_.handleInput(line), confirmations);
        }
    }
}

void ConfirmationTerminal::wait() {
    const bool listens = isListening_ && isInForeground();
    pollfd events[] = {{wakePipe_.reader().get(), POLLIN, 0}, {listens ? STDIN_FILENO : -1, POLLIN, 0}};
    ::poll(events, std::size(events), static_cast<int>(pollInterval.count()));
    wakePipe_.drain();
    if (events[1].revents != 0 && isInForeground()) read();
}

void ConfirmationTerminal::read() {
    char bytes[512];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        typed_.append(bytes, static_cast<std::size_t>(count));
        if (typed_.size() > longestLine) typed_.clear();
        return;
    }
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    isListening_ = false;
    write("\nVostel continues to serve but reads no more answers here. Use 'Vostel pending' to list requests.\n");
}

void ConfirmationTerminal::perform(const ConfirmationPrompt::Turn& turn, Confirmations& confirmations) {
    if (turn.discardsInput) {
        ::tcflush(STDIN_FILENO, TCIFLUSH);
        typed_.clear();
    }
    if (!turn.text.empty()) write(turn.text);
    if (!turn.answer) return;
    const auto removed = confirmations.answer(turn.answer->id, turn.answer->decision);
    write((removed ? outcomeText(turn.answer->decision, *removed) : removed.error().description()) + "\n");
}

} // namespace vostel_companion
