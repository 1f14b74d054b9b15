// One server with its client and its application. One thread simulates both.
#pragma once

#include "posix/FileDescriptor.h"
#include "tests/torture/Tracer.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace torture {

/// How long any step may take. Only a server that hangs needs that long.
inline std::chrono::milliseconds longestWait = std::chrono::seconds{10};

class Stage final {
public:
    struct Setting {
        std::string server;
        std::string preloaded;
        std::vector<Fault> faults = {};
        Planted planted = Planted::nothing;
        bool armsAtMain = false;
        bool applicationListens = true;
        /// The launched file is not a program.
        bool applicationIsBroken = false;
    };

    explicit Stage(const Setting& setting);
    ~Stage();
    Stage(const Stage&) = delete;

    // The client.
    void send(std::string_view line);
    /// A tools/call. What the application does with it depends on `tool`.
    void call(int id, std::string_view tool, std::string_view moreParams = "");
    void cancel(int id);
    void ping(int id);
    void closeInput() { input_ = {}; }
    /// While false, the server's output is not read.
    bool readsOutput = true;

    /// Runs until `isReached` returns true; false when the server ends or the time is over first.
    bool playUntil(const std::function<bool()>& isReached, std::chrono::milliseconds limit = longestWait);
    void playFor(std::chrono::milliseconds time) {
        playUntil([] { return false; }, time);
    }

    [[nodiscard]] bool isAnswered(int id) const { return answers(id) > 0; }
    [[nodiscard]] int answers(int id) const;
    [[nodiscard]] bool hasResult(int id) const;
    /// The complete lines so far.
    [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }
    /// The text after the last complete line.
    [[nodiscard]] const std::string& unfinishedLine() const { return unfinished_; }
    [[nodiscard]] const std::string& errorText() const { return errorText_; }
    [[nodiscard]] std::size_t bytesWaiting() const;

    // The application.
    void listen();
    [[nodiscard]] int requests() const { return requests_; }
    [[nodiscard]] int cancellations() const { return cancellations_; }
    /// Answers the delayed calls. Later calls are not delayed.
    void answerHeld();
    [[nodiscard]] bool isLaunched() const { return isLaunched_; }

    // The process.
    [[nodiscard]] Tracer& tracer() { return tracer_; }
    [[nodiscard]] const SharedState& shared() const { return *shared_; }
    [[nodiscard]] std::size_t descriptorCount() const;
    [[nodiscard]] std::size_t threadCount() const;
    [[nodiscard]] bool hasChildren() const;
    /// Waits until only the threads of an idle server are left.
    bool waitForIdle();

private:
    struct Connection {
        posix::FileDescriptor socket;
        std::string received = {};
        std::string wireID = {};
        bool isHeld = false;
    };

    void play(std::chrono::milliseconds limit);
    void readOutput();
    void acceptLaunched();
    void acceptConnection();
    /// False when the connection has ended.
    bool readConnection(Connection& connection);
    static void answer(const Connection& to, const std::string& result);
    void onFrame(Connection& connection, std::string_view payload);

    std::filesystem::path folder_;
    SharedState* shared_ = nullptr;
    std::list<Connection> connections_;
    posix::FileDescriptor listener_, control_;
    posix::FileDescriptor input_, output_, error_;
    std::vector<std::string> lines_;
    std::string unfinished_, errorText_, toSend_;
    int requests_ = 0;
    int cancellations_ = 0;
    bool mayHold_ = true;
    bool isLaunched_ = false;
    Tracer tracer_;
};

/// Ends this process when a system call of the test itself has failed.
[[noreturn]] void giveUp(const char* call);

/// The program that is launched in place of the application. It reports its start and ends.
int playLaunched(const std::string& executable);

} // namespace torture
