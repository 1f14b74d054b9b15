#include "tests/companion/support/TLSServer.h"

#include "posix/FileDescriptor.h"
#include "tests/companion/support/Loopback.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace vostel_tests {

namespace {

void require(bool isFine, const char* what) {
    if (isFine) return;
    std::perror(what);
    std::abort();
}

X509* selfSigned(EVP_PKEY* key) {
    X509* certificate = X509_new();
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 86'400);
    X509_set_pubkey(certificate, key);
    X509_NAME* name = X509_get_subject_name(certificate);
    const unsigned char common[] = "a test of Vostel";
    X509_NAME_add_entry_by_NID(name, NID_commonName, MBSTRING_ASC, common, -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    for (const auto& [kind, value] :
         {std::pair{NID_subject_alt_name, "IP:127.0.0.1"}, std::pair{NID_basic_constraints, "CA:TRUE"}}) {
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
        require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, "extension");
        X509_EXTENSION_free(extension);
    }
    require(X509_sign(certificate, key, EVP_sha256()) > 0, "sign");
    return certificate;
}

} // namespace

struct TLSServer::State {
    Answer answer;
    std::filesystem::path certificate;
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    posix::FileDescriptor listening{::socket(AF_INET, SOCK_STREAM, 0)};
    std::uint16_t port = 0;
    std::atomic<bool> isStopping = false;
    std::thread thread;

    State(const std::filesystem::path& folder, Answer given)
        : answer{std::move(given)}, certificate{folder / "certificate.pem"} {
        // A client may close the connection in the middle of an answer.
        std::signal(SIGPIPE, SIG_IGN);
        EVP_PKEY* key = EVP_EC_gen("P-256");
        X509* own = selfSigned(key);
        require(SSL_CTX_use_certificate(context, own) == 1 && SSL_CTX_use_PrivateKey(context, key) == 1, "key");
        std::FILE* file = std::fopen(certificate.c_str(), "w");
        require(file != nullptr && PEM_write_X509(file, own) == 1 && std::fclose(file) == 0, "certificate");
        X509_free(own);
        EVP_PKEY_free(key);

        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        require(::bind(listening.get(), plain, size) == 0 && ::listen(listening.get(), 8) == 0, "listen");
        require(::getsockname(listening.get(), plain, &size) == 0, "getsockname");
        port = ntohs(address.sin_port);
        thread = std::thread{[this] { serve(); }};
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        isStopping = true;
        // Wakes the thread.
        const posix::FileDescriptor last{::socket(AF_INET, SOCK_STREAM, 0)};
        const sockaddr_in address = loopback(port);
        ::connect(last.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        thread.join();
        SSL_CTX_free(context);
    }

    void serve() {
        while (true) {
            const posix::FileDescriptor connection{::accept(listening.get(), nullptr, nullptr)};
            if (isStopping) return;
            SSL* const tls = SSL_new(context);
            SSL_set_fd(tls, connection.get());
            if (SSL_accept(tls) == 1) answerOn(tls);
            SSL_free(tls);
        }
    }

    void answerOn(SSL* tls) const {
        std::string request;
        while (!request.ends_with("\r\n\r\n")) {
            char character = 0;
            if (SSL_read(tls, &character, 1) != 1) return;
            request += character;
        }
        const std::string bytes = answer(request);
        if (!bytes.empty()) SSL_write(tls, bytes.data(), static_cast<int>(bytes.size()));
        SSL_shutdown(tls);
    }
};

TLSServer::TLSServer(const std::filesystem::path& folder, Answer answer)
    : state_{std::make_unique<State>(folder, std::move(answer))} {}

TLSServer::~TLSServer() = default;

std::string TLSServer::address() const { return "https://127.0.0.1:" + std::to_string(state_->port); }

std::filesystem::path TLSServer::certificate() const { return state_->certificate; }

} // namespace vostel_tests
