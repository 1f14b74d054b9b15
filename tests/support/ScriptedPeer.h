// The application's end of one connection. It sends the pieces of a script. Then the stream ends or stays open.
#pragma once

#include "posix/FileDescriptor.h"
#include "tests/support/Frame.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace vostel_tests {

/// One piece for each byte.
[[nodiscard]] inline std::vector<std::string> splitAtEveryByte(std::string_view bytes) {
    std::vector<std::string> pieces;
    for (const char byte : bytes) pieces.emplace_back(1, byte);
    return pieces;
}

class ScriptedPeer final {
public:
    enum class Ending {
        /// The application ends the stream.
        endOfStream,
        /// The stream stays open.
        silence,
        /// The application has ended: its end is closed before the client writes.
        gone,
    };

    /// Deliberate: a socket that keeps message boundaries, so that each read of the client returns one piece, and no
    /// second thread must send the pieces. The constructor sends everything at once. More than 250 pieces do not fit.
    explicit ScriptedPeer(const std::vector<std::string>& pieces, Ending ending = Ending::endOfStream) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) std::abort();
        applicationEnd_ = posix::FileDescriptor{ends[0]};
        clientEnd_ = posix::FileDescriptor{ends[1]};
        for (const std::string& piece : pieces) sendPiece(piece);
        if (ending == Ending::endOfStream) ::shutdown(descriptor(), SHUT_WR);
        if (ending == Ending::gone) applicationEnd_ = {};
    }

    /// The client's end of the connection. Call it once.
    [[nodiscard]] posix::FileDescriptor takeClientEnd() { return std::move(clientEnd_); }

    /// May be called from a signal handler.
    void sendPiece(std::string_view piece) const {
        if (::send(descriptor(), piece.data(), piece.size(), MSG_DONTWAIT) != static_cast<ssize_t>(piece.size())) {
            std::abort();
        }
    }

    /// Everything that the client has written since the last call.
    [[nodiscard]] std::string received() {
        std::string bytes;
        for (;;) {
            std::string piece(1 << 18, '\0');
            const ssize_t count = ::recv(descriptor(), piece.data(), piece.size(), MSG_DONTWAIT);
            // A client that closes before it has read everything resets the connection.
            if (count == 0 || (count < 0 && errno == ECONNRESET)) clientClosed_ = true;
            if (count <= 0) return bytes;
            bytes.append(piece, 0, static_cast<std::size_t>(count));
        }
    }

    [[nodiscard]] bool clientHasClosed() {
        std::ignore = received();
        return clientClosed_;
    }

private:
    [[nodiscard]] int descriptor() const { return applicationEnd_.get(); }

    posix::FileDescriptor applicationEnd_;
    posix::FileDescriptor clientEnd_;
    bool clientClosed_ = false;
};

} // namespace vostel_tests
