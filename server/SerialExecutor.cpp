#include "server/SerialExecutor.h"

#include <vector>

namespace vostel_mcp {

namespace {

struct Piece {
    std::coroutine_handle<> coroutine;
    /// Null when the piece needs no turn.
    std::mutex* turn;
};

void run(const Piece& piece) {
    if (piece.turn == nullptr) return piece.coroutine.resume();
    const std::lock_guard inside{*piece.turn};
    piece.coroutine.resume();
}

void runOnThisThread(const Piece& first) {
    thread_local std::vector<Piece>* waiting = nullptr;
    if (waiting != nullptr) return waiting->push_back(first);

    std::vector<Piece> pieces;
    waiting = &pieces;
    run(first);
    while (!pieces.empty()) {
        const Piece next = pieces.front();
        pieces.erase(pieces.begin());
        run(next);
    }
    waiting = nullptr;
}

} // namespace

void InlineExecutor::post(std::coroutine_handle<> continuation) { runOnThisThread({continuation, nullptr}); }

void SerialExecutor::post(std::coroutine_handle<> continuation) { runOnThisThread({continuation, &turn_}); }

} // namespace vostel_mcp
