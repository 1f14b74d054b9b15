// The least work that a server of this kind must do: the same system calls and threads as vostel-mcp, but no JSON
// reader.
//
// It is not a complete server. It relies on the fixed form of the driver's lines and of the stub's frames, checks
// nothing, and does not support cancellation. Each call uses two new threads, one to connect and one for the exchange.
//
//     bench-floor TOOLS.JSON        the file holds the result of tools/list
#include "posix/UnixSocket.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <pthread.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr std::size_t headerLength = 4;
constexpr std::size_t readLength = 65'536;
constexpr std::string_view wireID = "00000000-0000-4000-8000-000000000000";

std::string toolList;
std::string socketPath;
std::mutex output;

/// The bytes between `before` and the next `after`; empty when there are none.
std::string_view between(std::string_view text, std::string_view before, char after) {
    const std::size_t found = text.find(before);
    if (found == text.npos) return {};
    text.remove_prefix(found + before.size());
    return text.substr(0, text.find(after));
}

/// Writes all pieces to standard output as one line.
void writeLine(std::array<std::string_view, 3> pieces) {
    const std::lock_guard turn{output};
    std::array<iovec, 3> rest{};
    for (std::size_t index = 0; index < pieces.size(); ++index) {
        rest[index] = {const_cast<char*>(pieces[index].data()), pieces[index].size()};
    }
    for (std::size_t first = 0; first < rest.size();) {
        const ssize_t count = ::writev(STDOUT_FILENO, &rest[first], static_cast<int>(rest.size() - first));
        if (count < 0) std::_Exit(EXIT_FAILURE);
        for (auto left = static_cast<std::size_t>(count); first < rest.size();) {
            const std::size_t taken = std::min(left, rest[first].iov_len);
            rest[first].iov_base = static_cast<char*>(rest[first].iov_base) + taken;
            rest[first].iov_len -= taken;
            left -= taken;
            if (rest[first].iov_len > 0) break;
            ++first;
        }
    }
}

/// A buffer that does not initialise its memory.
struct Buffer {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;

    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(bytes); }

    /// Reads once; false at the end.
    bool read(int descriptor) {
        if (capacity - size < readLength) {
            capacity = std::max(2 * capacity, size + readLength);
            bytes = static_cast<char*>(std::realloc(bytes, capacity));
        }
        const ssize_t count = ::read(descriptor, bytes + size, readLength);
        if (count > 0) size += static_cast<std::size_t>(count);
        return count > 0;
    }
    void drop(std::size_t count) {
        size -= count;
        std::memmove(bytes, bytes + count, size);
    }
    [[nodiscard]] std::string_view text() const { return {bytes, size}; }
};

struct Call {
    std::string line;
    posix::FileDescriptor socket;
};

void startThread(void* (*body)(void*), Call* call) {
    constexpr std::size_t stackSize = 1'048'576;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, stackSize);
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    if (::pthread_create(&thread, &attributes, body, call) != 0) std::_Exit(EXIT_FAILURE);
    ::pthread_attr_destroy(&attributes);
}

void sendRequest(const Call& call) {
    const std::string_view line = call.line;
    constexpr std::string_view before = R"("arguments":)";
    const std::size_t found = line.find(before) + before.size();
    const std::string_view arguments = line.substr(found, line.size() - found - 2);
    const std::string head = R"({"kind":"request","payload":{"arguments":)";
    const std::string tail =
        R"(,"clientInfo":{"name":"bench-driver","version":"1.0"},"protocolVersion":4,"requestID":")" +
        std::string{wireID} + R"(","tool":")" + std::string{between(line, R"("name":")", '"')} + "\"}}";
    const std::size_t length = head.size() + arguments.size() + tail.size();
    std::string start;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) start += static_cast<char>(length >> shift & 0xFFU);
    start += head;
    for (const std::string_view piece : {std::string_view{start}, arguments, std::string_view{tail}}) {
        if (!posix::UnixSocket::writeAll(call.socket.get(), std::as_bytes(std::span{piece}))) std::_Exit(EXIT_FAILURE);
    }
}

/// Relays the frames of the answer. The last one is the response.
void relayAnswer(const Call& call) {
    const std::string id{between(call.line, R"("id":)", ',')};
    const std::string lineHead = R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)";
    constexpr std::string_view resultKey = R"("result":)";
    Buffer received;
    while (received.read(call.socket.get())) {
        std::string lines;
        std::size_t done = 0;
        while (received.size - done >= headerLength) {
            std::size_t length = 0;
            for (const char byte : received.text().substr(done, headerLength)) {
                length = length << 8U | static_cast<unsigned char>(byte);
            }
            if (received.size - done - headerLength < length) break;
            const std::string_view payload = received.text().substr(done + headerLength, length);
            done += headerLength + length;
            if (payload.starts_with(R"({"kind":"response")")) {
                if (!lines.empty()) writeLine({lines, {}, {}});
                const std::size_t at = payload.find(resultKey) + resultKey.size();
                return writeLine({lineHead, payload.substr(at, payload.size() - at - 2), "}\n"});
            }
            lines += R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":)";
            lines += between(payload, R"("fraction":)", ',');
            lines += R"(,"progressToken":)" + id + ",\"total\":1}}\n";
        }
        if (!lines.empty()) writeLine({lines, {}, {}});
        received.drop(done);
    }
}

void* runExchange(void* argument) {
    auto* call = static_cast<Call*>(argument);
    sendRequest(*call);
    relayAnswer(*call);
    delete call;
    return nullptr;
}

void* runConnect(void* argument) {
    auto* call = static_cast<Call*>(argument);
    auto socket = posix::UnixSocket::connect(socketPath);
    if (!socket) std::_Exit(EXIT_FAILURE);
    call->socket = *std::move(socket);
    startThread(runExchange, call);
    return nullptr;
}

void handle(std::string_view line) {
    const std::string id{between(line.substr(0, 64), R"("id":)", ',')};
    const std::string head = R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)";
    const std::string_view method = between(line.substr(0, 128), R"("method":")", '"');
    if (method == "tools/call") {
        startThread(runConnect, new Call{std::string{line}, {}});
    } else if (method == "tools/list") {
        writeLine({head, toolList, "}\n"});
    } else {
        writeLine({head, R"({"capabilities":{"tools":{}},"protocolVersion":"2025-06-18"})", "}\n"});
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        std::ifstream file{argv[1]};
        toolList.assign(std::istreambuf_iterator<char>{file}, {});
    }
    const char* home = std::getenv("HOME");
    socketPath = std::string{home != nullptr ? home : ""} + "/Library/Application Support/com.vostel.vostel/mcp.sock";
    Buffer input;
    std::size_t searched = 0;
    while (input.read(STDIN_FILENO)) {
        std::size_t done = 0;
        for (auto end = input.text().find('\n', searched); end != std::string_view::npos;
             end = input.text().find('\n', done)) {
            handle(input.text().substr(done, end - done));
            done = end + 1;
        }
        input.drop(done);
        searched = input.size;
    }
    std::_Exit(EXIT_SUCCESS);
}
