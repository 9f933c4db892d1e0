// Many transfers at once through the worker thread, against a real S3 server: every byte arrives where it
// belongs.
#include "tests/s3/S3TestSupport.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "zet/BufferStream.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

namespace {

using namespace vexil_test;
using vexil::CAsyncNetRequestManager;
using vexil::CAsyncNetRequestThread;
using vexil::PC;
using vexil::TBuffer;
using zet::CBufferStream;

constexpr int objectCount = 200;
constexpr int longTime = 300000;  // milliseconds

String environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

String keyOf(int number) {
    return "object " + String::fromInt(number);
}

/// The content of an object: of one of a few sizes, and different from all others of its size.
std::string contentOf(int number) {
    static constexpr std::array<std::size_t, 8> sizes{0,       1,          1000,      16 * 1024,
                                                      100'001, 512 * 1024, 1'234'567, 3 * 1024 * 1024};
    static constexpr std::size_t shift = 4099;
    static const std::string pattern = [] {
        std::mt19937 random;
        std::string bytes(sizes.back() + objectCount * shift, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
        return bytes;
    }();
    const auto place = static_cast<std::size_t>(number);
    return pattern.substr(place * shift, sizes[place % sizes.size()]);
}

/// The first difference of two contents, "" if there is none: megabytes are not readable.
std::string differenceOf(const std::string& content, const std::string& wanted) {
    if (content.size() != wanted.size()) {
        return std::to_string(content.size()) + " bytes instead of " + std::to_string(wanted.size());
    }
    if (content == wanted) {
        return "";
    }
    const auto place = std::mismatch(content.begin(), content.end(), wanted.begin()).first;
    return "another byte at " + std::to_string(place - content.begin());
}

std::string contentOf(const CBufferStream& stream) {
    const PC<TBuffer<unsigned char>> buffer = stream.getBuffer();
    return {reinterpret_cast<const char*>(buffer->getData()), static_cast<std::size_t>(buffer->getUsed())};
}

/// A worker that counts how many transfers it had at once.
class CountingThread : public CAsyncNetRequestThread {
public:
    CountingThread() : CAsyncNetRequestThread(nullptr) {}
    ~CountingThread() override { stop(true); }

    /// Valid after the transfers.
    int getMostRequests() const { return m_mostRequests; }

protected:
    void handleManagerEvents(CAsyncNetRequestManager& manager) override {
        m_mostRequests = std::max(m_mostRequests, manager.getRequestCount());
        CAsyncNetRequestThread::handleManagerEvents(manager);
    }

private:
    int m_mostRequests = 0;
};

/// Each test has its own bucket.
class AsyncS3ServerTest : public testing::Test {
protected:
    AsyncS3ServerTest()
        : client(environment("VEXIL_S3_ACCESS_KEY"), environment("VEXIL_S3_SECRET_KEY"), false) {
        client.setBaseURL(environment("VEXIL_S3_ENDPOINT"));
        const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
        bucket = String::fromUTF8(std::string("bucket-") + info->name()).toLower();
    }

    void SetUp() override {
        CNetRequest request;
        request.setURL(client.getBaseURL() + request.urlEscape(bucket));
        request.setHTTPMethod("PUT");
        request.setSendDataSize(0);
        const P<CNetHeaders> headers = new CNetHeaders;
        headers->add(
            "Date",
            zet::CTimeFields(zet::CTime::now(), zet::CTimeFields::FieldTypeUTC).toInternetTimestamp());
        request.setCustomHTTPHeaders(headers);
        client.signRequest(&request);
        request.perform();
    }

    P<CNetRequest> makeUpload(int number, const std::string& content) {
        const P<CNetRequest> request = new CNetRequest;
        client.preparePutObjectRequest(*request, bucket, keyOf(number), content.data(), content.size(), "");
        return request;
    }
    P<CNetRequest> makeDownload(int number) {
        const P<CNetRequest> request = new CNetRequest;
        client.prepareGetObjectRequest(*request, bucket, keyOf(number), 0, -1);
        return request;
    }

    /// Runs all of them at once, and checks that they ran at once.
    static void run(const std::vector<P<CNetRequest>>& requests) {
        const P<CountingThread> thread = new CountingThread;
        // Before the start: the first pass picks up all of them.
        for (const P<CNetRequest>& request : requests) {
            thread->addRequest(request);
        }
        thread->start();
        for (std::size_t i = 0; i < requests.size(); ++i) {
            ASSERT_TRUE(requests[i]->waitAsyncDone(longTime)) << "transfer " << i << " does not end";
            ASSERT_NO_THROW(requests[i]->checkAsyncResult()) << "of transfer " << i;
        }
        thread->stop(true);
        EXPECT_EQ(thread->getMostRequests(), static_cast<int>(requests.size()));
    }

    CS3Client client;
    String bucket;
};

TEST_F(AsyncS3ServerTest, TwoHundredObjectsAreStoredAndReadAtOnce) {
    std::vector<std::string> contents;
    std::vector<P<CNetRequest>> uploads;
    contents.reserve(objectCount);
    for (int i = 0; i < objectCount; ++i) {
        contents.push_back(contentOf(i));
        uploads.push_back(makeUpload(i, contents.back()));
    }
    run(uploads);
    ASSERT_FALSE(HasFatalFailure());

    std::vector<P<CNetRequest>> downloads;
    for (int i = 0; i < objectCount; ++i) {
        downloads.push_back(makeDownload(i));
    }
    run(downloads);
    ASSERT_FALSE(HasFatalFailure());
    for (int i = 0; i < objectCount; ++i) {
        const auto number = static_cast<std::size_t>(i);
        EXPECT_EQ(differenceOf(bodyOf(*downloads[number]), contents[number]), "") << keyOf(i).toUTF8();
    }
}

TEST_F(AsyncS3ServerTest, ObjectsAreReadIntoStreamsWhileOthersAreStoredFromStreams) {
    constexpr int storedBefore = objectCount / 2;
    std::vector<std::string> contents;
    std::vector<P<CNetRequest>> first;
    contents.reserve(objectCount);
    for (int i = 0; i < objectCount; ++i) {
        contents.push_back(contentOf(i));
    }
    for (int i = 0; i < storedBefore; ++i) {
        first.push_back(makeUpload(i, contents[static_cast<std::size_t>(i)]));
    }
    run(first);
    ASSERT_FALSE(HasFatalFailure());

    std::vector<P<CBufferStream>> received;
    std::vector<P<CNetRequest>> transfers;
    for (int i = 0; i < storedBefore; ++i) {
        const std::string& content = contents[static_cast<std::size_t>(storedBefore + i)];
        const P<CBufferStream> sent = new CBufferStream;
        sent->write(content.data(), static_cast<int>(content.size()));
        sent->seek(0);
        transfers.push_back(new CNetRequest);
        client.preparePutObjectRequest(*transfers.back(), bucket, keyOf(storedBefore + i), sent,
                                       content.size(), "");
        received.push_back(new CBufferStream);
        transfers.push_back(new CNetRequest);
        client.prepareGetObjectRequest(*transfers.back(), bucket, keyOf(i), 0, -1, received.back());
    }
    run(transfers);
    ASSERT_FALSE(HasFatalFailure());
    for (int i = 0; i < storedBefore; ++i) {
        const auto number = static_cast<std::size_t>(i);
        EXPECT_EQ(differenceOf(contentOf(*received[number]), contents[number]), "") << keyOf(i).toUTF8();
    }
    for (int i = storedBefore; i < objectCount; ++i) {
        CNetRequest request;
        client.getObject(request, bucket, keyOf(i), 0, -1);
        EXPECT_EQ(differenceOf(bodyOf(request), contents[static_cast<std::size_t>(i)]), "")
            << keyOf(i).toUTF8();
    }
}

}  // namespace
