#include "tests/mail/SMTPPeer.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/ssl.hpp>
#include <asio/write.hpp>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace vexil_test {

namespace {

using asio::ip::tcp;
using Tls = asio::ssl::stream<tcp::socket&>;

template <class Result>
Result* valid(Result* result) {
    return result ? result : throw std::runtime_error("OpenSSL has failed");
}

void check(int result) {
    if (result <= 0) {
        throw std::runtime_error("OpenSSL has failed");
    }
}

template <class Object, void (*release)(Object*)>
struct Release {
    void operator()(Object* object) const { release(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509, X509_free>>;

/// A self-signed certificate for localhost.
void giveCertificate(SSL_CTX* context) {
    const Key key(valid(EVP_EC_gen("P-256")));
    const Certificate certificate(valid(X509_new()));
    constexpr long hour = 3600;
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -hour);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), hour);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    const unsigned char host[] = "localhost";
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, host, -1, -1, 0));
    check(X509_set_issuer_name(certificate.get(), name));
    check(X509_set_pubkey(certificate.get(), key.get()));
    check(X509_sign(certificate.get(), key.get(), EVP_sha256()));
    check(SSL_CTX_use_certificate(context, certificate.get()));
    check(SSL_CTX_use_PrivateKey(context, key.get()));
}

std::string pemOf(const std::function<int(BIO*)>& write) {
    const std::unique_ptr<BIO, Release<BIO, BIO_free_all>> bio(valid(BIO_new(BIO_s_mem())));
    check(write(bio.get()));
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

/// Ends a connection: the client has left, or the peer cuts it.
struct End {};

}  // namespace

struct SMTPPeer::Core {
    struct Connection {
        explicit Connection(tcp::socket accepted) : socket(std::move(accepted)) {}

        tcp::socket socket;
        std::optional<Tls> tls;  // of its own thread only
        std::string input;       // of its own thread only
        std::size_t budget = unlimited;
        std::size_t replyBytes = 0;
        std::vector<std::string> dialogue;
        bool hasResumed = false;
        bool hasEnded = false;
        std::thread thread;
    };

    Core(Security itsSecurity, std::vector<std::string> itsOffers)
        : security(itsSecurity), offers(std::move(itsOffers)) {
        giveCertificate(tlsContext.native_handle());
        listener = std::thread([this] { listen(); });
    }

    ~Core() {
        {
            const std::lock_guard lock(mutex);
            isStopping = true;
            for (Connection& connection : connections) {
                shutDown(connection);
            }
        }
        std::error_code ignored;
        // Wakes the listener.
        tcp::socket(context).connect(acceptor.local_endpoint(), ignored);
        listener.join();
        for (Connection& connection : connections) {
            connection.thread.join();
        }
    }

    static void shutDown(Connection& connection) {
        std::error_code ignored;
        if (!connection.hasEnded) {
            connection.socket.shutdown(tcp::socket::shutdown_both, ignored);
        }
    }

    void listen() {
        for (;;) {
            std::error_code error;
            tcp::socket socket(context);
            acceptor.accept(socket, error);
            const std::lock_guard lock(mutex);
            if (isStopping || error) {
                return;
            }
            socket.set_option(tcp::no_delay(true), error);
            Connection& connection = connections.emplace_back(std::move(socket));
            connection.budget = budget;
            connection.thread = std::thread([this, &connection] { serve(connection); });
        }
    }

    void serve(Connection& connection) {
        try {
            play(connection);
        } catch (const End&) {
        } catch (const std::exception&) {
            // The client has left.
        }
        const std::lock_guard lock(mutex);
        std::error_code ignored;
        connection.socket.close(ignored);
        connection.hasEnded = true;
        changed.notify_all();
    }

    void play(Connection& connection) {
        if (security == Security::Implicit) {
            beginTLS(connection);
        }
        reply(connection, "", "220 peer ESMTP\r\n");
        for (;;) {
            std::string line = readTo(connection, "\r\n");
            line.resize(line.size() - 2);
            record(connection, line.starts_with("EHLO ") && line.size() > 5 ? "EHLO *" : line);
            handle(connection, line);
        }
    }

    void handle(Connection& connection, const std::string& line) {
        const auto is = [&](const char* command) { return line.starts_with(command); };
        if (is("EHLO")) {
            reply(connection, line, greeting(connection));
        } else if (is("STARTTLS")) {
            if (reply(connection, line, "220 go ahead\r\n").starts_with("220")) {
                beginTLS(connection);
            }
        } else if (is("AUTH TLS") || is("AUTH SSL")) {
            if (reply(connection, line, "504 not for mail\r\n").starts_with("234")) {
                beginTLS(connection);
            }
        } else if (is("AUTH PLAIN")) {
            logIn(connection, line, {"334 \r\n"});
        } else if (is("AUTH LOGIN")) {
            logIn(connection, line, {"334 VXNlcm5hbWU6\r\n", "334 UGFzc3dvcmQ6\r\n"});
        } else if (is("DATA")) {
            if (reply(connection, line, "354 go on\r\n").starts_with("354")) {
                record(connection, readMessage(connection));
                reply(connection, ".", "250 taken\r\n");
            }
        } else if (is("QUIT")) {
            reply(connection, line, "221 bye\r\n");
            throw End();
        } else if (is("HELP")) {
            reply(connection, line, "214 help yourself\r\n");
        } else {
            reply(connection, line, "250 ok\r\n");
        }
    }

    void logIn(Connection& connection, const std::string& line, const std::vector<std::string>& prompts) {
        for (const std::string& prompt : prompts) {
            if (!reply(connection, line, prompt).starts_with("334")) {
                return;
            }
            std::string answer = readTo(connection, "\r\n");
            answer.resize(answer.size() - 2);
            record(connection, answer);
        }
        reply(connection, "(login)", "235 welcome\r\n");
    }

    std::string greeting(const Connection& connection) const {
        std::vector<std::string> lines = {"peer"};
        for (const std::string& offer : offers) {
            if (!connection.tls || offer != "STARTTLS") {
                lines.push_back(offer);
            }
        }
        std::string text;
        for (const std::string& line : lines) {
            text += (&line == &lines.back() ? "250 " : "250-") + line + "\r\n";
        }
        return text;
    }

    void beginTLS(Connection& connection) {
        connection.tls.emplace(connection.socket, tlsContext);
        std::error_code error;
        connection.tls->handshake(asio::ssl::stream_base::server, error);
        record(connection, error ? "(no TLS)" : "(TLS)");
        {
            const std::lock_guard lock(mutex);
            connection.hasResumed = SSL_session_reused(connection.tls->native_handle()) == 1;
        }
        if (error) {
            throw End();
        }
    }

    /// Sends the reply that a test has set for the command, otherwise `usual`.
    std::string reply(Connection& connection, const std::string& command, const std::string& usual) {
        std::string text = usual;
        std::size_t allowed = 0;
        {
            const std::lock_guard lock(mutex);
            for (const auto& [start, other] : replies) {
                if (start.empty() ? command.empty() : command.starts_with(start)) {
                    text = other;
                }
            }
            allowed = std::min(text.size(), connection.budget - connection.replyBytes);
            connection.replyBytes += allowed;
        }
        const auto bytes = asio::buffer(text.data(), allowed);
        connection.tls ? asio::write(*connection.tls, bytes) : asio::write(connection.socket, bytes);
        if (allowed < text.size() || text.starts_with("421")) {
            throw End();
        }
        const std::lock_guard lock(mutex);
        if (connection.replyBytes == connection.budget) {
            throw End();
        }
        return text;
    }

    /// The bytes up to and including `end`; later bytes stay.
    std::string readTo(Connection& connection, const std::string& end) {
        std::size_t found = connection.input.find(end);
        while (found == std::string::npos) {
            const std::size_t from =
                connection.input.size() < end.size() ? 0 : connection.input.size() - end.size();
            receive(connection);
            found = connection.input.find(end, from);
        }
        std::string text = connection.input.substr(0, found + end.size());
        connection.input.erase(0, found + end.size());
        return text;
    }

    /// A message, up to a line with a single dot, which may be the first line.
    std::string readMessage(Connection& connection) {
        while (connection.input.size() < 3) {
            receive(connection);
        }
        return connection.input.starts_with(".\r\n") ? readTo(connection, ".\r\n")
                                                     : readTo(connection, "\r\n.\r\n");
    }

    void receive(Connection& connection) {
        char block[16384];
        const auto buffer = asio::buffer(block);
        connection.input.append(block, connection.tls ? connection.tls->read_some(buffer)
                                                      : connection.socket.read_some(buffer));
    }

    void record(Connection& connection, const std::string& text) {
        const std::lock_guard lock(mutex);
        connection.dialogue.push_back(text);
    }

    const Security security;
    const std::vector<std::string> offers;
    asio::io_context context;
    tcp::acceptor acceptor{context, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    asio::ssl::context tlsContext{asio::ssl::context::tls_server};

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    bool isStopping = false;
    std::map<std::string, std::string> replies;
    std::size_t budget = unlimited;
    std::deque<Connection> connections;
    std::thread listener;
};

SMTPPeer::SMTPPeer(Security security, std::vector<std::string> offers)
    : m_core(new Core(security, std::move(offers))) {}

SMTPPeer::~SMTPPeer() = default;

int SMTPPeer::port() const {
    return m_core->acceptor.local_endpoint().port();
}

std::string SMTPPeer::certificate() const {
    X509* const certificate = SSL_CTX_get0_certificate(m_core->tlsContext.native_handle());
    return pemOf([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string SMTPPeer::privateKey() const {
    EVP_PKEY* const key = SSL_CTX_get0_privatekey(m_core->tlsContext.native_handle());
    return pemOf(
        [&](BIO* bio) { return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

void SMTPPeer::setReply(const std::string& command, const std::string& reply) {
    const std::lock_guard lock(m_core->mutex);
    m_core->replies[command] = reply;
}

void SMTPPeer::cutAfter(std::size_t replyBytes) {
    const std::lock_guard lock(m_core->mutex);
    m_core->budget = replyBytes;
}

std::vector<std::string> SMTPPeer::dialogue(std::size_t connection) const {
    const std::lock_guard lock(m_core->mutex);
    return connection < m_core->connections.size() ? m_core->connections[connection].dialogue
                                                   : std::vector<std::string>();
}

std::size_t SMTPPeer::connectionCount() const {
    const std::lock_guard lock(m_core->mutex);
    return m_core->connections.size();
}

bool SMTPPeer::hasResumed(std::size_t connection) const {
    const std::lock_guard lock(m_core->mutex);
    return connection < m_core->connections.size() && m_core->connections[connection].hasResumed;
}

std::size_t SMTPPeer::replyBytes(std::size_t connection) const {
    const std::lock_guard lock(m_core->mutex);
    return connection < m_core->connections.size() ? m_core->connections[connection].replyBytes : 0;
}

bool SMTPPeer::waitUntilEnded() const {
    std::unique_lock lock(m_core->mutex);
    // The system clock, because ThreadSanitizer of GCC 12 does not support the wait with the steady clock.
    return m_core->changed.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(60), [&] {
        return std::all_of(m_core->connections.begin(), m_core->connections.end(),
                           [](const auto& connection) { return connection.hasEnded; });
    });
}

}  // namespace vexil_test
