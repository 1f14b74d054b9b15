#include "tests/torture/Stage.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace torture {

namespace files = std::filesystem;

namespace {

files::path temporaryFolder() {
    std::string name = "/tmp/torture-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) giveUp("mkdtemp");
    return name;
}

SharedState* makeShared(const files::path& file) {
    const posix::FileDescriptor descriptor{open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    if (ftruncate(descriptor.get(), sizeof(SharedState)) != 0) giveUp("ftruncate");
    void* mapping = mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
    if (mapping == MAP_FAILED) giveUp("mmap");
    return new (mapping) SharedState{};
}

sockaddr_un addressOf(const files::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

posix::FileDescriptor listenAt(const files::path& path) {
    files::create_directories(path.parent_path());
    posix::FileDescriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    const sockaddr_un address = addressOf(path);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) giveUp("bind");
    if (::listen(listener.get(), 16) != 0) giveUp("listen");
    return listener;
}

std::string framed(std::string_view payload) {
    std::string frame;
    for (const int shift : {24, 16, 8, 0}) frame += static_cast<char>(payload.size() >> shift & 0xFF);
    return frame.append(payload);
}

std::string textAfter(std::string_view text, std::string_view key) {
    const auto begin = text.find(key);
    if (begin == text.npos) return {};
    text.remove_prefix(begin + key.size());
    return std::string{text.substr(0, text.find('"'))};
}

/// Sends all bytes. Most messages fit into a socket's buffer; only deliberately large ones do not.
void sendAll(const posix::FileDescriptor& socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            usleep(1'000);
        } else {
            return;
        }
    }
}

std::pair<posix::FileDescriptor, posix::FileDescriptor> pipeEnds() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) giveUp("pipe2");
    return {posix::FileDescriptor{ends[0]}, posix::FileDescriptor{ends[1]}};
}

void makeNonBlocking(const posix::FileDescriptor& descriptor) {
    fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

std::size_t entriesOf(const files::path& folder) {
    std::error_code gone;
    std::size_t count = 0;
    for (files::directory_iterator entry{folder, gone}, end; !gone && entry != end; entry.increment(gone)) ++count;
    return count;
}

} // namespace

Stage::Stage(const Setting& setting)
    : folder_{temporaryFolder()}, shared_{makeShared(folder_ / "state")}, tracer_{*shared_, setting.faults} {
    shared_->planted = setting.planted;
    for (const Fault& fault : setting.faults) {
        if (fault.kind != Fault::Kind::allocation) continue;
        shared_->failsAt = fault.position;
        shared_->stays = fault.stays;
    }
    // A bundle like the installed one. It holds copies, because the server looks for the application beside its own
    // file.
    const files::path bundle = folder_ / "Vostel.app" / "Contents" / "MacOS";
    files::create_directories(bundle);
    files::copy_file(setting.server, bundle / "vostel-mcp");
    if (setting.applicationIsBroken) {
        std::ofstream{bundle / "Vostel"} << "no program";
        files::permissions(bundle / "Vostel", files::perms::owner_all);
    } else {
        files::copy_file("/proc/self/exe", bundle / "Vostel");
    }
    control_ = listenAt(bundle / "control.sock");
    if (setting.applicationListens) listen();

    auto input = pipeEnds(), output = pipeEnds(), error = pipeEnds();
    input_ = std::move(input.second);
    output_ = std::move(output.first);
    error_ = std::move(error.first);
    for (const auto* descriptor : {&input_, &output_, &error_}) makeNonBlocking(*descriptor);
    tracer_.start({.executable = bundle / "vostel-mcp",
                   .environment = {"HOME=" + folder_.string(), "CFFIXED_USER_HOME=" + folder_.string(),
                                   "LD_PRELOAD=" + setting.preloaded, "TORTURE_STATE=" + (folder_ / "state").string()},
                   .input = input.first.get(),
                   .output = output.second.get(),
                   .error = error.second.get()},
                  setting.armsAtMain);
}

Stage::~Stage() {
    tracer_.kill();
    playUntil([this] { return tracer_.isAlone(); });
    std::error_code failure;
    files::remove_all(folder_, failure);
}

void Stage::send(std::string_view line) { toSend_.append(line).append("\n"); }

void Stage::call(int id, std::string_view tool, std::string_view moreParams) {
    send(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"tools/call","params":{"name":")" +
         std::string{tool} + "\"" + std::string{moreParams} + "}}");
}

void Stage::cancel(int id) {
    send(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)" + std::to_string(id) + "}}");
}

void Stage::ping(int id) { send(R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"ping"})"); }

bool Stage::playUntil(const std::function<bool()>& isReached, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!isReached()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        const bool hasEnded = tracer_.ending().has_value();
        play(std::min(left, std::chrono::milliseconds{5}));
        if (hasEnded) return isReached();
    }
    return true;
}

int Stage::answers(int id) const {
    const std::string number = std::to_string(id);
    return static_cast<int>(std::ranges::count_if(lines_, [&](const std::string& line) {
        return line.starts_with(R"({"id":)" + number + ",") || line.contains(R"(},"id":)" + number + ",");
    }));
}

bool Stage::hasResult(int id) const {
    return std::ranges::any_of(
        lines_, [&](const std::string& line) { return line.starts_with(R"({"id":)" + std::to_string(id) + ","); });
}

std::size_t Stage::bytesWaiting() const {
    int count = 0;
    ioctl(output_.get(), FIONREAD, &count);
    return static_cast<std::size_t>(count);
}

void Stage::listen() {
    listener_ = listenAt(folder_ / "Library" / "Application Support" / "com.vostel.vostel" / "mcp.sock");
}

std::size_t Stage::descriptorCount() const { return entriesOf("/proc/" + std::to_string(tracer_.server()) + "/fd"); }

std::size_t Stage::threadCount() const { return entriesOf("/proc/" + std::to_string(tracer_.server()) + "/task"); }

bool Stage::hasChildren() const {
    const std::string server = std::to_string(tracer_.server());
    std::ifstream children{"/proc/" + server + "/task/" + server + "/children"};
    std::string first;
    return static_cast<bool>(children >> first);
}

bool Stage::waitForIdle() {
    return playUntil([this] { return threadCount() == 2; });
}

void Stage::play(std::chrono::milliseconds limit) {
    std::vector<pollfd> waiting{{control_.get(), POLLIN, 0}, {error_.get(), POLLIN, 0}};
    if (readsOutput) waiting.push_back({output_.get(), POLLIN, 0});
    if (listener_.isOpen()) waiting.push_back({listener_.get(), POLLIN, 0});
    if (input_.isOpen() && !toSend_.empty()) waiting.push_back({input_.get(), POLLOUT, 0});
    for (const Connection& connection : connections_) waiting.push_back({connection.socket.get(), POLLIN, 0});
    std::erase_if(waiting, [](const pollfd& each) { return each.fd < 0; });
    poll(waiting.data(), waiting.size(), static_cast<int>(limit.count()));

    if (input_.isOpen() && !toSend_.empty()) {
        const ssize_t count = ::write(input_.get(), toSend_.data(), toSend_.size());
        if (count > 0) toSend_.erase(0, static_cast<std::size_t>(count));
        if (count < 0 && errno != EAGAIN) toSend_.clear();
    }
    readOutput();
    acceptLaunched();
    acceptConnection();
    connections_.remove_if([this](Connection& connection) { return !readConnection(connection); });
}

void Stage::readOutput() {
    char bytes[65'536];
    const auto read = [&](posix::FileDescriptor& from, std::string& into) {
        while (from.isOpen()) {
            const ssize_t count = ::read(from.get(), bytes, sizeof bytes);
            if (count == 0) from = {};
            if (count <= 0) return;
            into.append(bytes, static_cast<std::size_t>(count));
        }
    };
    read(error_, errorText_);
    if (!readsOutput) return;
    read(output_, unfinished_);
    for (auto end = unfinished_.find('\n'); end != unfinished_.npos; end = unfinished_.find('\n')) {
        lines_.push_back(unfinished_.substr(0, end));
        unfinished_.erase(0, end + 1);
    }
}

void Stage::acceptLaunched() {
    const posix::FileDescriptor launched{accept4(control_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    if (!launched.isOpen()) return;
    isLaunched_ = true;
    if (!listener_.isOpen()) listen();
}

void Stage::acceptConnection() {
    if (!listener_.isOpen()) return;
    posix::FileDescriptor socket{accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
    if (socket.isOpen()) connections_.push_back({.socket = std::move(socket)});
}

bool Stage::readConnection(Connection& connection) {
    char bytes[65'536];
    for (;;) {
        const ssize_t count = recv(connection.socket.get(), bytes, sizeof bytes, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN)) return false;
        if (count < 0) break;
        connection.received.append(bytes, static_cast<std::size_t>(count));
    }
    std::string& received = connection.received;
    if (received.size() < 4) return true;
    std::size_t length = 0;
    for (const char byte : received.substr(0, 4)) length = length << 8 | static_cast<unsigned char>(byte);
    if (received.size() < 4 + length) return true;
    onFrame(connection, std::string_view{received}.substr(4, length));
    received.erase(0, 4 + length);
    return true;
}

void Stage::answer(const Connection& to, const std::string& result) {
    sendAll(to.socket,
            framed(R"({"kind":"response","payload":{"requestID":")" + to.wireID + R"(","result":)" + result + "}}"));
}

void Stage::answerHeld() {
    mayHold_ = false;
    for (Connection& connection : connections_) {
        if (std::exchange(connection.isHeld, false)) answer(connection, "\"late\"");
    }
}

void Stage::onFrame(Connection& connection, std::string_view payload) {
    const std::string wireID = textAfter(payload, R"("requestID":")");
    if (payload.starts_with(R"({"kind":"cancellation")")) {
        ++cancellations_;
        for (Connection& other : connections_) {
            if (other.wireID == wireID && std::exchange(other.isHeld, false)) answer(other, "\"cancelled\"");
        }
        return;
    }
    ++requests_;
    connection.wireID = wireID;
    const std::string tool = textAfter(payload, R"("tool":")");
    if (tool == "hold" && mayHold_) {
        connection.isHeld = true;
        return;
    }
    if (tool == "progress") {
        std::string reports;
        for (const char* fraction : {"0.25", "0.5", "0.75"}) {
            reports += framed(R"({"kind":"progress","payload":{"fraction":)" + std::string{fraction} +
                              R"(,"message":"on its way","requestID":")" + wireID + "\"}}");
        }
        sendAll(connection.socket, reports);
    }
    answer(connection, tool == "large" ? '"' + std::string(150'000, 'x') + '"' : "{}");
}

int playLaunched(const std::string& executable) {
    const sockaddr_un address = addressOf(files::path{executable}.parent_path() / "control.sock");
    const int control = socket(AF_UNIX, SOCK_STREAM, 0);
    return connect(control, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : 1;
}

void giveUp(const char* call) {
    std::perror(call);
    std::exit(EXIT_FAILURE);
}

} // namespace torture
