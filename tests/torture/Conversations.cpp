#include "tests/torture/Conversations.h"

namespace torture {

namespace {

constexpr const char* withToken = R"(,"_meta":{"progressToken":"t"})";

auto answered(Stage& stage, std::vector<int> ids) {
    return [&stage, ids = std::move(ids)] {
        for (const int id : ids) {
            if (!stage.isAnswered(id)) return false;
        }
        return true;
    };
}

void playCalls(Stage& stage, std::chrono::milliseconds limit) {
    stage.ping(1);
    stage.call(2, "echo");
    stage.playUntil(answered(stage, {1, 2}), limit);
}

void playOneCall(Stage& stage, std::chrono::milliseconds limit) {
    stage.call(2, "echo");
    stage.playUntil(answered(stage, {2}), limit);
}

void playProgress(Stage& stage, std::chrono::milliseconds limit) {
    stage.call(2, "progress", withToken);
    stage.call(3, "echo");
    stage.playUntil(answered(stage, {2, 3}), limit);
}

void playCancellation(Stage& stage, std::chrono::milliseconds limit) {
    const int before = stage.requests();
    stage.call(2, "hold", withToken);
    stage.playUntil([&] { return stage.requests() > before || stage.isAnswered(2); }, limit);
    stage.cancel(2);
    stage.ping(3);
    stage.playUntil([&] { return stage.cancellations() > 0 && stage.isAnswered(3); },
                    std::min<std::chrono::milliseconds>(limit, std::chrono::milliseconds{300}));
    stage.playUntil(answered(stage, {3}), limit);
    stage.answerHeld();
}

void playSlowClient(Stage& stage, std::chrono::milliseconds limit) {
    stage.readsOutput = false;
    stage.call(2, "large");
    stage.call(3, "large");
    stage.ping(4);
    stage.playUntil([&] { return stage.bytesWaiting() > 60'000; }, std::chrono::milliseconds{100});
    stage.playFor(std::chrono::milliseconds{5});
    stage.readsOutput = true;
    stage.playUntil(answered(stage, {2, 3, 4}), limit);
}

void playLargeCall(Stage& stage, std::chrono::milliseconds limit) {
    stage.call(2, "echo", R"(,"arguments":{"text":")" + std::string(300'000, 'x') + "\"}");
    stage.ping(3);
    stage.playUntil(answered(stage, {2, 3}), limit);
}

void playEnd(Stage& stage, std::chrono::milliseconds limit) {
    const int before = stage.requests();
    stage.call(2, "hold");
    stage.playUntil([&] { return stage.requests() > before || stage.isAnswered(2); }, limit);
    stage.cancel(2);
    // All lines must be written before the input is closed.
    stage.playFor(std::chrono::milliseconds{1});
    stage.closeInput();
    stage.playUntil([&] { return stage.tracer().ending().has_value(); });
}

} // namespace

const std::vector<Conversation>& conversations() {
    static const std::vector<Conversation> all{
        {.name = "start", .ids = {1, 2}, .fromTheStart = true, .play = playCalls},
        {.name = "launch", .ids = {2}, .applicationListens = false, .play = playOneCall},
        {.name = "refused launch",
         .ids = {2},
         .applicationListens = false,
         .applicationIsBroken = true,
         .play = playOneCall},
        {.name = "progress", .ids = {2, 3}, .play = playProgress},
        {.name = "cancellation", .ids = {3}, .cancelled = 2, .afterCancellation = 3, .play = playCancellation},
        {.name = "slow client", .ids = {2, 3, 4}, .play = playSlowClient},
        {.name = "large call", .ids = {2, 3}, .play = playLargeCall},
        {.name = "end", .ids = {}, .cancelled = 2, .play = playEnd},
    };
    return all;
}

} // namespace torture
