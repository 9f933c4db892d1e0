#include "tests/support/ScriptedPeer.h"

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using asio::ip::tcp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vexil_test::ConnectionScript;
using vexil_test::RecordedRequest;
using vexil_test::ScriptedPeer;

const std::string getRequest = "GET /a HTTP/1.1\r\nHost: h\r\n\r\n";
const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
const std::string continueReply = "HTTP/1.1 100 Continue\r\n\r\n";

enum class End { None, Fin, Reset, Other };

/// All bytes that a client got until the stream ended.
struct Got {
    std::string bytes;
    End end = End::None;
};

class Client {
public:
    explicit Client(const ScriptedPeer& peer) : Client(peer.port()) {}
    explicit Client(std::uint16_t port) { m_socket.connect({asio::ip::address_v4::loopback(), port}); }

    void send(std::string_view bytes) { asio::write(m_socket, asio::buffer(bytes.data(), bytes.size())); }

    std::string read(std::size_t count) {
        std::string bytes(count, '\0');
        std::error_code error;
        bytes.resize(asio::read(m_socket, asio::buffer(bytes), error));
        return bytes;
    }

    Got readToEnd() {
        Got got;
        std::string block(64 * 1024, '\0');
        for (;;) {
            std::error_code error;
            const std::size_t count = m_socket.read_some(asio::buffer(block), error);
            got.bytes.append(block, 0, count);
            if (error) {
                got.end = error == asio::error::eof                ? End::Fin
                          : error == asio::error::connection_reset ? End::Reset
                                                                   : End::Other;
                return got;
            }
        }
    }

    /// Sends until the connection fails or everything is sent.
    std::error_code trySend(std::size_t count) {
        const std::string block(64 * 1024, 'x');
        std::error_code error;
        for (std::size_t sent = 0; sent < count && !error; sent += block.size())
            asio::write(m_socket, asio::buffer(block), error);
        return error;
    }

    bool hasNothingToRead() { return m_socket.available() == 0; }
    void finish() { m_socket.shutdown(tcp::socket::shutdown_send); }
    void reset() {
        m_socket.set_option(tcp::socket::linger(true, 0));
        m_socket.close();
    }
    void close() { m_socket.close(); }

private:
    asio::io_context m_context;
    tcp::socket m_socket{m_context};
};

void expectPlayed(const ScriptedPeer& peer) {
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(), IsEmpty());
    EXPECT_EQ(peer.unplayedScripts(), 0u);
}

TEST(ScriptedPeerTest, ListensOnALoopbackPortOfItsOwn) {
    const ScriptedPeer peer;
    const ScriptedPeer other;
    EXPECT_NE(peer.port(), 0);
    EXPECT_NE(peer.port(), other.port());
    EXPECT_EQ(peer.url("/a?b"), "http://127.0.0.1:" + std::to_string(peer.port()) + "/a?b");
    EXPECT_EQ(peer.url(), "http://127.0.0.1:" + std::to_string(peer.port()) + "/");
}

TEST(ScriptedPeerTest, RepliesToAHeadAndCloses) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply).close();

    Client client(peer);
    client.send(getRequest);
    const Got got = client.readToEnd();
    EXPECT_EQ(got.bytes, okReply);
    EXPECT_EQ(got.end, End::Fin);

    expectPlayed(peer);
    ASSERT_EQ(peer.requests().size(), 1u);
    EXPECT_EQ(peer.requests()[0].head, getRequest);
    EXPECT_EQ(peer.requests()[0].raw, getRequest);
    EXPECT_EQ(peer.requests()[0].body, "");
    EXPECT_TRUE(peer.requests()[0].complete);
    EXPECT_EQ(peer.received(0), getRequest);
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST(ScriptedPeerTest, FindsTheEndOfAHeadThatComesByteByByte) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply).close();
    Client client(peer);
    for (std::size_t i = 0; i < getRequest.size(); ++i) {
        client.send(getRequest.substr(i, 1));
        ASSERT_TRUE(peer.waitForReceived(0, i + 1));
    }
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), getRequest);
}

TEST(ScriptedPeerTest, ReadsABodyByContentLength) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply).close();
    const std::string head = "PUT /a HTTP/1.1\r\ncontent-length: 5\r\n\r\n";

    Client client(peer);
    client.send(head + "he");
    client.send("llo");
    EXPECT_EQ(client.readToEnd().bytes, okReply);

    expectPlayed(peer);
    ASSERT_EQ(peer.requests().size(), 1u);
    EXPECT_EQ(peer.requests()[0].head, head);
    EXPECT_EQ(peer.requests()[0].body, "hello");
    EXPECT_EQ(peer.requests()[0].bodySize, 5u);
    EXPECT_EQ(peer.requests()[0].raw, head + "hello");
    EXPECT_EQ(peer.received(0), head + "hello");
    EXPECT_EQ(peer.receivedSize(0), head.size() + 5);
}

TEST(ScriptedPeerTest, ReadsAChunkedBodyWithExtensionAndTrailer) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply).close();
    const std::string head = "PUT /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::string body = "5\r\nhello\r\nA;x=y\r\n, \r\n world\r\n0\r\nX-Sum: 1\r\n\r\n";

    Client client(peer);
    client.send(head + body);
    EXPECT_EQ(client.readToEnd().bytes, okReply);

    expectPlayed(peer);
    ASSERT_EQ(peer.requests().size(), 1u);
    EXPECT_EQ(peer.requests()[0].body, "hello, \r\n world");
    EXPECT_EQ(peer.requests()[0].bodySize, 15u);
    EXPECT_EQ(peer.requests()[0].raw, head + body);
    EXPECT_EQ(peer.received(0), head + body);
}

TEST(ScriptedPeerTest, FailsOnBrokenFraming) {
    const std::string chunkedHead = "PUT /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::vector<std::pair<std::string, std::string>> cases{
        {chunkedHead + "zz\r\n", "bad chunk size \"zz\""},
        {chunkedHead + "\r\n", "bad chunk size \"\""},
        {chunkedHead + "1\r\nabc\r\n", "no line end behind a chunk, but \"bc\\r\\n\""},
        {"PUT /a HTTP/1.1\r\nContent-Length: -1\r\n\r\n", "bad Content-Length \"-1\""}};
    for (const auto& [request, failure] : cases) {
        ScriptedPeer peer;
        peer.onConnection().expectRequest().reply(okReply).close();
        Client client(peer);
        client.send(request);
        EXPECT_EQ(client.readToEnd().bytes, "");
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), ElementsAre("connection 0, step 1 (expectRequest): " + failure));
    }
}

TEST(ScriptedPeerTest, AnswersExpectContinueBeforeTheBody) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply).close();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.read(continueReply.size()), continueReply);
    client.send("abc");
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().at(0).body, "abc");
}

TEST(ScriptedPeerTest, WithholdsTheInterimAnswerWhenTold) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest(ConnectionScript::Interim::Withhold).reply(okReply).close();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, SendsNoInterimAnswerUnasked) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply).close();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, PlaysSeveralRoundsOnOneConnection) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply("one").expectRequest().reply("two").waitForClose();
    Client client(peer);
    client.send("PUT /1 HTTP/1.1\r\nContent-Length: 1\r\n\r\nA");
    EXPECT_EQ(client.read(3), "one");
    client.send("PUT /2 HTTP/1.1\r\nContent-Length: 1\r\n\r\nB");
    EXPECT_EQ(client.read(3), "two");
    client.close();
    expectPlayed(peer);
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[0].requestLine(), "PUT /1 HTTP/1.1");
    EXPECT_EQ(peer.requests()[0].body, "A");
    EXPECT_EQ(peer.requests()[1].requestLine(), "PUT /2 HTTP/1.1");
    EXPECT_EQ(peer.requests()[1].body, "B");
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST(ScriptedPeerTest, SeparatesPipelinedRequests) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().expectRequest().reply(okReply).close();
    Client client(peer);
    client.send(getRequest + getRequest);
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests().at(1).raw, getRequest);
}

TEST(ScriptedPeerTest, GivesScriptsToConnectionsInOrder) {
    ScriptedPeer peer;
    peer.onConnection().reply("first").close();
    peer.onConnection().reply("second").close();
    EXPECT_EQ(peer.unplayedScripts(), 2u);
    EXPECT_EQ(Client(peer).readToEnd().bytes, "first");
    EXPECT_EQ(Client(peer).readToEnd().bytes, "second");
    expectPlayed(peer);
    EXPECT_TRUE(peer.waitForConnections(2));
}

TEST(ScriptedPeerTest, ServesConnectionsSideBySide) {
    ScriptedPeer peer;
    peer.onConnection().expectLine("a").reply("A").close();
    peer.onConnection().expectLine("b").reply("B").close();
    Client first(peer);
    ASSERT_TRUE(peer.waitForConnections(1));
    Client second(peer);
    second.send("b\r\n");
    EXPECT_EQ(second.readToEnd().bytes, "B");
    first.send("a\r\n");
    EXPECT_EQ(first.readToEnd().bytes, "A");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, TalksInLines) {
    ScriptedPeer peer;
    peer.onConnection()
        .reply("220 hi\r\n")
        .expectLine("USER anonymous")
        .replyWith([](const std::string& line) { return "331 " + line; })
        .expectLine()
        .replyWith([](const std::string& line) { return "230 " + line; })
        .close();
    Client client(peer);
    EXPECT_EQ(client.read(8), "220 hi\r\n");
    client.send("USER anonymous\r\nPASS x\r\n");
    EXPECT_EQ(client.readToEnd().bytes, "331 USER anonymous\r\n230 PASS x\r\n");
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), "USER anonymous\r\nPASS x\r\n");
    EXPECT_THAT(peer.requests(), IsEmpty());
}

TEST(ScriptedPeerTest, FailsOnAnotherLine) {
    ScriptedPeer peer;
    peer.onConnection().expectLine("QUIT").reply("221\r\n").close();
    Client client(peer);
    client.send("NOOP\r\n");
    EXPECT_EQ(client.readToEnd().bytes, "");
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(
        peer.failures(),
        ElementsAre("connection 0, step 1 (expectLine): expected the line \"QUIT\", got \"NOOP\\r\\n\""));
}

TEST(ScriptedPeerTest, ReadsExactlyTheBytesNamed) {
    ScriptedPeer peer;
    peer.onConnection().expectBytes(3).replyWith([](const std::string& bytes) { return bytes; }).close();
    Client client(peer);
    client.send("abcdef");
    EXPECT_EQ(client.readToEnd().bytes, "abc");
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), "abc");
}

TEST(ScriptedPeerTest, ComparesExactBytes) {
    ScriptedPeer peer;
    peer.onConnection().expectExactly(getRequest).reply(okReply).close();
    peer.onConnection().expectExactly("abc").reply(okReply).close();
    Client good(peer);
    good.send(getRequest);
    EXPECT_EQ(good.readToEnd().bytes, okReply);
    Client bad(peer);
    bad.send("abd");
    EXPECT_EQ(bad.readToEnd().bytes, "");
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(),
                ElementsAre("connection 1, step 1 (expectExactly): expected \"abc\", got \"abd\""));
}

TEST(ScriptedPeerTest, CountsBytesBehindAHeadAsItsBody) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().expectBytes(4).reset();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nContent-Length: 9\r\n\r\n123456789");
    EXPECT_EQ(client.readToEnd().end, End::Reset);
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().at(0).body, "1234");
    EXPECT_EQ(peer.requests().at(0).raw, peer.received(0));
}

TEST(ScriptedPeerTest, ReadsUntilTheClientCloses) {
    ScriptedPeer peer;
    peer.onConnection().readUntilClose().replyWith([](const std::string& all) { return all + "!"; }).close();
    Client client(peer);
    client.send("abc");
    client.send("def");
    client.finish();
    EXPECT_EQ(client.readToEnd().bytes, "abcdef!");
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), "abcdef");
}

TEST(ScriptedPeerTest, MakesAReplyFromTheWholeRequest) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().replyWith([](const std::string& request) { return request; }).close();
    const std::string request = "PUT /a HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi";
    Client client(peer);
    client.send(request);
    EXPECT_EQ(client.readToEnd().bytes, request);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, ReportsAReplyFunctionThatThrows) {
    ScriptedPeer peer;
    peer.onConnection()
        .expectHead()
        .replyWith([](const std::string&) -> std::string { throw std::runtime_error("oops"); })
        .close();
    Client client(peer);
    client.send(getRequest);
    EXPECT_EQ(client.readToEnd().bytes, "");
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(), ElementsAre("connection 0, step 2 (replyWith): exception: oops"));
}

TEST(ScriptedPeerTest, CutsByFinBehindEveryByte) {
    ScriptedPeer peer;
    for (std::size_t count = 0; count <= okReply.size(); ++count) {
        peer.onConnection().expectHead().replyCut(okReply, count).close();
        Client client(peer);
        client.send(getRequest);
        const Got got = client.readToEnd();
        ASSERT_EQ(got.bytes, okReply.substr(0, count));
        ASSERT_EQ(got.end, End::Fin);
    }
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().size(), okReply.size() + 1);
}

TEST(ScriptedPeerTest, CutsByResetBehindEveryByte) {
    ScriptedPeer peer;
    for (std::size_t count = 0; count <= okReply.size(); ++count) {
        peer.onConnection().expectHead().replyCut(okReply, count).reset();
        Client client(peer);
        client.send(getRequest);
        const Got got = client.readToEnd();
#ifdef _WIN32
        // Windows discards received bytes with RST.
        ASSERT_EQ(okReply.substr(0, count).substr(0, got.bytes.size()), got.bytes);
        // Wine may report it as an end.
        ASSERT_THAT(got.end, testing::AnyOf(End::Reset, End::Fin));
#else
        ASSERT_EQ(got.bytes, okReply.substr(0, count));
        ASSERT_EQ(got.end, End::Reset);
#endif
    }
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, RefusesACutBehindTheEnd) {
    ScriptedPeer peer;
    auto script = peer.onConnection();
    EXPECT_THROW(script.replyCut("abc", 4), std::invalid_argument);
}

TEST(ScriptedPeerTest, DeliversAReplyByFinToAClientThatStillSends) {
    constexpr std::size_t size = 32 * 1024 * 1024;
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply).close();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n");
    EXPECT_FALSE(client.trySend(size));
    const Got got = client.readToEnd();
    EXPECT_EQ(got.bytes, okReply);
    EXPECT_EQ(got.end, End::Fin);
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().at(0).bodySize, 0u);
}

TEST(ScriptedPeerTest, StopsReadingAndResets) {
    constexpr std::size_t size = 32 * 1024 * 1024;
    ScriptedPeer peer;
    peer.onConnection().expectHead().expectBytes(100).reset();
    Client client(peer);
    const std::string head = "PUT /a HTTP/1.1\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
    client.send(head);
    EXPECT_TRUE(client.trySend(size));
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), head + std::string(100, 'x'));
}

TEST(ScriptedPeerTest, StopsReadingAndClosesAbruptly) {
    constexpr std::size_t size = 32 * 1024 * 1024;
    ScriptedPeer peer;
    peer.onConnection().expectBytes(100).closeAbruptly();
    Client client(peer);
    EXPECT_TRUE(client.trySend(size));
    expectPlayed(peer);
    EXPECT_EQ(peer.received(0), std::string(100, 'x'));
}

TEST(ScriptedPeerTest, ClosesAbruptlyByFinWhenAllIsRead) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply).closeAbruptly();
    Client client(peer);
    client.send(getRequest);
    const Got got = client.readToEnd();
    EXPECT_EQ(got.bytes, okReply);
    EXPECT_EQ(got.end, End::Fin);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, SendsAPatternOfAnySize) {
    constexpr std::size_t size = 3 * 1024 * 1024 + 17;
    ScriptedPeer peer;
    peer.onConnection().sendPattern(size).close();
    const Got got = Client(peer).readToEnd();
    EXPECT_EQ(got.bytes.size(), size);
    EXPECT_TRUE(got.bytes == ScriptedPeer::pattern(0, size));
    EXPECT_EQ(got.bytes.substr(250, 2), std::string("\xfa\0", 2));
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, SendsGeneratedBytes) {
    constexpr std::size_t size = 200 * 1000;
    ScriptedPeer peer;
    peer.onConnection()
        .sendGenerated(size,
                       [](std::uint64_t offset, std::span<char> bytes) {
                           for (std::size_t i = 0; i < bytes.size(); ++i)
                               bytes[i] = static_cast<char>('a' + (offset + i) % 26);
                       })
        .close();
    std::string expected(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        expected[i] = static_cast<char>('a' + i % 26);
    EXPECT_TRUE(Client(peer).readToEnd().bytes == expected);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, PausesUntilReleased) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply("a").pause().reply("b").pause().reply("c").close();
    Client client(peer);
    client.send(getRequest);
    EXPECT_EQ(client.read(1), "a");
    ASSERT_TRUE(peer.waitUntilPaused());
    EXPECT_TRUE(client.hasNothingToRead());
    peer.release();
    EXPECT_EQ(client.read(1), "b");
    ASSERT_TRUE(peer.waitUntilPaused());
    EXPECT_TRUE(client.hasNothingToRead());
    peer.release();
    EXPECT_EQ(client.readToEnd().bytes, "c");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, KeepsAReleaseThatCameFirst) {
    ScriptedPeer peer;
    peer.release();
    peer.onConnection().pause().reply("a").pause().reply("b").close();
    Client client(peer);
    EXPECT_EQ(client.read(1), "a");
    ASSERT_TRUE(peer.waitUntilPaused());
    EXPECT_TRUE(client.hasNothingToRead());
    peer.release();
    EXPECT_EQ(client.readToEnd().bytes, "b");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, ReleasesGatesByNameAndCount) {
    ScriptedPeer peer;
    peer.onConnection().pause("x").reply("1").close();
    peer.onConnection().pause("y").reply("2").close();
    peer.onConnection().pause("y").reply("3").close();
    Client first(peer);
    ASSERT_TRUE(peer.waitUntilPaused(1));
    Client second(peer);
    ASSERT_TRUE(peer.waitUntilPaused(2));
    Client third(peer);
    ASSERT_TRUE(peer.waitUntilPaused(3));
    peer.release("y", 2);
    EXPECT_EQ(second.readToEnd().bytes, "2");
    EXPECT_EQ(third.readToEnd().bytes, "3");
    EXPECT_TRUE(first.hasNothingToRead());
    EXPECT_FALSE(peer.waitUntilPaused(2, std::chrono::milliseconds(0)));
    peer.release("x");
    EXPECT_EQ(first.readToEnd().bytes, "1");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, TakesStepsWhileTheConnectionIsOpen) {
    ScriptedPeer peer;
    auto script = peer.onConnection();
    script.expectLine("1").reply("one");
    Client client(peer);
    client.send("1\r\n");
    EXPECT_EQ(client.read(3), "one");
    ASSERT_TRUE(peer.waitUntilIdle());
    script.reply("two");
    EXPECT_EQ(client.read(3), "two");
    client.send("2\r\n");
    script.expectLine("2").reply("three").close();
    EXPECT_EQ(client.readToEnd().bytes, "three");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, RefusesStepsBehindTheEnd) {
    ScriptedPeer peer;
    auto closed = peer.onConnection().close();
    EXPECT_THROW(closed.reply("x"), std::logic_error);
    auto aborted = peer.onConnection().closeAbruptly();
    EXPECT_THROW(aborted.reply("x"), std::logic_error);
    auto reset = peer.onConnection().reset();
    EXPECT_THROW(reset.expectHead(), std::logic_error);
    auto handedOver = peer.onConnection().thenDefault();
    EXPECT_THROW(handedOver.close(), std::logic_error);
}

TEST(ScriptedPeerTest, KeepsTheConnectionWhenTheScriptEnds) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply);
    Client client(peer);
    client.send(getRequest);
    EXPECT_EQ(client.read(okReply.size()), okReply);
    expectPlayed(peer);
    client.finish();
    EXPECT_EQ(client.readToEnd().end, End::Fin);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, FailsOnBytesBehindTheScript) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply);
    Client client(peer);
    client.send(getRequest + "more");
    EXPECT_EQ(client.read(okReply.size()), okReply);
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(),
                ElementsAre("connection 0: the script has ended, but the client sent more: \"more\""));
}

TEST(ScriptedPeerTest, FailsWhenTheClientLeavesInTheMiddleOfAStep) {
    ScriptedPeer peer;
    peer.onConnection().expectHead().reply(okReply).close();
    Client client(peer);
    client.send("GET ");
    client.close();
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(
        peer.failures(),
        ElementsAre("connection 0, step 1 (expectHead): the client closed after 4 bytes of this step"));
    EXPECT_THAT(peer.requests(), IsEmpty());
    EXPECT_EQ(peer.received(0), "GET ");
}

TEST(ScriptedPeerTest, FailsWhenTheClientResetsWhileTheReplyIsSent) {
    ScriptedPeer peer;
    peer.onConnection().sendPattern(std::uint64_t(1) << 40).close();
    Client client(peer);
    EXPECT_EQ(client.read(3), ScriptedPeer::pattern(0, 3));
    client.reset();
    EXPECT_TRUE(peer.waitUntilIdle());
    ASSERT_EQ(peer.failures().size(), 1u);
    EXPECT_THAT(peer.failures()[0], HasSubstr("step 1 (sendPattern)"));
}

TEST(ScriptedPeerTest, ExcusesAClientThatMayLeave) {
    ScriptedPeer peer;
    peer.onConnection().clientMayLeave().expectHead().reply(okReply).close();
    Client client(peer);
    client.send("GET ");
    client.close();
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, ExcusesAClientFromAStepOn) {
    for (const bool isEarly : {true, false}) {
        ScriptedPeer peer;
        peer.onConnection().expectLine("a").reply("b").thenClientMayLeave().expectLine("c").close();
        Client client(peer);
        client.send(isEarly ? "a" : "a\r\n");
        if (!isEarly) {
            EXPECT_EQ(client.read(1), "b");
        }
        client.close();
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_EQ(peer.failures().size(), isEarly ? 1u : 0u);
    }
}

TEST(ScriptedPeerTest, DoesNotExcuseAWrongLineOfAClientThatMayLeave) {
    ScriptedPeer peer;
    peer.onConnection().clientMayLeave().expectLine("a").close();
    Client client(peer);
    client.send("b\r\n");
    EXPECT_EQ(client.readToEnd().bytes, "");
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.failures().size(), 1u);
}

TEST(ScriptedPeerTest, FailsOnABodyThatIsTooShortAndKeepsWhatCame) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply).close();
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nContent-Length: 5\r\n\r\nabc");
    client.close();
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.failures().size(), 1u);
    ASSERT_EQ(peer.requests().size(), 1u);
    EXPECT_EQ(peer.requests()[0].body, "abc");
    EXPECT_FALSE(peer.requests()[0].complete);
    EXPECT_FALSE(peer.waitForRequests(1, std::chrono::milliseconds(0)));
}

TEST(ScriptedPeerTest, WaitsForTheClientToClose) {
    ScriptedPeer peer;
    peer.onConnection().waitForClose().reply("bye").close();
    Client client(peer);
    ASSERT_TRUE(peer.waitForConnections(1));
    EXPECT_FALSE(peer.waitUntilIdle(std::chrono::milliseconds(10)));
    client.finish();
    EXPECT_EQ(client.readToEnd().bytes, "bye");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, SeesTheEndOfTheStreamInEveryFurtherStep) {
    ScriptedPeer peer;
    auto script = peer.onConnection();
    script.readUntilClose().waitForClose().reply("a");
    Client client(peer);
    client.finish();
    EXPECT_EQ(client.read(1), "a");
    EXPECT_EQ(client.readToEnd().end, End::Fin);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, FailsOnBytesInsteadOfAClose) {
    ScriptedPeer peer;
    peer.onConnection().waitForClose();
    Client client(peer);
    client.send("x");
    EXPECT_EQ(client.readToEnd().bytes, "");
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(),
                ElementsAre("connection 0, step 1 (waitForClose): the client did not close, but sent \"x\""));
}

TEST(ScriptedPeerTest, ClosesAndCountsUnexpectedConnections) {
    ScriptedPeer peer;
    Client client(peer);
    EXPECT_EQ(client.readToEnd().bytes, "");
    ASSERT_TRUE(peer.waitForConnections(1));
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_EQ(peer.unexpectedConnections(), 1u);
    EXPECT_THAT(peer.failures(), ElementsAre("connection 0, no script: unexpected connection"));
}

TEST(ScriptedPeerTest, GivesEveryRequestTheDefaultReply) {
    ScriptedPeer peer;
    peer.setDefaultReply(okReply);
    Client first(peer);
    for (int i = 0; i < 3; ++i) {
        first.send("PUT /a HTTP/1.1\r\nContent-Length: 2\r\n\r\nab");
        EXPECT_EQ(first.read(okReply.size()), okReply);
    }
    Client second(peer);
    second.send("GET /b HTTP/1.1\r\nConnection: close\r\n\r\n");
    const Got got = second.readToEnd();
    EXPECT_EQ(got.bytes, okReply);
    EXPECT_EQ(got.end, End::Fin);
    expectPlayed(peer);
    first.close();
    expectPlayed(peer);
    EXPECT_EQ(peer.connectionCount(), 2u);
    EXPECT_EQ(peer.unexpectedConnections(), 0u);
    ASSERT_EQ(peer.requests().size(), 4u);
    EXPECT_EQ(peer.requests()[2].body, "ab");
    EXPECT_EQ(peer.requests()[2].connection, 0u);
    EXPECT_EQ(peer.requests()[3].connection, 1u);
}

TEST(ScriptedPeerTest, MakesTheDefaultReplyFromTheRequest) {
    ScriptedPeer peer;
    peer.setDefaultReply([](const RecordedRequest& request) {
        return "HTTP/1.1 200 OK\r\nConnection: Close\r\n\r\n" + request.requestLine() + "|" + request.body;
    });
    Client client(peer);
    client.send("PUT /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n0\r\n\r\n");
    EXPECT_EQ(client.readToEnd().bytes, "HTTP/1.1 200 OK\r\nConnection: Close\r\n\r\nPUT /a HTTP/1.1|ab");
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, PlaysScriptsBeforeTheDefault) {
    ScriptedPeer peer;
    peer.setDefaultReply(okReply);
    peer.onConnection().expectHead().reply("scripted").thenDefault();
    Client client(peer);
    client.send(getRequest);
    EXPECT_EQ(client.read(8), "scripted");
    client.send(getRequest);
    EXPECT_EQ(client.read(okReply.size()), okReply);
    Client unscripted(peer);
    unscripted.send(getRequest);
    EXPECT_EQ(unscripted.read(okReply.size()), okReply);
    expectPlayed(peer);
}

TEST(ScriptedPeerTest, FailsWhenTheClientLeavesInTheMiddleOfADefaultRequest) {
    ScriptedPeer peer;
    peer.setDefaultReply(okReply);
    Client client(peer);
    client.send("GET /");
    client.close();
    ASSERT_TRUE(peer.waitForConnections(1));
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(),
                ElementsAre("connection 0, default reply: the client closed after 5 bytes of this step"));
}

TEST(ScriptedPeerTest, IsNotIdleBeforeItSawWhatClientsDid) {
    for (int round = 0; round < 100; ++round) {
        ScriptedPeer peer;
        peer.setDefaultReply(okReply);
        Client client(peer);
        ASSERT_TRUE(peer.waitForConnections(1));
        ASSERT_TRUE(peer.waitUntilIdle());
        client.send(getRequest);
        ASSERT_TRUE(peer.waitUntilIdle());
        ASSERT_EQ(peer.requests().size(), 1u);
        client.send("GET ");
        client.close();
        ASSERT_TRUE(peer.waitUntilIdle());
        ASSERT_EQ(peer.failures().size(), 1u);
    }
}

TEST(ScriptedPeerTest, KeepsNoMoreThanTheRecordLimit) {
    ScriptedPeer peer;
    peer.setRecordLimit(100);
    peer.onConnection().expectRequest().reply(okReply).close();
    const std::string head = "PUT /a HTTP/1.1\r\nContent-Length: 1000\r\n\r\n";
    Client client(peer);
    client.send(head + std::string(1000, 'x'));
    EXPECT_EQ(client.readToEnd().bytes, okReply);
    expectPlayed(peer);
    EXPECT_EQ(peer.requests().at(0).bodySize, 1000u);
    EXPECT_EQ(peer.requests().at(0).body, std::string(100, 'x'));
    EXPECT_EQ(peer.received(0).size(), 100u);
    EXPECT_EQ(peer.receivedSize(0), head.size() + 1000);
}

TEST(ScriptedPeerTest, ForgetsItsRecords) {
    ScriptedPeer peer;
    peer.setDefaultReply(okReply);
    Client client(peer);
    client.send(getRequest);
    EXPECT_EQ(client.read(okReply.size()), okReply);
    EXPECT_TRUE(peer.waitForRequests(1));
    peer.clearRecords();
    EXPECT_THAT(peer.requests(), IsEmpty());
    EXPECT_EQ(peer.received(0), "");
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_THROW(peer.received(1), std::out_of_range);
}

TEST(ScriptedPeerTest, GivesUpWaitingAtItsLimit) {
    ScriptedPeer peer;
    peer.onConnection().close();
    const std::chrono::milliseconds limit(1);
    EXPECT_FALSE(peer.waitForConnections(1, limit));
    EXPECT_FALSE(peer.waitForRequests(1, limit));
    EXPECT_FALSE(peer.waitForReceived(0, 1, limit));
    EXPECT_FALSE(peer.waitUntilPaused(1, limit));
    EXPECT_FALSE(peer.waitUntilIdle(limit));
    EXPECT_EQ(peer.unplayedScripts(), 1u);
}

TEST(ScriptedPeerTest, EndsWhateverItsClientsDo) {
    auto peer = std::make_unique<ScriptedPeer>();
    std::vector<std::unique_ptr<Client>> clients;
    const auto connect = [&] {
        clients.push_back(std::make_unique<Client>(*peer));
        ASSERT_TRUE(peer->waitForConnections(clients.size()));
    };
    peer->onConnection().expectHead();
    connect();
    clients.back()->send("half a head");
    peer->onConnection().sendPattern(std::uint64_t(1) << 40);
    connect();
    peer->onConnection().pause();
    connect();
    peer->onConnection().waitForClose();
    connect();
    peer->onConnection().close();
    connect();
    peer->onConnection().reply("x");
    connect();
    peer->onConnection().expectHead();
    connect();
    clients.back()->send(getRequest + "more");
    peer->setDefaultReply(okReply);
    connect();
    peer->onConnection();

    auto ended = std::async(std::launch::async, [&] { peer.reset(); });
    ASSERT_EQ(ended.wait_until(std::chrono::system_clock::now() + ScriptedPeer::waitLimit),
              std::future_status::ready);
    for (const auto& client : clients)
        EXPECT_NE(client->readToEnd().end, End::Other);
}

TEST(ScriptedPeerTest, LetsAScriptOutliveThePeer) {
    auto peer = std::make_unique<ScriptedPeer>();
    auto script = peer->onConnection();
    peer.reset();
    EXPECT_THROW(script.reply("x"), std::logic_error);
}

TEST(ScriptedPeerTest, NamesAPortWhereNothingListens) {
    const std::uint16_t port = ScriptedPeer::closedPort();
    asio::io_context context;
    tcp::socket socket(context);
    std::error_code error;
    socket.connect({asio::ip::address_v4::loopback(), port}, error);
    EXPECT_EQ(error, asio::error::connection_refused);
}

TEST(RecordedRequestTest, TakesAHeadApart) {
    RecordedRequest request;
    request.head = "GET /a HTTP/1.1\r\nHost: h\r\nx-A:  one two \r\nEmpty:\r\nX-a: second\r\n\r\n";
    EXPECT_EQ(request.requestLine(), "GET /a HTTP/1.1");
    EXPECT_THAT(request.headerLines(), ElementsAre("Host: h", "x-A:  one two ", "Empty:", "X-a: second"));
    EXPECT_EQ(request.header("X-A"), "one two");
    EXPECT_EQ(request.header("host"), "h");
    EXPECT_EQ(request.header("empty"), "");
    EXPECT_EQ(request.header("Accept"), std::nullopt);
    EXPECT_EQ(request.header("GET /a HTTP/1.1"), std::nullopt);
}

}  // namespace
