#include "tests/support/ScriptedPeer.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

// A connection may end after any byte. Whatever libcurl then reports, a caller who checks
// isResponseComplete() never takes a part for the whole, and the next transfer is not affected.

namespace {

using testing::IsEmpty;
using vexil::CNetRequest;
using vexil::P;
using vexil::String;
using vexil_test::ConnectionScript;
using vexil_test::ScriptedPeer;

enum class Cut { Fin, Reset };

/// The result of a transfer.
struct Outcome {
    enum Kind { Failed, Incomplete, Complete } kind = Complete;
    int code = CURLE_OK;
    int status = 0;
    std::string body;
};

const std::string sentBody = "What is sent, a small content.";
const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";

const std::string getAnswer =
    "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nETag: \"1\"\r\nContent-Length: 26\r\n\r\n"
    "abcdefghijklmnopqrstuvwxyz";
const std::string chunkedAnswer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                  "a\r\nabcdefghij\r\n10\r\nklmnopqrstuvwxyz\r\n0\r\nX-Trailer: a\r\n\r\n";
const std::string receivedBody = "abcdefghijklmnopqrstuvwxyz";
const std::string putAnswer = "HTTP/1.1 201 Created\r\nETag: \"2\"\r\nContent-Length: 0\r\n\r\n";
const std::string secondBody = "another body";
const std::string secondAnswer =
    "HTTP/1.1 200 Fine\r\nX-Second: b\r\nContent-Length: 12\r\n\r\n" + secondBody;

class FaultSweepTest : public testing::TestWithParam<Cut> {
protected:
    void prepareGet() { m_request->setURL(String::fromUTF8(m_peer.url("/object"))); }

    void preparePut() {
        prepareGet();
        m_request->setHTTPMethod("PUT");
        m_request->setSendDataAsUTF8(String::fromUTF8(sentBody));
    }

    static void cut(ConnectionScript script) { GetParam() == Cut::Fin ? script.close() : script.reset(); }

    Outcome perform() {
        Outcome outcome;
        try {
            m_request->perform();
            outcome.kind = m_request->isResponseComplete() ? Outcome::Complete : Outcome::Incomplete;
        } catch (const vexil::CCURLError& error) {
            EXPECT_EQ(error.getDomain(), "curl");
            outcome.kind = Outcome::Failed;
            outcome.code = static_cast<int>(error.getCode());
        }
        outcome.status = m_request->getResponseCode();
        const vexil::PC<vexil::TBuffer<unsigned char>> buffer = m_request->getDefaultReceiveBuffer();
        outcome.body.assign(reinterpret_cast<const char*>(buffer->getData()),
                            static_cast<std::size_t>(buffer->getUsed()));
        return outcome;
    }

    /// libcurl's codes for a connection that ends early.
    static bool isTransportFailure(const Outcome& outcome) {
        if (outcome.code == CURLE_HTTP_RETURNED_ERROR) {
            // For libcurl that was the response: its status is not a success.
            return outcome.status == 100;
        }
        static const std::set<int> codes = {
            CURLE_COULDNT_CONNECT, CURLE_WEIRD_SERVER_REPLY, CURLE_PARTIAL_FILE,        CURLE_GOT_NOTHING,
            CURLE_SEND_ERROR,      CURLE_RECV_ERROR,         CURLE_UNSUPPORTED_PROTOCOL};
        return codes.contains(outcome.code);
    }

    void checkCut(const Outcome& outcome, int status, const std::string& body) {
        switch (outcome.kind) {
        case Outcome::Failed:
            EXPECT_TRUE(isTransportFailure(outcome))
                << "code " << outcome.code << ", status " << outcome.status;
            break;
        case Outcome::Incomplete:
            EXPECT_EQ(outcome.body, "");
            break;
        case Outcome::Complete:
            EXPECT_EQ(outcome.status, status);
            EXPECT_EQ(outcome.body, body);
            break;
        }
        ++m_count[outcome.kind];
    }

    /// The same request again, with a complete response.
    void checkNext() {
        m_peer.onConnection().expectRequest().reply(secondAnswer).close();
        const Outcome outcome = perform();
        EXPECT_EQ(outcome.kind, Outcome::Complete) << "code " << outcome.code;
        EXPECT_EQ(outcome.status, 200);
        EXPECT_EQ(outcome.body, secondBody);
        EXPECT_EQ(m_request->getHTTPStatusLine().toUTF8(), "HTTP/1.1 200 Fine");
        EXPECT_FALSE(m_request->getResponseHeaderMap().contains("etag"));
        EXPECT_TRUE(m_request->getResponseHeaderMap().contains("x-second"));
        EXPECT_TRUE(m_request->getErrorMessage().isEmpty());
        ASSERT_TRUE(m_peer.waitUntilIdle());
        ASSERT_THAT(m_peer.failures(), IsEmpty());
        const std::string body = m_peer.requests().back().body;
        EXPECT_EQ(body, m_request->getHTTPMethod() == "PUT" ? sentBody : "");
    }

    /// Cuts the response after each number of its bytes, from none to all except the last.
    void sweepAnswer(const std::string& answer, int status, const std::string& body,
                     ConnectionScript (*play)(ConnectionScript)) {
        for (std::size_t count = 0; count < answer.size(); ++count) {
            SCOPED_TRACE("after " + std::to_string(count) + " bytes of the response");
            cut(play(m_peer.onConnection().clientMayLeave()).replyCut(answer, count));
            checkCut(perform(), status, body);
            ASSERT_NO_FATAL_FAILURE(checkNext());
        }
    }

    /// Cuts the connection after each number of the request's bytes, from none to all except the last.
    void sweepRequest(std::size_t headSize, std::size_t size) {
        for (std::size_t count = 0; count < size; ++count) {
            SCOPED_TRACE("after " + std::to_string(count) + " bytes of the request");
            ConnectionScript script =
                m_peer.onConnection().clientMayLeave().expectBytes(std::min(count, headSize));
            if (count >= headSize) {
                script.reply(interim).expectBytes(count - headSize);
            }
            cut(script);
            const Outcome outcome = perform();
            EXPECT_EQ(outcome.kind, Outcome::Failed);
            checkCut(outcome, 0, "");
            ASSERT_NO_FATAL_FAILURE(checkNext());
        }
    }

    /// The bytes of the request that will be cut.
    std::size_t getHeadSize() {
        m_peer.onConnection().expectRequest().reply(secondAnswer).close();
        EXPECT_EQ(perform().kind, Outcome::Complete);
        EXPECT_TRUE(m_peer.waitUntilIdle());
        return m_peer.requests().back().head.size();
    }

    ScriptedPeer m_peer;
    P<CNetRequest> m_request = new CNetRequest;
    std::map<Outcome::Kind, std::size_t> m_count;
};

INSTANTIATE_TEST_SUITE_P(Ends, FaultSweepTest, testing::Values(Cut::Fin, Cut::Reset),
                         [](const auto& param) { return param.param == Cut::Fin ? "Fin" : "Reset"; });

TEST_P(FaultSweepTest, AnswerOfAGet) {
    prepareGet();
    sweepAnswer(getAnswer, 200, receivedBody, [](ConnectionScript script) { return script.expectHead(); });
    // Only the whole is complete.
    EXPECT_EQ(m_count[Outcome::Complete], 0u);
    EXPECT_GT(m_count[Outcome::Failed], receivedBody.size());
}

TEST_P(FaultSweepTest, AnswerOfAGetOnAReusedConnection) {
    const std::size_t statusLineSize = getAnswer.find('\n') + 1;
    m_peer.setDefaultReply("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 26\r\n\r\n" +
                           receivedBody);
    prepareGet();
    for (std::size_t count = 0; count < getAnswer.size(); ++count) {
        SCOPED_TRACE("after " + std::to_string(count) + " bytes of the second response");
        cut(m_peer.onConnection().clientMayLeave().expectHead().reply(getAnswer).expectHead().replyCut(
            getAnswer, count));
        const Outcome first = perform();
        EXPECT_EQ(first.kind, Outcome::Complete);
        EXPECT_EQ(first.body, receivedBody);
        const std::size_t connections = m_peer.connectionCount();
        const Outcome second = perform();
        // If no byte of a response has come, libcurl assumes that the kept connection had ended before, and
        // tries again on a new one.
        const bool triedAgain = m_peer.connectionCount() > connections;
        EXPECT_EQ(second.kind == Outcome::Complete, triedAgain);
        EXPECT_LE(triedAgain, count < statusLineSize);
        checkCut(second, 200, receivedBody);
        ASSERT_NO_FATAL_FAILURE(checkNext());
    }
}

TEST_P(FaultSweepTest, ChunkedAnswerOfAGet) {
    prepareGet();
    sweepAnswer(chunkedAnswer, 200, receivedBody,
                [](ConnectionScript script) { return script.expectHead(); });
    EXPECT_GT(m_count[Outcome::Failed], receivedBody.size());
}

TEST_P(FaultSweepTest, AnswerOfAPut) {
    preparePut();
    sweepAnswer(putAnswer, 201, "", [](ConnectionScript script) {
        return script.expectRequest(ConnectionScript::Interim::Send);
    });
    EXPECT_EQ(m_count[Outcome::Complete], 0u);
    EXPECT_GT(m_count[Outcome::Failed], 0u);
}

TEST_P(FaultSweepTest, InterimAnswerOfAPut) {
    preparePut();
    sweepAnswer(interim, 0, "", [](ConnectionScript script) { return script.expectHead(); });
    EXPECT_EQ(m_count[Outcome::Complete], 0u);
}

/// A response that may come before the final one.
struct EarlierResponse {
    enum Next { SameExchange, NewConnection, Tunnel };

    const char* name;
    std::string bytes;
    Next next;
};

const std::vector<EarlierResponse>& earlierResponses() {
    static const std::vector<EarlierResponse> all = {
        {"100", "HTTP/1.1 100 Continue\r\n\r\n", EarlierResponse::SameExchange},
        {"103", "HTTP/1.1 103 Early Hints\r\nLocation: /a\r\nETag: \"old\"\r\n\r\n",
         EarlierResponse::SameExchange},
        {"302", "HTTP/1.1 302 Found\r\nLocation: /b\r\nETag: \"old\"\r\nConnection: close\r\n\r\n",
         EarlierResponse::NewConnection},
        {"302 in Latin-1", "HTTP/1.1 302 D\xe9plac\xe9\r\nLocation: /b\r\nConnection: close\r\n\r\n",
         EarlierResponse::NewConnection},
        {"CONNECT", "HTTP/1.1 200 Established\r\nETag: \"old\"\r\n\r\n", EarlierResponse::Tunnel},
    };
    return all;
}

/// Keeps the body, and the arguments of its last block.
class LastBlockSink : public virtual vexil::CBase, public CNetRequest::IDataSink {
public:
    void write(const void* data, int length, int httpStatus,
               const vexil::TMap<String, String>& headers) override {
        body.append(static_cast<const char*>(data), static_cast<std::size_t>(length));
        status = httpStatus;
        etag = headers.contains("etag") ? headers.at("etag").toUTF8() : "";
    }

    std::string body;
    int status = -1;
    std::string etag;
};

class FaultSweepAfterAnotherResponseTest : public FaultSweepTest {
protected:
    FaultSweepAfterAnotherResponseTest() { m_request->setReceiveDataSink(m_sink); }

    ConnectionScript play(const EarlierResponse& earlier) {
        prepareGet();
        ConnectionScript script = m_peer.onConnection().clientMayLeave().expectHead().reply(earlier.bytes);
        switch (earlier.next) {
        case EarlierResponse::SameExchange:
            return script;
        case EarlierResponse::NewConnection:
            script.close();
            return m_peer.onConnection().clientMayLeave().expectHead();
        default:
            m_request->setURL("http://tunnelled.invalid/object");
            m_request->setProxy(String::fromUTF8(m_peer.url("/")));
            m_request->setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
            return script.expectHead();
        }
    }

    void checkComplete(bool isReadable) {
        EXPECT_EQ(m_sink->body, receivedBody);
        EXPECT_EQ(m_sink->status, isReadable ? 200 : 0);
        EXPECT_EQ(m_sink->etag, "\"1\"");
    }

    /// Cuts a final response after a number of bytes.
    void cutAfter(std::size_t count, const std::string& answer, const EarlierResponse& earlier) {
        m_sink->body.clear();
        cut(play(earlier).replyCut(answer, count));
        const Outcome outcome = perform();
        EXPECT_EQ(outcome.kind == Outcome::Complete, count == answer.size());
        if (outcome.kind == Outcome::Complete) {
            checkComplete(answer.find('\xe9') == std::string::npos);
        }
        const auto& headers = m_request->getResponseHeaderMap();
        if (outcome.kind != Outcome::Failed && count > answer.find('\n')) {
            EXPECT_TRUE(!headers.contains("etag") || headers.at("etag") == "\"1\"");
            EXPECT_FALSE(headers.contains("location"));
        }
        EXPECT_TRUE(m_sink->body.empty() || m_sink->etag == "\"1\"");
        ASSERT_TRUE(m_peer.waitUntilIdle());
        m_request->reset();
        m_request->setReceiveDataSink(m_sink);
    }

    P<LastBlockSink> m_sink = new LastBlockSink;
};

INSTANTIATE_TEST_SUITE_P(Ends, FaultSweepAfterAnotherResponseTest, testing::Values(Cut::Fin, Cut::Reset),
                         [](const auto& param) { return param.param == Cut::Fin ? "Fin" : "Reset"; });

TEST_P(FaultSweepAfterAnotherResponseTest, AnswerOfAGet) {
    // After a reset, bytes may be missing.
    const std::size_t end = GetParam() == Cut::Fin ? 1 : 0;
    for (const EarlierResponse& earlier : earlierResponses()) {
        for (const std::string reason : {"OK", "D\xc3\xa9j\xc3\xa0", "D\xe9j\xe0", ""}) {
            const std::string answer = "HTTP/1.1 200 " + reason + getAnswer.substr(getAnswer.find('\r'));
            for (std::size_t count = 0; count < answer.size() + end; ++count) {
                SCOPED_TRACE(std::string(earlier.name) + ", then " + std::to_string(count) + " bytes of " +
                             answer.substr(0, answer.find('\r')));
                ASSERT_NO_FATAL_FAILURE(cutAfter(count, answer, earlier));
            }
        }
    }
    EXPECT_THAT(m_peer.failures(), IsEmpty());
}

TEST_P(FaultSweepTest, RequestOfAGet) {
    prepareGet();
    const std::size_t headSize = getHeadSize();
    sweepRequest(headSize, headSize);
}

TEST_P(FaultSweepTest, RequestOfAPut) {
    preparePut();
    const std::size_t headSize = getHeadSize();
    sweepRequest(headSize, headSize + sentBody.size());
}

}  // namespace
