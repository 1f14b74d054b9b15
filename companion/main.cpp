// Vostel: does what the tools of vostel-mcp promise, on this machine. It has no window; it serves the socket until it
// is told to end. This page builds everything and hands each object what it uses.

#include "companion/server/CallServer.h"
#include "companion/store/Recovery.h"
#include "companion/store/Schema.h"
#include "companion/support/RandomUUID.h"
#include "companion/tools/Tools.h"
#include "server/platform/Platform.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <thread>

using namespace vostel_companion;

namespace {

int fail(const std::string& sentence) {
    std::fprintf(stderr, "%s\n", sentence.c_str());
    return EXIT_FAILURE;
}

/// One for each core, but no more than memory is sure to have room for.
std::size_t jobsAtOnce() { return std::clamp(std::thread::hardware_concurrency(), 1U, 4U); }

} // namespace

int main() {
    ::umask(077);
    // Taken by a thread that waits for them, so that no handler interrupts the others, which inherit this mask.
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    auto socket = ListeningSocket::open(vostel_mcp::applicationSupportDirectory());
    if (!socket) return fail(socket.error().description());

    // From here on this is the only one that serves. The connection stays open: the last one to close writes the whole
    // log back into the file, which the calls' short ones need not wait for.
    const Places places = Places::in(vostel_mcp::applicationSupportDirectory());
    auto database = openStore(places.database());
    if (!database) return fail(database.error().description());
    if (auto sound = checkIntegrity(*database); !sound) return fail(sound.error().description());
    const ModelStore models{{places.models(), places.catalogue(), VOSTEL_MODEL_FOLDER}};
    Confirmations confirmations{*database, models, std::chrono::system_clock::now, randomUUID};
    if (auto recovered = recoverAfterCrash(*database, places, confirmations); !recovered)
        std::ignore = fail(recovered.error().description());

    Transcriber transcriber{[&](const std::string& language) { return chooseModel(models, language); }, jobsAtOnce()};
    ToolTable tools;
    addTools(tools, {.places = places, .transcriber = transcriber, .models = models});

    auto server = CallServer::make(*std::move(socket), tools, vostel_mcp::startOwnThread, {});
    if (!server) return fail(server.error().description());
    const auto waiting = vostel_mcp::startOwnThread({"com.vostel.vostel.signals", "signals"}, [&] {
        int signal = 0;
        sigwait(&ending, &signal);
        (*server)->stop();
    });
    if (!waiting) return fail("Vostel could not start: " + waiting.error().systemText() + ".");

    (*server)->run();
    // Deliberate: the thread that waits for signals still uses the objects above, so nothing is destroyed.
    std::_Exit(EXIT_SUCCESS);
}
