#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vexil_test {

/// One HTTP request as it came over the wire. Bytes that a script reads after a head belong to the request of
/// that head.
struct RecordedRequest {
    std::string head;  ///< Request line and header lines with the empty line that ends them.
    std::string body;  ///< The body, without chunked framing if the peer read it with `expectRequest()`.
    std::string raw;   ///< Head, body and framing, byte for byte.
    std::uint64_t bodySize = 0;  ///< Size of the body; above the record limit more than `body.size()`.
    std::size_t connection = 0;  ///< Index of the connection it came on, from 0.
    bool complete = false;       ///< All bytes that the step reads have come.

    /// First line of the head without its line end.
    std::string requestLine() const;
    /// Header lines in order without their line ends, without the request line.
    std::vector<std::string> headerLines() const;
    /// Value of the first header line of that name (ASCII case ignored), without spaces around it.
    std::optional<std::string> header(std::string_view name) const;
};

/// The behaviour of a peer on one connection: steps, played in the order in which they were added.
///
/// A light handle; copies refer to the same script. Steps may be added while the connection is played. A
/// script without further steps leaves the connection open until the client closes it; bytes that the client
/// sends after the end of the script are a failure. A client that leaves in the middle of a step is a
/// failure, too; see `clientMayLeave()`. Steps read exactly their own bytes and leave the rest in the socket.
/// Adding a step after `close()`, `closeAbruptly()`, `reset()` or `thenDefault()` throws `std::logic_error`.
class ConnectionScript {
public:
    /// Sets if the peer responds to "Expect: 100-continue" before it reads a body.
    enum class Interim { Send, Withhold };
    using Answer = std::function<std::string(const std::string&)>;
    using Generator = std::function<void(std::uint64_t offset, std::span<char> bytes)>;

    /// Reads one HTTP request head, up to and including the empty line. Reads no body.
    ConnectionScript& expectHead();
    /// Reads one HTTP request, head and body (Content-Length or chunked with trailers).
    ConnectionScript& expectRequest(Interim interim = Interim::Send);
    /// Reads exactly this many bytes.
    ConnectionScript& expectBytes(std::uint64_t count);
    /// Reads as many bytes as `text` has; other bytes are a failure.
    ConnectionScript& expectExactly(std::string text);
    /// Reads one line, including its CRLF.
    ConnectionScript& expectLine();
    /// Reads one line, which must be `text` (without CRLF).
    ConnectionScript& expectLine(std::string text);
    /// Reads and records all bytes until the client closes or resets.
    ConnectionScript& readUntilClose();
    /// Waits until the client closes or resets; a byte is a failure.
    ConnectionScript& waitForClose();

    /// Sends these bytes.
    ConnectionScript& reply(std::string bytes);
    /// Sends the result of `answer` for the bytes that the last reading step read (raw). Called on the peer's
    /// thread.
    ConnectionScript& replyWith(Answer answer);
    /// Sends only the first `count` bytes; add `close()` or `reset()` to cut the connection there.
    /// Throws `std::invalid_argument` if there are fewer.
    ConnectionScript& replyCut(const std::string& bytes, std::size_t count);
    /// Sends `count` bytes of `ScriptedPeer::patternByte` without storing them.
    ConnectionScript& sendPattern(std::uint64_t count);
    /// Sends `count` bytes, which `generator` writes block by block. Called on the peer's thread.
    ConnectionScript& sendGenerated(std::uint64_t count, Generator generator);

    /// Waits for `ScriptedPeer::release()` of this gate. The client may leave meanwhile; the next step
    /// notices that.
    ConnectionScript& pause(std::string gate = {});

    /// Sends FIN after all sent bytes and discards what the client still sends until it closes as well. The
    /// client reliably gets every sent byte and then the end of the stream, even if it is still sending.
    ConnectionScript& close();
    /// Closes like a process that ends: the system sends FIN, or RST if there are unread bytes.
    ConnectionScript& closeAbruptly();
    /// Sends RST (linger 0). On Linux, sent bytes stay readable if they fitted into the client's receive
    /// buffer.
    ConnectionScript& reset();
    /// From here on the connection gets the default reply for each request.
    ConnectionScript& thenDefault();

    /// A client that closes or resets before the end of the script is not a failure.
    ConnectionScript& clientMayLeave();
    /// The same as a step: allowed from this step on.
    ConnectionScript& thenClientMayLeave();

private:
    friend class ScriptedPeer;
    struct Core;
    struct Script;
    struct Session;
    struct Step;
    ConnectionScript(std::weak_ptr<Core> core, std::shared_ptr<Script> script);
    ConnectionScript& add(Step step);

    std::weak_ptr<Core> m_core;
    std::shared_ptr<Script> m_script;
};

/// A server on 127.0.0.1 that plays scripts and records what it receives.
///
///     ScriptedPeer peer;
///     peer.onConnection().expectHead().reply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok").close();
///     ... let the client talk to peer.url("/path") ...
///     EXPECT_TRUE(peer.waitUntilIdle());
///     EXPECT_TRUE(peer.failures().empty());
///
/// The peer listens from its construction on; its one thread serves all connections. All members may be
/// called from any thread and return copies. Functions given to it run on its thread and must not block. The
/// destructor closes all connections and joins the thread, whatever the clients do.
class ScriptedPeer {
public:
    using DefaultReply = std::function<std::string(const RecordedRequest&)>;
    /// Time limit for events that must come, long enough for a busy machine.
    static constexpr std::chrono::seconds waitLimit{60};

    /// Throws `std::system_error` if there is no free port.
    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// The port, chosen by the system.
    std::uint16_t port() const;
    /// "http://127.0.0.1:PORT" and the path.
    std::string url(std::string_view path = "/") const;

    /// Begins the script of the next connection without one.
    ConnectionScript onConnection();
    /// Connections without a script get this reply for every request. The connection is kept until the client
    /// closes it, or the request or the reply has "Connection: close". Without a default such connections are
    /// closed at once, counted, and are a failure.
    void setDefaultReply(std::string reply);
    /// The same with a reply made from the request. An empty function removes the default.
    void setDefaultReply(DefaultReply reply);
    /// Lets `count` connections pass this gate: waiting ones in order, then the next that come.
    void release(const std::string& gate = {}, std::size_t count = 1);

    /// All requests in the order in which their heads were complete.
    std::vector<RecordedRequest> requests() const;
    /// Number of connections accepted.
    std::size_t connectionCount() const;
    /// Number of connections that had neither script nor default reply.
    std::size_t unexpectedConnections() const;
    /// Number of scripts whose client has not come yet.
    std::size_t unplayedScripts() const;
    /// Every byte that the steps of this connection read. Throws `std::out_of_range` for a connection not
    /// accepted.
    std::string received(std::size_t connection) const;
    /// Number of these bytes, including those above the record limit.
    std::uint64_t receivedSize(std::size_t connection) const;
    /// How many bytes of each connection, request and body are stored; default 64 MiB. Further bytes are only
    /// counted.
    void setRecordLimit(std::size_t bytes);
    /// Forgets recorded requests and bytes; connections keep their indices.
    void clearRecords();

    /// All deviations from the scripts, with connection and step.
    std::vector<std::string> failures() const;

    /// Each waits until its condition is true; false after the time limit.
    bool waitForConnections(std::size_t count, std::chrono::milliseconds limit = waitLimit) const;
    /// Counts complete requests since construction or `clearRecords()`.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = waitLimit) const;
    /// The steps of this connection have read that many bytes.
    bool waitForReceived(std::size_t connection, std::uint64_t count,
                         std::chrono::milliseconds limit = waitLimit) const;
    /// This many connections wait at a gate.
    bool waitUntilPaused(std::size_t count = 1, std::chrono::milliseconds limit = waitLimit) const;
    /// All scripts have been played to their ends, and no connection is in the middle of a step or of a
    /// default request. Everything that clients on this machine did before the call is taken into account.
    bool waitUntilIdle(std::chrono::milliseconds limit = waitLimit) const;

    /// A port of 127.0.0.1 without a listener; it stays reserved until the process ends.
    static std::uint16_t closedPort();
    /// The byte at this offset of a generated body. The period is a prime, so that swapped blocks are
    /// noticed.
    static char patternByte(std::uint64_t offset);
    /// A piece of a generated body.
    static std::string pattern(std::uint64_t offset, std::size_t count);

private:
    using Core = ConnectionScript::Core;
    std::shared_ptr<Core> m_core;
};

}  // namespace vexil_test
