#include "companion/commands/QuitVerb.h"

#include "companion/commands/RunningApplication.h"
#include "companion/support/LongCalls.h"
#include "companion/support/Paths.h"
#include "kit/support/PosixError.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <poll.h>

namespace vostel_companion {

namespace {

constexpr int pollMilliseconds = 20;

bool hasEnded(pid_t process) {
    if (::kill(process, 0) != 0) return errno == ESRCH;
    // A process that has ended remains as a zombie until its parent reads its status. Some parents never do.
    std::ifstream file{"/proc/" + std::to_string(process) + "/stat"};
    std::string text;
    std::getline(file, text);
    // "4711 (Vostel) Z 1 …"
    const auto state = text.rfind(") ");
    return state != std::string::npos && text.substr(state + 2).starts_with('Z');
}

bool endsWithin(pid_t process, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!hasEnded(process)) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        ::poll(nullptr, 0, pollMilliseconds);
    }
    return true;
}

std::string cancelledText(std::size_t calls) {
    if (calls == 0) return {};
    return calls == 1 ? " One long call was cancelled." : " " + std::to_string(calls) + " long calls were cancelled.";
}

} // namespace

Exit run(const Command::Quit& /*verb*/, const QuitContext& context) {
    const auto found = findRunningApplication(context.support);
    if (!found) {
        context.printError(found.error());
        return Exit::failed;
    }
    const auto& application = *found;
    if (!application) {
        context.printError("Vostel is not running.");
        return Exit::refused;
    }
    const pid_t process = application->process;
    const std::size_t calls = LongCalls::readFrom(Paths::in(context.support).longCalls()).size();
    if (::kill(process, SIGTERM) != 0 && errno != ESRCH) {
        context.printError("Vostel could not be asked to end (" + VostelMCPKit::PosixError{errno}.systemText() + ").");
        return Exit::failed;
    }
    if (!endsWithin(process, context.timeout)) {
        const auto seconds = std::chrono::ceil<std::chrono::seconds>(context.timeout).count();
        context.printError("Vostel was asked to end but still runs after " + std::to_string(seconds) +
                           " s. To end it at once, run: kill -9 " + std::to_string(process));
        return Exit::failed;
    }
    context.print("Vostel has ended." + cancelledText(calls) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
