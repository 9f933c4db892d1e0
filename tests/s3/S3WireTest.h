/// \file
/// Shared by the tests of the S3 client with a scripted peer.
#pragma once

#include "tests/s3/S3TestSupport.h"
#include "tests/support/LibcurlVersion.h"
#include "tests/support/ScriptedPeer.h"

#include <string>
#include <vector>

namespace vexil_test {

/// A client and a scripted peer. At the end everything must have followed the script.
class S3WireTest : public testing::Test {
protected:
    S3WireTest() : client(peer.url("")) {}

    void TearDown() override {
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), testing::IsEmpty());
        EXPECT_EQ(peer.unplayedScripts(), 0u);
    }

    /// One connection that sends these responses, one per request.
    void answer(const std::vector<std::string>& replies) {
        auto script = peer.onConnection();
        for (const std::string& text : replies) {
            script.expectRequest().reply(text);
        }
    }

    /// The head of a request as it must be on the wire, with the headers that libcurl sends first.
    std::string head(const std::string& requestLine, const std::vector<std::string>& headers) const {
        std::string text = requestLine + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(peer.port()) +
                           "\r\nAccept: */*\r\n";
        for (const std::string& header : headers) {
            text += header + "\r\n";
        }
        return text + "\r\n";
    }

    /// The head of a PUT of few bytes, with the headers that libcurl adds.
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
