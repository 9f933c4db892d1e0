/// \file
/// What the tests of the S3 client on the wire share.
#pragma once

#include "tests/s3/S3TestSupport.h"
#include "tests/support/LibcurlVersion.h"
#include "tests/support/ScriptedPeer.h"

#include <string>
#include <vector>

namespace vexil_test {

/// A client that talks to a scripted peer. Everything must have gone by the script at the end.
class S3WireTest : public testing::Test {
protected:
    S3WireTest() : client(peer.url("")) {}

    void TearDown() override {
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), testing::IsEmpty());
        EXPECT_EQ(peer.unplayedScripts(), 0u);
    }

    /// One connection that answers a request with each of these, one after the other.
    void answer(const std::vector<std::string>& replies) {
        auto script = peer.onConnection();
        for (const std::string& text : replies) {
            script.expectRequest().reply(text);
        }
    }

    /// The head of a request as it must be on the wire: the headers that libcurl sends by itself first.
    std::string head(const std::string& requestLine, const std::vector<std::string>& headers) const {
        std::string text = requestLine + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(peer.port()) +
                           "\r\nAccept: */*\r\n";
        for (const std::string& header : headers) {
            text += header + "\r\n";
        }
        return text + "\r\n";
    }

    /// Of a PUT of few bytes, with what libcurl adds.
    std::string putHead(const std::string& requestLine, std::vector<std::string> headers) const {
        if (doSmallPutsAskFirst()) {
            headers.push_back("Expect: 100-continue");
        }
        return head(requestLine, headers);
    }

    std::string onlyHead() {
        EXPECT_TRUE(peer.waitForRequests(1));
        const auto requests = peer.requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.at(0).head;
    }

    ScriptedPeer peer;
    CNetRequest request;
    TestClient client;
};

inline const std::string dateLine = "Date: " + fixedDate;

}  // namespace vexil_test
