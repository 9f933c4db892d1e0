#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexil_test {

/// A mail server on 127.0.0.1 that accepts everything and records what it receives. A test can set other
/// replies. TLS with a self-signed certificate. The control connection of an FTP server behaves like this
/// one, if its replies are set: AUTH begins TLS if its reply is 234.
///
///     SMTPPeer peer(SMTPPeer::Security::StartTLS, {"STARTTLS", "AUTH PLAIN"});
///     peer.setReply("RCPT", "550 no\r\n");
///     ... let the client talk to 127.0.0.1, peer.port() ...
///     EXPECT_EQ(peer.dialogue(0), ...);
///
/// All members may be called from any thread. The destructor ends all connections at once.
class SMTPPeer {
public:
    enum class Security {
        None,      ///< STARTTLS works if it is offered
        Implicit,  ///< TLS from the first byte
    };
    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    /// \param offers  extensions in the reply to EHLO, before and after TLS; STARTTLS only before
    explicit SMTPPeer(Security security = Security::None, std::vector<std::string> offers = {});
    ~SMTPPeer();
    SMTPPeer(const SMTPPeer&) = delete;
    SMTPPeer& operator=(const SMTPPeer&) = delete;

    int port() const;
    /// Certificate and private key, for "localhost". PEM.
    std::string certificate() const;
    std::string privateKey() const;

    /// The reply, with its line ends, to all commands that begin with `command`; "" as a command stands for
    /// the greeting, "." for a message. A reply that begins with "421" ends the connection.
    void setReply(const std::string& command, const std::string& reply);
    /// New connections are cut after this many bytes of all replies together.
    void cutAfter(std::size_t replyBytes);
    /// What a connection has sent: its lines without line ends, "EHLO *" for any name; the message unchanged,
    /// up to the line that ends it; "(TLS)" after a handshake, "(no TLS)" after a failed one. Empty for a
    /// connection that never came.
    std::vector<std::string> dialogue(std::size_t connection) const;
    std::size_t connectionCount() const;
    /// True if the TLS of a connection resumes the session of an earlier one.
    bool hasResumed(std::size_t connection) const;
    /// The bytes of all replies of a connection.
    std::size_t replyBytes(std::size_t connection) const;
    /// Waits until all connections have ended. False after a minute.
    bool waitUntilEnded() const;

private:
    struct Core;
    std::unique_ptr<Core> m_core;
};

}  // namespace vexil_test
