// The body of a POST given as an option: only its own bytes are sent, whatever is set in any order.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"

#include <array>
#include <random>

namespace {

using namespace vexil_test;
using testing::IsEmpty;

const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
const std::string longText = "24 bytes, so many are it";
const std::string shortText = "abc";
const std::string sourceText = "from a source";

/// A model of the documented rules for bodies, and the request that must follow them.
class Model {
public:
    void setText(const std::string& text) {
        m_text = text;
        m_textSize = -1;
        m_isTextBody = true;
        m_isPost = true;
        m_isSizeForSource = m_source.has_value();
    }

    void setSource(const std::string& text) {
        m_source = text;
        m_isTextBody = false;
        setDataSize(static_cast<int64>(text.size()));
    }

    void setMethod(const std::string& method) {
        m_method = method;
        m_isPost = method == "POST";
        if (m_isPost) {
            announce(m_isTextBody && m_isSizeForSource ? -1 : m_dataSize);
        }
    }

    void setDataSize(int64 size) {
        m_dataSize = size;
        m_isSizeForSource = false;
        if (m_method == "POST") {
            announce(size);
        }
    }

    void announce(int64 size) { m_textSize = size; }

    std::string getMethod() const {
        if (m_isPost) {
            return m_method == "REPORT" ? m_method : "POST";
        }
        return m_method.empty() ? "GET" : m_method;
    }

    /// The body of the next transfer; nullopt if the transfer would wait for bytes that no source has.
    std::optional<std::string> getBody() const {
        if (m_isPost && m_isTextBody) {
            return m_textSize < 0 ? m_text : m_text.substr(0, static_cast<std::size_t>(m_textSize));
        }
        if (!m_isPost && m_method != "PUT") {
            return "";
        }
        const std::string source = m_source.value_or("");
        if (m_dataSize > static_cast<int64>(source.size())) {
            return std::nullopt;
        }
        return m_dataSize < 0 ? source : source.substr(0, static_cast<std::size_t>(m_dataSize));
    }

private:
    std::string m_text;
    std::optional<std::string> m_source;
    std::string m_method;
    int64 m_textSize = -1;
    int64 m_dataSize = -1;
    bool m_isTextBody = false;
    bool m_isPost = false;
    bool m_isSizeForSource = false;
};

struct Step {
    const char* name;
    void (*apply)(CNetRequest&);
    void (*expect)(Model&);
};

const Step perform = {"perform", nullptr, nullptr};

const std::vector<Step>& steps() {
    static const std::vector<Step> all = {
        perform,
        {"long text", [](CNetRequest& r) { r.setOptionString(CURLOPT_POSTFIELDS, longText.c_str()); },
         [](Model& m) { m.setText(longText); }},
        {"POST", [](CNetRequest& r) { r.setHTTPMethod("POST"); }, [](Model& m) { m.setMethod("POST"); }},
        {"GET", [](CNetRequest& r) { r.setHTTPMethod("GET"); }, [](Model& m) { m.setMethod("GET"); }},
        {"size -1", [](CNetRequest& r) { r.setSendDataSize(-1); }, [](Model& m) { m.setDataSize(-1); }},
        {"size 500", [](CNetRequest& r) { r.setSendDataSize(500); }, [](Model& m) { m.setDataSize(500); }},
        {"size 2", [](CNetRequest& r) { r.setSendDataSize(2); }, [](Model& m) { m.setDataSize(2); }},
        {"source", [](CNetRequest& r) { r.setSendDataAsUTF8(sourceText.c_str()); },
         [](Model& m) { m.setSource(sourceText); }},
        {"short text", [](CNetRequest& r) { r.setOptionString(CURLOPT_COPYPOSTFIELDS, shortText.c_str()); },
         [](Model& m) { m.setText(shortText); }},
        {"REPORT", [](CNetRequest& r) { r.setHTTPMethod("REPORT"); },
         [](Model& m) { m.setMethod("REPORT"); }},
        {"PUT", [](CNetRequest& r) { r.setHTTPMethod("PUT"); }, [](Model& m) { m.setMethod("PUT"); }},
    };
    return all;
}

/// The steps. All short sequences of them are tried.
constexpr std::size_t commonSteps = 8;

class NetRequestPostTest : public testing::Test {
protected:
    NetRequestPostTest() { peer.setDefaultReply(okReply); }

    void prepare(CNetRequest& request) {
        request.reset();
        request.setProxy("");
        request.setURL(peer.url("/a").c_str());
        // If a body does not come, the test fails; it need not wait long for that.
        request.setFullRequestTimeout(zet::CTimeSpan::fromSeconds(20));
    }

    /// The next request on the wire.
    RecordedRequest sent(CNetRequest& request) {
        peer.clearRecords();
        EXPECT_NO_THROW(request.perform());
        const auto requests = peer.requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? RecordedRequest() : requests[0];
    }

    std::string sentBody(CNetRequest& request) { return sent(request).body; }

    void performAndCompare(CNetRequest& request, const Model& model) {
        const std::optional<std::string> body = model.getBody();
        if (!body) {
            return;
        }
        const RecordedRequest found = sent(request);
        EXPECT_EQ(found.requestLine(), model.getMethod() + " /a HTTP/1.1");
        EXPECT_EQ(found.body, *body);
        if (const auto length = found.header("Content-Length")) {
            EXPECT_EQ(*length, std::to_string(body->size()));
        }
    }

    void play(CNetRequest& request, const std::vector<std::size_t>& order) {
        prepare(request);
        Model model;
        std::string trace;
        for (const std::size_t index : order) {
            const Step& step = steps()[index];
            trace += std::string(trace.empty() ? "" : ", ") + step.name;
            if (step.apply) {
                step.apply(request);
                step.expect(model);
            } else {
                SCOPED_TRACE(trace);
                ASSERT_NO_FATAL_FAILURE(performAndCompare(request, model));
            }
        }
        SCOPED_TRACE(trace + ", and the last transfer");
        ASSERT_NO_FATAL_FAILURE(performAndCompare(request, model));
    }

    ScriptedPeer peer;
};

TEST_F(NetRequestPostTest, TheMethodSetAfterTheTextSendsTheTextAlone) {
    CNetRequest request;
    prepare(request);
    request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), longText);
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), longText);
    request.setSendDataSize(-1);
    EXPECT_EQ(sentBody(request), longText);
}

TEST_F(NetRequestPostTest, ASizeAboveTheTextSendsTheTextAlone) {
    CNetRequest request;
    prepare(request);
    request.setSendDataSize(500);
    request.setHTTPMethod("POST");
    request.setOptionString(CURLOPT_COPYPOSTFIELDS, shortText.c_str());
    EXPECT_EQ(sentBody(request), shortText);
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), shortText);
    request.setOptionInt64(CURLOPT_POSTFIELDSIZE_LARGE, 501);
    EXPECT_EQ(sentBody(request), shortText);
    request.setOptionInt(CURLOPT_POSTFIELDSIZE, 502);
    EXPECT_EQ(sentBody(request), shortText);
    EXPECT_THROW(request.setOptionInt(CURLOPT_POSTFIELDSIZE, -2), CCURLError);
    EXPECT_EQ(sentBody(request), shortText);
}

TEST_F(NetRequestPostTest, ASmallerSizeCutsTheText) {
    CNetRequest request;
    prepare(request);
    request.setHTTPMethod("POST");
    request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
    request.setSendDataSize(8);
    EXPECT_EQ(sentBody(request), "24 bytes");
    request.setOptionInt(CURLOPT_POSTFIELDSIZE, 2);
    EXPECT_EQ(sentBody(request), "24");
    request.setOptionInt64(CURLOPT_POSTFIELDSIZE_LARGE, -1);
    EXPECT_EQ(sentBody(request), longText);
}

TEST_F(NetRequestPostTest, TheTextStaysOverAGet) {
    CNetRequest request;
    prepare(request);
    request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
    EXPECT_EQ(sentBody(request), longText);
    request.setHTTPMethod("GET");
    EXPECT_EQ(sent(request).raw.find(longText), std::string::npos);
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), longText);
    request.reset();
    prepare(request);
    request.setHTTPMethod("POST");
    request.setSendDataSize(0);
    EXPECT_EQ(sentBody(request), "") << "after a reset";
}

TEST_F(NetRequestPostTest, TheSizeOfAnOlderSourceDoesNotCutAText) {
    CNetRequest request;
    prepare(request);
    request.setHTTPMethod("POST");
    request.setSendDataAsUTF8("ab");
    EXPECT_EQ(sentBody(request), "ab");
    request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), longText);
}

TEST_F(NetRequestPostTest, ALaterSourceReplacesTheText) {
    const P<TestSource> source = new TestSource(sourceText);
    const P<vexil::TBuffer<unsigned char>> buffer = new vexil::TBuffer<unsigned char>;
    buffer->append(reinterpret_cast<const unsigned char*>(sourceText.data()),
                   static_cast<int>(sourceText.size()));
    const std::vector<std::function<void(CNetRequest&)>> setters = {
        [&](CNetRequest& r) { r.setSendDataSource(source); },
        [&](CNetRequest& r) { r.setSendDataStream(P<zet::CBufferStream>(new zet::CBufferStream(buffer))); },
        [&](CNetRequest& r) { r.setSendDataBuffer(buffer); },
        [&](CNetRequest& r) { r.setSendDataAsUTF8(sourceText.c_str()); }};
    for (const auto& set : setters) {
        CNetRequest request;
        prepare(request);
        request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
        set(request);
        EXPECT_EQ(sentBody(request), sourceText);
        request.setHTTPMethod("POST");
        EXPECT_EQ(sentBody(request), sourceText);
    }
    CNetRequest request;
    prepare(request);
    request.setOptionString(CURLOPT_POSTFIELDS, longText.c_str());
    request.setSendDataSource(nullptr);
    EXPECT_EQ(sentBody(request), "");
}

TEST_F(NetRequestPostTest, AnEmptyTextIsAnEmptyBody) {
    CNetRequest request;
    prepare(request);
    request.setOptionString(CURLOPT_POSTFIELDS, "");
    request.setHTTPMethod("POST");
    const RecordedRequest found = sent(request);
    EXPECT_EQ(found.body, "");
    EXPECT_EQ(found.header("Content-Length"), "0");
}

TEST_F(NetRequestPostTest, MemoryOfTheCallersIsReadNoFurtherThanWasAnnounced) {
    // Without a NUL at its end: the memory after it must not be sent.
    std::array<char, 8> memory = {'a', 'b', 'c', 'd', 'X', 'Y', 'Z', '\0'};
    CNetRequest request;
    prepare(request);
    request.setOptionInt64(CURLOPT_POSTFIELDSIZE_LARGE, 4);
    request.setOptionPtr(CURLOPT_POSTFIELDS, memory.data());
    EXPECT_EQ(sentBody(request), "abcd");
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), "abcd");
    request.setSendDataSize(6);
    EXPECT_EQ(sentBody(request), "abcd");
    request.setHTTPMethod("GET");
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), "abcd");
    request.setOptionString(CURLOPT_POSTFIELDS, "x");
    request.setOptionPtr(CURLOPT_POSTFIELDS, memory.data());
    EXPECT_EQ(sentBody(request), "abcd");
    request.setOptionInt(CURLOPT_POSTFIELDSIZE, 5);
    EXPECT_EQ(sentBody(request), "abcdX") << "a new announcement counts";
}

TEST_F(NetRequestPostTest, MemoryOfTheCallersCanBeCopied) {
    std::array<char, 8> memory = {'a', 'b', 'c', 'd', 'X', 'Y', 'Z', '\0'};
    CNetRequest request;
    prepare(request);
    request.setOptionPtr(CURLOPT_COPYPOSTFIELDS, memory.data());
    EXPECT_EQ(sentBody(request), "abcdXYZ");
    request.setOptionInt(CURLOPT_POSTFIELDSIZE, 4);
    request.setOptionPtr(CURLOPT_COPYPOSTFIELDS, memory.data());
    memory.fill('Q');
    request.setHTTPMethod("POST");
    EXPECT_EQ(sentBody(request), "abcd");
    request.setOptionPtr(CURLOPT_COPYPOSTFIELDS, nullptr);
    request.setSendDataSize(0);
    EXPECT_EQ(sentBody(request), "");
}

TEST_F(NetRequestPostTest, ATextReplacedWhileItIsSentStaysUntilTheTransferHasEnded) {
    // libcurl sends a body of this size in several pieces, and reports progress between them.
    const std::string big(2'000'000, 'b');
    struct Replacer : virtual vexil::CBase, CNetRequest::ITransferProgress {
        void onProgress(int64, int64, int64, int64) override {
            if (request) {
                std::exchange(request, nullptr)->setOptionString(CURLOPT_POSTFIELDS, "another");
            }
        }
        CNetRequest* request = nullptr;
    };
    CNetRequest request;
    prepare(request);
    const P<Replacer> replacer = new Replacer;
    replacer->request = &request;
    request.setTransferProgress(replacer);
    request.setOptionString(CURLOPT_POSTFIELDS, big.c_str());
    const std::string body = sentBody(request);
    EXPECT_EQ(body.size(), big.size());
    EXPECT_EQ(body.find_first_not_of('b'), std::string::npos);
    EXPECT_EQ(sentBody(request), "another");
}

TEST_F(NetRequestPostTest, NoShortOrderSendsAForeignByte) {
    CNetRequest request;
    constexpr std::size_t length = 4;
    std::vector<std::size_t> order(length, 0);
    for (std::size_t at = 0; at < length && !HasFailure();) {
        play(request, order);
        for (at = 0; at < length && ++order[at] == commonSteps; ++at) {
            order[at] = 0;
        }
    }
    EXPECT_THAT(peer.failures(), IsEmpty());
}

TEST_F(NetRequestPostTest, NoLongOrderSendsAForeignByte) {
    std::mt19937 random(4711);
    for (int count = 0; count < 500 && !HasFailure(); ++count) {
        CNetRequest request;
        std::vector<std::size_t> order(12);
        std::generate(order.begin(), order.end(), [&] { return random() % steps().size(); });
        play(request, order);
    }
    EXPECT_THAT(peer.failures(), IsEmpty());
}

}  // namespace
