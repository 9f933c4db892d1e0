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

/// One HTTP request as it came over the wire. Bytes that a script reads after a head belong to that head's
/// request.
struct RecordedRequest {
    std::string head;  ///< Request line and header lines with the blank line that ends them.
    std::string body;  ///< The body, freed of chunked framing where the peer read it with `expectRequest()`.
    std::string raw;   ///< Head, body and framing, to the byte.
    std::uint64_t bodySize = 0;  ///< Size of the body; more than `body.size()` only behind the record limit.
    std::size_t connection = 0;  ///< Index of the connection it came on, from 0.
    bool complete = false;       ///< Everything that the step wanted has come.

    /// First line of the head without its line end.
    std::string requestLine() const;
    /// Header lines in order without their line ends, without the request line.
    std::vector<std::string> headerLines() const;
    /// Value of the first header line of that name (ASCII case ignored), without blanks around it.
    std::optional<std::string> header(std::string_view name) const;
};

/// What a peer does with one connection: steps, played in the order in which they were added.
///
/// A light handle; copies mean the same script. Steps may be added while the connection is being played. A
/// script that runs out of steps leaves the connection open until the client closes it, and whatever the
/// client sends beyond the script is a failure. A client that leaves in the middle of a step is a failure
/// too, see `clientMayLeave()`. Steps read exactly what they name and leave the rest in the socket. Adding a
/// step behind `close()`, `closeAbruptly()`, `reset()` or `thenDefault()` throws `std::logic_error`.
class ConnectionScript {
public:
    /// Whether the peer answers "Expect: 100-continue" before it reads a body.
    enum class Interim { Send, Withhold };
    using Answer = std::function<std::string(const std::string&)>;
    using Generator = std::function<void(std::uint64_t offset, std::span<char> bytes)>;

    /// Reads one HTTP request head, to and with the blank line. Reads nothing of a body.
    ConnectionScript& expectHead();
    /// Reads one HTTP request, head and body (Content-Length or chunked with trailers).
    ConnectionScript& expectRequest(Interim interim = Interim::Send);
    /// Reads exactly that many bytes.
    ConnectionScript& expectBytes(std::uint64_t count);
    /// Reads as many bytes as `text` has; a difference is a failure.
    ConnectionScript& expectExactly(std::string text);
    /// Reads one line, to and with CRLF.
    ConnectionScript& expectLine();
    /// Reads one line, which must be `text` (without CRLF).
    ConnectionScript& expectLine(std::string text);
    /// Reads and records whatever comes until the client closes or resets.
    ConnectionScript& readUntilClose();
    /// Waits until the client closes or resets; a byte instead is a failure.
    ConnectionScript& waitForClose();

    /// Sends these bytes.
    ConnectionScript& reply(std::string bytes);
    /// Sends what `answer` makes of the bytes that the last reading step read (raw). Called on the peer's
    /// thread.
    ConnectionScript& replyWith(Answer answer);
    /// Sends only the first `count` bytes; `close()` or `reset()` behind it makes the cut.
    /// Throws `std::invalid_argument` if there are fewer.
    ConnectionScript& replyCut(const std::string& bytes, std::size_t count);
    /// Sends `count` bytes of `ScriptedPeer::patternByte` without holding them in memory.
    ConnectionScript& sendPattern(std::uint64_t count);
    /// Sends `count` bytes, which `generator` fills in block by block. Called on the peer's thread.
    ConnectionScript& sendGenerated(std::uint64_t count, Generator generator);

    /// Waits for `ScriptedPeer::release()` of this gate. The client may leave meanwhile; the next step finds
    /// out.
    ConnectionScript& pause(std::string gate = {});

    /// Sends FIN behind all sent bytes, discards what the client still sends until it closes as well. So the
    /// client surely gets every sent byte and then the end of the stream, even if it is still sending.
    ConnectionScript& close();
    /// Closes as a process does that ends: the system sends FIN, or RST if it holds bytes that were not read.
    ConnectionScript& closeAbruptly();
    /// Sends RST (linger 0). Sent bytes stay readable on Linux as far as the client's receive buffer took
    /// them.
    ConnectionScript& reset();
    /// From here on the connection is served by the default reply, request by request.
    ConnectionScript& thenDefault();

    /// A client that closes or resets before the script has ended is no failure.
    ConnectionScript& clientMayLeave();
    /// The same as a step: allowed from here on.
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
    /// For what must come, whatever else the machine does.
    static constexpr std::chrono::seconds waitLimit{60};

    /// Throws `std::system_error` if no port can be had.
    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// The port, chosen by the system.
    std::uint16_t port() const;
    /// "http://127.0.0.1:PORT" and the path.
    std::string url(std::string_view path = "/") const;

    /// Begins the script of the next connection that has none yet.
    ConnectionScript onConnection();
    /// Unscripted connections get this reply for every request, on a connection that is kept until the client
    /// closes or request or reply say "Connection: close". Without default they are closed at once, counted
    /// and a failure.
    void setDefaultReply(std::string reply);
    /// The same with a reply made from the request. An empty function takes the default away.
    void setDefaultReply(DefaultReply reply);
    /// Lets `count` connections pass this gate: those that wait, in order, or the next that come.
    void release(const std::string& gate = {}, std::size_t count = 1);

    /// All requests in the order in which their heads were complete.
    std::vector<RecordedRequest> requests() const;
    /// Number of connections accepted.
    std::size_t connectionCount() const;
    /// Number of connections that had neither script nor default reply.
    std::size_t unexpectedConnections() const;
    /// Number of scripts for which no client has come yet.
    std::size_t unplayedScripts() const;
    /// Every byte that the steps of this connection read. Throws `std::out_of_range` for a connection not
    /// accepted.
    std::string received(std::size_t connection) const;
    /// Number of these bytes, also of those behind the record limit.
    std::uint64_t receivedSize(std::size_t connection) const;
    /// How many bytes are kept of each connection, request and body; default 64 MiB. What is more is only
    /// counted.
    void setRecordLimit(std::size_t bytes);
    /// Forgets recorded requests and bytes; connections keep their indices.
    void clearRecords();

    /// Everything that did not go by the script, with connection and step.
    std::vector<std::string> failures() const;

    /// Each waits until true or for the time limit and then returns false.
    bool waitForConnections(std::size_t count, std::chrono::milliseconds limit = waitLimit) const;
    /// Counts complete requests since construction or `clearRecords()`.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = waitLimit) const;
    /// The steps of this connection have read that many bytes.
    bool waitForReceived(std::size_t connection, std::uint64_t count,
                         std::chrono::milliseconds limit = waitLimit) const;
    /// That many connections stand at a gate.
    bool waitUntilPaused(std::size_t count = 1, std::chrono::milliseconds limit = waitLimit) const;
    /// Every script was played to its end, and no connection is in the middle of a step or of a default
    /// request. What clients of this machine did before the call is taken into account.
    bool waitUntilIdle(std::chrono::milliseconds limit = waitLimit) const;

    /// A port of 127.0.0.1 where nothing listens; it stays reserved until the process ends.
    static std::uint16_t closedPort();
    /// The byte at this offset of a generated body. The period is a prime, so that exchanged blocks are
    /// noticed.
    static char patternByte(std::uint64_t offset);
    /// A piece of a generated body.
    static std::string pattern(std::uint64_t offset, std::size_t count);

private:
    using Core = ConnectionScript::Core;
    std::shared_ptr<Core> m_core;
};

}  // namespace vexil_test
