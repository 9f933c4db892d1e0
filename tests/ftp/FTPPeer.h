#pragma once

#include "tests/support/ScriptedPeer.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vexil_test {

/// A command of a client to an FTP server, and the server's replies.
struct FTPExchange {
    /// What happens on the data connection between the first reply and the last one.
    enum class Data {
        None,
        Send,     ///< the peer sends `bytes` and closes
        Receive,  ///< the peer reads until the client closes; the size of `bytes` defines the middle
    };

    std::string command;  ///< Without its line end; "" for a greeting.
    std::vector<std::string>
        replies;  ///< Without their last line ends. "DATA_PORT" and "DATA_ADDRESS" in them
                  ///< stand for the passive port and its form for PASV, and open it.
    Data data = Data::None;
    std::string bytes = {};
    bool isOptional = false;  ///< The client may leave and not send it.
};

using FTPDialogue = std::vector<FTPExchange>;

/// Where a connection is cut.
struct FTPCut {
    enum class Place { Nowhere, BeforeReply, WithinReply, BehindReply, DataRefused, BeforeData, WithinData };
    enum class Way { Close, Reset };

    Place place = Place::Nowhere;
    Way way = Way::Close;
    /// Index of the reply in the dialogue, or of the data connection, from 0.
    std::size_t index = 0;
};

/// An FTP server on 127.0.0.1 that plays dialogues and compares each command line with the script. Data
/// connections are passive. Limits and time rules are those of ScriptedPeer; there is one for each kind of
/// connection.
class FTPPeer {
public:
    FTPPeer();
    ~FTPPeer();
    FTPPeer(const FTPPeer&) = delete;
    FTPPeer& operator=(const FTPPeer&) = delete;

    /// "127.0.0.1:PORT".
    std::string host() const;

    /// Plays the next control connection. A dialogue that is not cut must come to its end. The connection
    /// then closes, and a client that leaves earlier or sends more is a failure. If its data connection is
    /// refused after EPSV, a client is expected to try PASV, which is refused as well. After a cut data
    /// connection the reply to the transfer is 426. Commands after that are not compared.
    void play(const FTPDialogue& dialogue, const FTPCut& cut = {});

    /// The bytes that the n-th data connection has received.
    std::string received(std::size_t transfer) const { return m_data->received(transfer); }
    std::size_t controlConnectionCount() const { return m_control->connectionCount(); }
    std::size_t dataConnectionCount() const { return m_data->connectionCount(); }
    /// Waits for the ends of the dialogues and of the data connections.
    bool waitUntilIdle() const;
    /// Waits for the ends of the dialogues.
    bool waitUntilTold() const { return m_control->waitUntilIdle(); }
    std::vector<std::string> failures() const;

private:
    struct Link;
    struct Player;

    const std::unique_ptr<ScriptedPeer> m_data;
    const std::shared_ptr<Link> m_link;
    std::unique_ptr<ScriptedPeer> m_control;
    std::size_t m_transfers = 0;
};

/// Number of replies in a dialogue.
std::size_t replyCountOf(const FTPDialogue& dialogue);
/// Number of data connections that a dialogue opens.
std::size_t dataConnectionCountOf(const FTPDialogue& dialogue);

}  // namespace vexil_test
