// A web server on the loopback interface that speaks https, with a certificate of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vostel_tests {

/// Answers one connection after the other on a thread of its own, and closes each after one answer.
class TLSServer final {
public:
    /// Returns the bytes to send. `request` is the head of the request with the empty line at its end.
    using Answer = std::function<std::string(const std::string& request)>;

    /// Writes the certificate to a file in `folder`.
    TLSServer(const std::filesystem::path& folder, Answer answer);
    TLSServer(const TLSServer&) = delete;
    TLSServer& operator=(const TLSServer&) = delete;
    ~TLSServer();

    /// "https://127.0.0.1:12345"
    [[nodiscard]] std::string address() const;
    /// The file of the certificate, which a client has to trust.
    [[nodiscard]] std::filesystem::path certificate() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace vostel_tests
