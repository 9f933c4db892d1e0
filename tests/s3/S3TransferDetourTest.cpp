// Redirects, regions and clocks in the transfers of CS3TransferManager.
#include "tests/s3/FakeObject.h"
#include "vexil/s3/S3SigningError.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"
#include "zet/TimeFields.h"

#include <chrono>
#include <map>
#include <set>

namespace {

using namespace vexil_test;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using vexil::CRetryPolicy;
using vexil::CS3SigningError;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::CS3UploadResult;
using Operation = FakeS3::Operation;

constexpr std::size_t uploadPartSize = 5 << 20;
constexpr char again[] = "again=";

using Response = std::optional<std::string>;

std::string redirectTo(const std::string& url) {
    return reply("307 Temporary Redirect", errorDocument("TemporaryRedirect"), "Location: " + url + "\r\n");
}

/// To the same object, with one argument more.
std::string redirectBack(const std::string& target) {
    return redirectTo(target + (target.find('?') == target.npos ? "?" : "&") + again + "1");
}

std::string headerOf(const std::string& head, const std::string& name) {
    const std::size_t begin = head.find(name + ": ");
    return begin == head.npos
               ? ""
               : head.substr(begin + name.size() + 2, head.find("\r\n", begin) - begin - name.size() - 2);
}

bool isSignedFor(const std::string& head, const std::string& region) {
    return headerOf(head, "Authorization").find("/" + region + "/s3/") != std::string::npos;
}

std::string wrongRegion(const std::string& region, const std::string& method) {
    const std::string headers = "x-amz-bucket-region: " + region + "\r\n";
    return method == "HEAD"
               ? "HTTP/1.1 400 Bad Request\r\n" + headers + "\r\n"
               : reply("400 Bad Request", errorDocument("AuthorizationHeaderMalformed"), headers);
}

/// The refusal of a service whose clock is two hours ahead; nullopt for a request of that time.
Response refuseClock(const std::string& head) {
    constexpr int64 minute = 60'000'000;
    const auto at = [now = zet::CTime::now().getMicroseconds()](int64 minutes) {
        return zet::CTimeFields(zet::CTime::fromMicroseconds(now + minutes * minute),
                                zet::CTimeFields::FieldTypeUTC);
    };
    const std::string hour = headerOf(head, "x-amz-date").substr(0, 11);
    for (const int64 minutes : {115, 120, 125}) {
        const zet::CTimeFields fields = at(minutes);
        char text[20];
        std::snprintf(text, sizeof text, "%04d%02d%02dT%02d", fields.getYear(), fields.getMonth(),
                      fields.getDay(), fields.getHour());
        if (hour == text) {
            return std::nullopt;
        }
    }
    const std::string date = "Date: " + at(120).toInternetTimestamp().toUTF8() + "\r\n";
    return head.starts_with("HEAD") ? "HTTP/1.1 403 Forbidden\r\n" + date + "\r\n"
                                    : reply("403 Forbidden", errorDocument("RequestTimeTooSkewed"), date);
}

/// Nothing is tried again: only a detour leads to a success.
CS3TransferSettings makeSettings() {
    CRetryPolicy::Settings retries;
    retries.maxRetries = 0;
    CS3TransferSettings settings;
    settings.retryPolicy = CRetryPolicy(retries);
    return settings;
}

CS3Client makeClient(const ScriptedPeer& peer) {
    CS3Client client({.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false);
    client.setBaseURL(String(peer.url("")));
    client.setSignatureVersion(4);
    return client;
}

// ---- uploads ---------------------------------------------------------------------------------------------

class S3UploadDetourTest : public testing::Test {
protected:
    S3UploadDetourTest()
        : content(ScriptedPeer::pattern(0, 2 * uploadPartSize + 100)), settings(makeSettings()) {
        settings.partSize = uploadPartSize;
    }

    void TearDown() override { EXPECT_TRUE(service.peer.waitUntilIdle()); }

    CS3UploadResult upload(const std::string& bytes) {
        CS3TransferManager manager(makeClient(service.peer), settings);
        zet::CMemoryInStream stream(bytes.data(), static_cast<int>(bytes.size()));
        return manager.upload(&stream, static_cast<int64>(bytes.size()), "b", "k");
    }
    void expectStored() {
        const CS3UploadResult result = upload(content);
        EXPECT_EQ(result.partCount, 3);
        EXPECT_TRUE(service.object("k") == content);
        EXPECT_EQ(service.uploadCount(), 0u);
    }

    FakeS3 service;
    const std::string content;
    CS3TransferSettings settings;
};

TEST_F(S3UploadDetourTest, EachRequestIsRedirectedAndSignedAgain) {
    service.setFault([](const FakeS3::Call& call) -> Response {
        return call.target().find(again) == std::string::npos ? Response(redirectBack(call.target()))
                                                              : std::nullopt;
    });
    expectStored();
    EXPECT_EQ(service.calls().size(), 12u) << "create, three parts, completion and head, each twice";
    std::set<std::string> signatures;
    for (const FakeS3::Call& call : service.calls()) {
        signatures.insert(headerOf(call.head, "Authorization"));
    }
    EXPECT_EQ(signatures.size(), 12u);
    (void)upload("small");
    EXPECT_EQ(service.object("k"), "small");
    EXPECT_EQ(service.countOf(Operation::Put), 2);
}

TEST_F(S3UploadDetourTest, EndlessRedirectsOfAPartEndTheUpload) {
    service.setFault([](const FakeS3::Call& call) -> Response {
        return call.part == 2 ? Response(redirectBack(call.target())) : std::nullopt;
    });
    const auto error = thrownBy<CS3Error>([&] { (void)upload(content); });
    EXPECT_EQ(error->getS3Code(), "TemporaryRedirect");
    EXPECT_EQ(service.countOf(Operation::Part, 2), 6) << "five redirects";
    EXPECT_EQ(service.uploadCount(), 0u);
}

TEST_F(S3UploadDetourTest, PartIsNotSentToAnotherHost) {
    const ScriptedPeer other;
    service.setFault([&](const FakeS3::Call& call) -> Response {
        return call.part == 2 ? Response(redirectTo(other.url(call.target()))) : std::nullopt;
    });
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)upload(content); })->getS3Code(), "TemporaryRedirect");
    EXPECT_EQ(other.connectionCount(), 0u);
    EXPECT_EQ(service.countOf(Operation::Part, 2), 1);
}

TEST_F(S3UploadDetourTest, EachPartInFlightIsSignedForTheRightRegion) {
    // The region becomes known when all three parts are under way.
    service.setFault([](const FakeS3::Call& call) -> Response {
        return call.operation == Operation::Create || isSignedFor(call.head, "eu-west-3")
                   ? std::nullopt
                   : Response(wrongRegion("eu-west-3", call.operation == Operation::Head ? "HEAD" : "PUT"));
    });
    expectStored();
    EXPECT_TRUE(isSignedFor(service.calls().back().head, "eu-west-3"));
}

TEST_F(S3UploadDetourTest, RegionAndClockAreCorrected) {
    service.setFault([](const FakeS3::Call& call) -> Response {
        return isSignedFor(call.head, "eu-west-3") ? refuseClock(call.head)
                                                   : Response(wrongRegion("eu-west-3", "POST"));
    });
    expectStored();
    EXPECT_EQ(service.countOf(Operation::Create), 3);
    EXPECT_EQ(service.calls().size(), 8u) << "later requests are right at once";
}

TEST_F(S3UploadDetourTest, ThirdRegionEndsTheUpload) {
    service.setFault([number = 0](const FakeS3::Call& call) mutable -> Response {
        return call.operation == Operation::Complete
                   ? Response(wrongRegion("r" + std::to_string(++number), "POST"))
                   : std::nullopt;
    });
    const auto error = thrownBy<CS3SigningError>([&] { (void)upload(content); });
    EXPECT_EQ(error->getRegion(), "r3");
    EXPECT_EQ(service.countOf(Operation::Complete), 3);
    EXPECT_EQ(service.uploadCount(), 0u);
}

// An object with the same content may be older.
TEST_F(S3UploadDetourTest, RefusalAfterARedirectIsNoSuccess) {
    (void)upload(content);
    service.forgetCalls();
    service.setFault([](const FakeS3::Call& call) -> Response {
        if (call.operation != Operation::Complete) {
            return std::nullopt;
        }
        return call.tries == 1 ? redirectBack(call.target())
                               : reply("412 Precondition Failed", errorDocument("PreconditionFailed"));
    });
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)upload(content); })->getS3Code(), "PreconditionFailed");
    EXPECT_EQ(service.countOf(Operation::Head), 0);
}

TEST_F(S3UploadDetourTest, DeletionOfThePartsIsRedirected) {
    service.setFault([](const FakeS3::Call& call) -> Response {
        if (call.operation == Operation::Part) {
            return reply("403 Forbidden", errorDocument("AccessDenied"));
        }
        return call.operation == Operation::Abort && call.tries == 1 ? Response(redirectBack(call.target()))
                                                                     : std::nullopt;
    });
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)upload(content); })->getS3Code(), "AccessDenied");
    EXPECT_EQ(service.countOf(Operation::Abort), 2);
    EXPECT_EQ(service.uploadCount(), 0u);
}

TEST_F(S3UploadDetourTest, Version2LearnsNothing) {
    service.setFault([](const FakeS3::Call& call) -> Response {
        return call.part == 2 ? Response(wrongRegion("eu-west-3", "PUT")) : std::nullopt;
    });
    CS3Client client = makeClient(service.peer);
    client.setSignatureVersion(2);
    CS3TransferManager manager(client, settings);
    zet::CMemoryInStream stream(content.data(), static_cast<int>(content.size()));
    EXPECT_THROW((void)manager.upload(&stream, static_cast<int64>(content.size()), "b", "k"), CS3Error);
    EXPECT_EQ(service.countOf(Operation::Part, 2), 1);
}

// ---- downloads -------------------------------------------------------------------------------------------

class S3DownloadDetourTest : public testing::Test {
protected:
    S3DownloadDetourTest() : content(ScriptedPeer::pattern(0, 4 * partSize + 100)), settings(makeSettings()) {
        settings.partSize = partSize;
        object.set(content);
        object.setUploadedParts({2 * partSize, 2 * partSize, 100});
    }

    void TearDown() override { EXPECT_TRUE(object.peer.waitUntilIdle()); }

    std::string download() {
        CS3TransferManager manager(makeClient(object.peer), settings);
        const P<zet::CBufferStream> stream = zet::make<zet::CBufferStream>();
        (void)manager.download("b", "k", stream);
        return {reinterpret_cast<const char*>(stream->getBuffer()->getData()),
                static_cast<std::size_t>(stream->getBuffer()->getUsed())};
    }

    FakeObject object;
    const std::string content;
    CS3TransferSettings settings;
};

TEST_F(S3DownloadDetourTest, EachRequestIsRedirectedAndSignedAgain) {
    object.setFault([](const ObjectCall& call) -> Response {
        const bool isRedirected = call.target().find(again) != std::string::npos;
        if (!isRedirected && call.method == "HEAD") {
            return "HTTP/1.1 307 Temporary Redirect\r\nContent-Length: 0\r\nLocation: " + call.target() +
                   (call.target().find('?') == std::string::npos ? "?" : "&") + again + "1\r\n\r\n";
        }
        return isRedirected ? std::nullopt : Response(redirectBack(call.target()));
    });
    EXPECT_TRUE(download() == content);
    std::map<std::string, int> counts;
    for (const ObjectCall& call : object.calls()) {
        ++counts[call.method];
    }
    EXPECT_EQ(counts["GET"], 10) << "five parts, each twice";
    EXPECT_EQ(counts["HEAD"], 4) << "the first and the last part of the upload, each twice";
}

TEST_F(S3DownloadDetourTest, EndlessRedirectsOfAPartEndTheDownload) {
    object.setFault([](const ObjectCall& call) -> Response {
        return call.index() == 2 ? Response(redirectBack(call.target())) : std::nullopt;
    });
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)download(); })->getS3Code(), "TemporaryRedirect");
    int count = 0;
    for (const ObjectCall& call : object.calls()) {
        count += call.index() == 2 ? 1 : 0;
    }
    EXPECT_EQ(count, 6);
}

TEST_F(S3DownloadDetourTest, EachPartInFlightIsSignedForTheRightRegion) {
    object.setFault([](const ObjectCall& call) -> Response {
        return call.index() < 1 || isSignedFor(call.head, "eu-west-3")
                   ? std::nullopt
                   : Response(wrongRegion("eu-west-3", call.method));
    });
    EXPECT_TRUE(download() == content);
}

TEST_F(S3DownloadDetourTest, RegionAndClockAreCorrected) {
    object.setFault([](const ObjectCall& call) -> Response {
        return isSignedFor(call.head, "eu-west-3") ? refuseClock(call.head)
                                                   : Response(wrongRegion("eu-west-3", call.method));
    });
    EXPECT_TRUE(download() == content);
    EXPECT_EQ(object.calls().size(), 9u) << "only the first request is sent three times";
}

}  // namespace
