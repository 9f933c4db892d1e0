// Uploads of any size by CS3TransferManager.
#include "tests/s3/FakeS3.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/net/TransferMetrics.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CCancelToken;
using vexil::CRetryPolicy;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::CS3UploadResult;
using vexil::ErrorKind;
using vexil::S3Checksum;
using vexil::S3UploadCheck;
using Call = FakeS3::Call;
using Operation = FakeS3::Operation;

constexpr std::size_t partSize = 5 << 20;

/// A refusal with this error document.
std::string refusal(const std::string& status, const std::string& code, const std::string& headers = "") {
    return reply(status, errorDocument(code), headers);
}

/// A response that ends too early: the connection is lost.
const std::string lostResponse = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 10\r\n\r\n";

/// Responds to the first try of an operation in this way.
FakeS3::Fault onFirstTry(Operation operation, int part, const std::string& response) {
    return [=](const Call& call) -> std::optional<std::string> {
        const bool isMeant = call.operation == operation && call.part == part && call.tries == 1;
        return isMeant ? std::optional(response) : std::nullopt;
    };
}

/// Responds to every try of an operation in this way.
FakeS3::Fault always(Operation operation, int part, const std::string& response) {
    return [=](const Call& call) -> std::optional<std::string> {
        const bool isMeant = call.operation == operation && call.part == part;
        return isMeant ? std::optional(response) : std::nullopt;
    };
}

/// Records what it is told.
class Observer : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    void onProgress(int64 doneBytes, int64 totalBytes) override {
        done = doneBytes;
        total = totalBytes;
        mostDone = std::max(mostDone, doneBytes);
        if (whenShown) {
            whenShown();
        }
    }
    void onUploadBegun(const String& resumeToken) override { token = resumeToken; }
    void onTries(const vexil::CTryLog& log) override { tries.push_back(log.getTries().size()); }

    int64 done = -1;
    int64 mostDone = -1;
    int64 total = -2;
    String token;
    std::vector<std::size_t> tries;
    std::function<void()> whenShown;
};

/// A stream that cannot seek and does not know its size.
class Pipe : public virtual vexil::CBase, public zet::IInStream {
public:
    explicit Pipe(std::string bytes) : m_bytes(std::move(bytes)) {}

    [[nodiscard]] int read(void* buffer, int maxLength) override {
        const std::size_t length =
            std::min({static_cast<std::size_t>(maxLength), m_bytes.size() - m_position, std::size_t{40000}});
        std::copy_n(m_bytes.data() + m_position, length, static_cast<char*>(buffer));
        m_position += length;
        return static_cast<int>(length);
    }
    int64 getSize() override { return -1; }
    void seek(int64) override { throw CError("cannot seek"); }
    int64 getPosition() override { throw CError("has no position"); }

private:
    const std::string m_bytes;
    std::size_t m_position = 0;
};

/// A stream whose end only the thread that has made it may read at once. Others wait for release().
class BlockingStream : public zet::CMemoryInStream {
public:
    BlockingStream(const std::string& bytes, int64 end)
        : CMemoryInStream(bytes.data(), static_cast<int>(bytes.size())), m_end(end) {}

    [[nodiscard]] int read(void* buffer, int maxLength) override {
        if (std::this_thread::get_id() != m_maker && getPosition() >= m_end) {
            isBlocked = true;
            m_isReleased.wait(false);
            isBlocked = false;
        }
        return CMemoryInStream::read(buffer, maxLength);
    }
    void release() {
        m_isReleased = true;
        m_isReleased.notify_all();
    }

    std::atomic<bool> isBlocked{false};

private:
    const std::thread::id m_maker = std::this_thread::get_id();
    const int64 m_end;
    std::atomic<bool> m_isReleased{false};
};

/// Counts the requests, and ends them on demand.
class RequestObserver : public virtual vexil::CBase, public vexil::ITransferObserver {
public:
    void checkContinue() override {
        if (isStopped) {
            throw std::runtime_error("enough");
        }
    }
    void onStart(CNetRequest&) override { ++started; }
    void onEnd(CNetRequest&) override { ++ended; }

    std::atomic<bool> isStopped{false};
    int started = 0;
    int ended = 0;
};

/// Keeps the headers of the request that is prepared first, and ends the upload.
class PreparationObserver : public virtual vexil::CBase, public vexil::ITransferObserver {
public:
    void onStart(CNetRequest& request) override {
        headers.clear();
        request.getCustomHTTPHeaders()->fillMap(headers);
        throw std::runtime_error("enough");
    }

    HeaderMap headers;
};

class S3UploadTest : public testing::Test {
protected:
    S3UploadTest() : content(ScriptedPeer::pattern(0, 2 * partSize + 100)) {
        client.setBaseURL(String(service.peer.url("")));
        fs::create_directories(folder);
        observer = new Observer;
        CRetryPolicy::Settings retries;
        retries.limit = 60s;
        retries.maxRetries = 5;
        retries.pauseFactor = 0;
        retries.onPause = [this](const CError&, int, CRetryPolicy::Milliseconds pause) {
            pauses.push_back(pause);
        };
        settings.partSize = partSize;
        settings.observer = observer;
        settings.retryPolicy = CRetryPolicy(retries);
    }
    ~S3UploadTest() override { fs::remove_all(folder); }

    void TearDown() override {
        EXPECT_TRUE(service.peer.waitUntilIdle());
        if (!mayLeave) {
            EXPECT_THAT(service.peer.failures(), IsEmpty());
        }
    }

    fs::path write(const std::string& bytes) const {
        const fs::path path = folder / "file";
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    CS3UploadResult uploadFile(const std::string& bytes) {
        CS3TransferManager manager(client, settings);
        return manager.uploadFile(write(bytes), "b", "k");
    }
    /// Everything that must be true of a success in three parts.
    void expectStored(const CS3UploadResult& result) const {
        EXPECT_EQ(result.size, static_cast<int64>(content.size()));
        EXPECT_EQ(result.partCount, 3);
        EXPECT_EQ(result.eTag.toUTF8(), "\"" + service.eTag("k") + "\"");
        EXPECT_TRUE(service.object("k") == content);
        EXPECT_EQ(service.uploadCount(), 0u);
        EXPECT_EQ(observer->done, result.size);
    }
    void expectNothingIsLeft() const {
        EXPECT_EQ(service.uploadCount(), 0u);
        EXPECT_EQ(service.countOf(Operation::Abort), 1);
        EXPECT_EQ(service.object("k"), "(none)");
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-upload-test-" + std::to_string(std::random_device()()));
    FakeS3 service;
    CS3Client client{{.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false};
    std::string content;
    CS3TransferSettings settings;
    P<Observer> observer;
    std::vector<CRetryPolicy::Milliseconds> pauses;
    bool mayLeave = false;
};

// ---- files -----------------------------------------------------------------------------------------------

TEST_F(S3UploadTest, ObjectOfOnePartIsOnePut) {
    for (const std::string& bytes : {std::string(), std::string("hello"), content.substr(0, partSize)}) {
        service.forgetCalls();
        const CS3UploadResult result = uploadFile(bytes);
        EXPECT_EQ(result.size, static_cast<int64>(bytes.size()));
        EXPECT_EQ(result.partCount, 0);
        EXPECT_EQ(result.eTag.toUTF8(), "\"" + hexOf(rawMD5Of(bytes)) + "\"");
        EXPECT_TRUE(service.object("k") == bytes);
        ASSERT_EQ(service.calls().size(), 1u);
        EXPECT_EQ(service.calls()[0].operation, Operation::Put);
    }
}

TEST_F(S3UploadTest, LargerFileIsSentInParts) {
    const CS3UploadResult result = uploadFile(content);
    expectStored(result);
    EXPECT_EQ(service.sentBytes(), content.size());
    const auto calls = service.calls();
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0].operation, Operation::Create);
    EXPECT_EQ(calls[4].operation, Operation::Complete);
    EXPECT_EQ(calls[5].operation, Operation::Head);
    EXPECT_EQ(observer->total, result.size);
    EXPECT_EQ(observer->mostDone, result.size);
}

TEST_F(S3UploadTest, PartsShareARateLimit) {
    settings.rateLimit = zet::make<vexil::CRateLimit>();
    settings.rateLimit->setUploadRate(static_cast<int64>(content.size()) * 2);
    const auto start = std::chrono::steady_clock::now();
    expectStored(uploadFile(content));
    // Less a tenth of a second and a turn.
    EXPECT_GT(std::chrono::steady_clock::now() - start, 350ms);
}

TEST_F(S3UploadTest, OptionsGoWithTheObject) {
    CS3TransferManager manager(client, settings);
    (void)manager.uploadFile(write(content), "b", "k", {.contentType = "text/a", .storageClass = "COLD"});
    (void)manager.uploadFile(write("small"), "b", "k", {.contentType = "text/b"});
    const auto requests = service.peer.requests();
    EXPECT_EQ(requests.front().header("content-type"), "text/a");
    EXPECT_EQ(requests.front().header("x-amz-storage-class"), "COLD");
    EXPECT_EQ(requests.back().header("content-type"), "text/b");
}

TEST_F(S3UploadTest, SizeOfThePartsIsStoredOnlyOnDemandAndIfThereAreParts) {
    const auto storedSize = [&](const auto& upload, const std::string& bytes) {
        const std::size_t earlier = service.peer.requests().size();
        CS3TransferManager manager(client, settings);
        upload(manager, bytes);
        const std::optional<std::string> size =
            service.peer.requests().at(earlier).header("x-amz-meta-vexil-part-size");
        return size.value_or("(none)");
    };
    const auto uploadOfFile = [&](CS3TransferManager& manager, const std::string& bytes) {
        (void)manager.uploadFile(write(bytes), "b", "k", {.metadata = {{"owner", "kim"}}});
    };
    const auto uploadOfStream = [&](CS3TransferManager& manager, const std::string& bytes) {
        zet::CMemoryInStream stream(bytes.data(), static_cast<int>(bytes.size()));
        (void)manager.upload(&stream, static_cast<int64>(bytes.size()), "b", "k");
    };
    const auto uploadOfPipe = [&](CS3TransferManager& manager, const std::string& bytes) {
        (void)manager.uploadStream(new Pipe(bytes), "b", "k");
    };
    EXPECT_EQ(storedSize(uploadOfFile, content), "(none)");
    settings.storesPartSize = true;
    EXPECT_EQ(storedSize(uploadOfFile, content), "5242880");
    EXPECT_EQ(service.peer.requests().back().header("x-amz-meta-vexil-part-size"), std::nullopt);
    EXPECT_EQ(storedSize(uploadOfStream, content), "5242880");
    EXPECT_EQ(storedSize(uploadOfFile, "one put"), "(none)");
    EXPECT_EQ(storedSize(uploadOfStream, "one put"), "(none)");
    // Nobody knows whether the parts of a pipe will have to grow.
    EXPECT_EQ(storedSize(uploadOfPipe, content), "(none)");
}

TEST_F(S3UploadTest, MetadataMustNotHaveTheNameOfTheStoredPartSize) {
    const auto errorOf = [&](const std::string& name, const std::string& bytes) {
        return argErrorOf([&] {
            CS3TransferManager manager(client, settings);
            (void)manager.uploadFile(write(bytes), "b", "k", {.metadata = {{String(name), "1"}}});
        });
    };
    settings.storesPartSize = true;
    const std::string error = "CS3TransferManager::uploadFile: the metadata must not have the name "
                              "vexil-part-size, which storesPartSize needs";
    EXPECT_EQ(errorOf("vexil-part-size", content), error);
    EXPECT_EQ(errorOf("Vexil-Part-Size", "one put"), error);
    EXPECT_EQ(service.peer.connectionCount(), 0u);
    settings.storesPartSize = false;
    CS3TransferManager manager(client, settings);
    (void)manager.uploadFile(write(content), "b", "k", {.metadata = {{"vexil-part-size", "1"}}});
    EXPECT_EQ(service.peer.requests().front().header("x-amz-meta-vexil-part-size"), "1");
}

TEST_F(S3UploadTest, NoMorePartsThanAllowedAreSentAtOnce) {
    settings.parallelParts = 2;
    content = ScriptedPeer::pattern(0, 4 * partSize);
    EXPECT_EQ(uploadFile(content).partCount, 4);
    EXPECT_EQ(service.peer.connectionCount(), 2u);
    EXPECT_TRUE(service.object("k") == content);
}

TEST_F(S3UploadTest, Version4SignsAllRequests) {
    client.setSignatureVersion(4);
    expectStored(uploadFile(content));
    for (const RecordedRequest& request : service.peer.requests()) {
        EXPECT_THAT(request.header("authorization").value_or(""), StartsWith("AWS4-HMAC-SHA256 "));
    }
}

TEST_F(S3UploadTest, ChangedFileIsAnError) {
    const fs::path path = write(content);
    settings.parallelParts = 1;
    settings.keepsForResume = true;
    service.setLoss([&](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Part && call.part == 1) {
            std::ofstream(path, std::ios::binary | std::ios::app) << "more";
        }
        return std::nullopt;
    });
    CS3TransferManager manager(client, settings);
    EXPECT_THROW((void)manager.uploadFile(path, "b", "k"), CError);
    expectNothingIsLeft();
    EXPECT_EQ(manager.getResumeToken(), "");
}

// ---- faults ----------------------------------------------------------------------------------------------

TEST_F(S3UploadTest, FailedPartIsSentAgainFromItsBeginning) {
    const std::string wrongETag = reply("200 OK", "", "ETag: \"" + std::string(32, 'a') + "\"\r\n");
    for (const std::string& fault :
         {refusal("503 Slow Down", "SlowDown"), refusal("500 Internal Server Error", "InternalError"),
          refusal("400 Bad Request", "RequestTimeout"), refusal("400 Bad Request", "BadDigest"), lostResponse,
          std::string("HTTP/1.1 200 OK\r\nConnection: close\r\n"), wrongETag}) {
        SCOPED_TRACE(fault);
        service.forgetCalls();
        service.setFault(onFirstTry(Operation::Part, 2, fault));
        expectStored(uploadFile(content));
        EXPECT_EQ(service.countOf(Operation::Part, 1), 1);
        EXPECT_EQ(service.countOf(Operation::Part, 2), 2);
        EXPECT_EQ(service.countOf(Operation::Part, 3), 1);
        EXPECT_EQ(service.sentBytes(), content.size() + partSize);
        EXPECT_EQ(observer->mostDone, static_cast<int64>(content.size()));
    }
}

TEST_F(S3UploadTest, FailedRequestsBesideThePartsAreTriedAgain) {
    const std::string busy = refusal("503 Slow Down", "SlowDown");
    for (const Operation operation : {Operation::Create, Operation::Complete}) {
        service.forgetCalls();
        service.setFault(onFirstTry(operation, 0, busy));
        expectStored(uploadFile(content));
        EXPECT_EQ(service.countOf(operation), 2);
        EXPECT_EQ(service.sentBytes(), content.size());
    }
    service.setFault(onFirstTry(Operation::Put, 0, busy));
    EXPECT_EQ(uploadFile("small").size, 5);
    EXPECT_EQ(service.object("k"), "small");
}

TEST_F(S3UploadTest, ConnectionThatIsResetWithinAPartIsReplaced) {
    settings.parallelParts = 1;
    auto script = service.peer.onConnection();
    script.expectRequest().reply(reply("200 OK", "<InitiateMultipartUploadResult><UploadId>id1</UploadId>"
                                                 "</InitiateMultipartUploadResult>"));
    script.expectHead().expectBytes(100000).reset();
    service.makeUpload("id1");
    expectStored(uploadFile(content));
    EXPECT_EQ(service.countOf(Operation::Part, 1), 1);
    EXPECT_EQ(service.sentBytes(), content.size());
    EXPECT_GE(service.peer.receivedSize(0), 100000u);
}

// libcurl averages the speed of five seconds.
TEST_F(S3UploadTest, StalledPartIsSentAgain) {
    client.setRequestSetup(vexil::makeRequestSetup(
        [](CNetRequest& request) { request.setLowSpeedLimit(1, zet::CTimeSpan::fromSeconds(1)); }));
    settings.parallelParts = 1;
    auto script = service.peer.onConnection();
    script.expectRequest().reply(reply("200 OK", "<InitiateMultipartUploadResult><UploadId>id1</UploadId>"
                                                 "</InitiateMultipartUploadResult>"));
    script.expectRequest().waitForClose();
    service.makeUpload("id1");
    expectStored(uploadFile(content));
    EXPECT_EQ(service.countOf(Operation::Part, 1), 1);
}

TEST_F(S3UploadTest, DemandedPauseIsKept) {
    CRetryPolicy::Settings retries;
    retries.pauseFactor = 0.001;
    retries.onPause = [this](const CError&, int, CRetryPolicy::Milliseconds pause) {
        pauses.push_back(pause);
    };
    settings.retryPolicy = CRetryPolicy(retries);
    service.setFault(
        onFirstTry(Operation::Part, 1, refusal("503 Slow Down", "SlowDown", "Retry-After: 20\r\n")));
    expectStored(uploadFile(content));
    ASSERT_EQ(pauses.size(), 1u);
    EXPECT_GE(pauses[0], 20ms);
}

TEST_F(S3UploadTest, PartThatIsAlwaysStoredWronglyIsAnError) {
    const std::string wrong = reply("200 OK", "", "ETag: " + std::string(32, 'a') + "\r\n");
    for (const S3UploadCheck check : {S3UploadCheck::BeforeSending, S3UploadCheck::WhileSending}) {
        SCOPED_TRACE(static_cast<int>(check));
        settings.uploadCheck = check;
        service.forgetCalls();
        // Other failures do not count.
        service.setFault([&](const Call& call) -> std::optional<std::string> {
            if (call.part != 2) {
                return std::nullopt;
            }
            return call.tries == 2 ? refusal("503 Slow Down", "SlowDown") : wrong;
        });
        const auto error = thrownBy<CError>([&] { (void)uploadFile(content); });
        EXPECT_EQ(error->getKind(), ErrorKind::InvalidData);
        EXPECT_FALSE(vexil::isTransientError(*error));
        EXPECT_THAT(error->what(),
                    HasSubstr(check == S3UploadCheck::BeforeSending ? "but the service has stored the MD5"
                                                                    : "The service has stored other bytes"));
        EXPECT_EQ(service.countOf(Operation::Part, 2), 4);
        expectNothingIsLeft();
    }
}

// Amazon demands a Content-MD5 of objects with a lock.
TEST_F(S3UploadTest, BytesAreReadOnceOverHTTPSUnlessAnMD5MustBeSent) {
    const P<PreparationObserver> observed = zet::make<PreparationObserver>();
    settings.requestObserver = observed;
    client.setSignatureVersion(4);
    const auto sent = [&](const std::string& url, const vexil::CS3PutOptions& options = {}) {
        client.setBaseURL(String(url));
        CS3TransferManager manager(client, settings);
        EXPECT_THROW((void)manager.uploadFile(write("small"), "b", "k", options), std::runtime_error);
        return observed->headers;
    };
    const auto isReadOnce = [](const HeaderMap& headers) { return !headers.contains("content-md5"); };
    EXPECT_EQ(sent("https://127.0.0.1:9").at("x-amz-content-sha256"), "UNSIGNED-PAYLOAD");
    EXPECT_TRUE(isReadOnce(observed->headers));
    EXPECT_FALSE(isReadOnce(sent("http://127.0.0.1:9")));
    EXPECT_FALSE(isReadOnce(sent("https://127.0.0.1:9", {.hasLegalHold = true})));
    EXPECT_FALSE(
        isReadOnce(sent("https://127.0.0.1:9", {.lockMode = vexil::S3ObjectLockMode::Governance,
                                                .lockUntil = zet::CTime::fromCTime(4'000'000'000)})));
    EXPECT_TRUE(isReadOnce(sent("https://127.0.0.1:9"))) << "a lock counts for one object";
    settings.uploadCheck = S3UploadCheck::BeforeSending;
    EXPECT_FALSE(isReadOnce(sent("https://127.0.0.1:9")));
    settings.uploadCheck = S3UploadCheck::WhileSending;
    EXPECT_EQ(sent("http://127.0.0.1:9").at("x-amz-content-sha256"), "STREAMING-AWS4-HMAC-SHA256-PAYLOAD");
    EXPECT_TRUE(isReadOnce(sent("https://127.0.0.1:9", {.hasLegalHold = true}))) << "as it is demanded";
    settings.verifiesETags = false;
    EXPECT_FALSE(isReadOnce(sent("https://127.0.0.1:9")));
    settings.verifiesETags = true;
    settings.uploadCheck.reset();
    client.setUploadCheck(S3UploadCheck::WhileSending);
    EXPECT_TRUE(isReadOnce(sent("http://127.0.0.1:9"))) << "as the client";
}

TEST_F(S3UploadTest, ETagsAreComparedOnlyIfTheyAreMeant) {
    const std::string other = reply("200 OK", "", "ETag: " + std::string(32, 'a') + "\r\n");
    const std::string encrypted = reply(
        "200 OK", "", "ETag: " + std::string(32, 'a') + "\r\nx-amz-server-side-encryption: aws:kms\r\n");
    service.setFault(always(Operation::Put, 0, encrypted));
    EXPECT_EQ(uploadFile("small").eTag.toUTF8(), std::string(32, 'a'));
    settings.verifiesETags = false;
    service.setFault(always(Operation::Put, 0, other));
    EXPECT_EQ(uploadFile("small").eTag.toUTF8(), std::string(32, 'a'));
    // The settings of the manager count, not those of its client.
    client.setVerifyETag(true);
    client.setUploadCheck(vexil::S3UploadCheck::WhileSending);
    EXPECT_EQ(uploadFile("small").eTag.toUTF8(), std::string(32, 'a'));
}

TEST_F(S3UploadTest, FailureLeavesNoParts) {
    service.setFault(always(Operation::Part, 2, refusal("403 Forbidden", "AccessDenied")));
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getS3Code(), "AccessDenied");
    EXPECT_EQ(service.countOf(Operation::Part, 2), 1);
    EXPECT_EQ(service.countOf(Operation::Complete), 0);
    EXPECT_EQ(service.calls().back().operation, Operation::Abort);
    expectNothingIsLeft();
    mayLeave = true;  // other parts were on their way
}

TEST_F(S3UploadTest, FailedDeletionIsLogged) {
    service.setFault([](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Abort) {
            return refusal("403 Forbidden", "AccessDenied");
        }
        return call.operation == Operation::Complete
                   ? std::optional(refusal("400 Bad Request", "EntityTooSmall"))
                   : std::nullopt;
    });
    const LogCapture log;
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getS3Code(), "EntityTooSmall");
    EXPECT_THAT(log.lines(),
                Contains(StartsWith("W: The parts of an upload that has failed could not be deleted.")));
    EXPECT_EQ(service.uploadCount(), 1u);
}

TEST_F(S3UploadTest, RetriesEnd) {
    service.setFault(always(Operation::Part, 1, refusal("503 Slow Down", "SlowDown")));
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getS3Code(), "SlowDown");
    EXPECT_EQ(service.countOf(Operation::Part, 1), 6);
    expectNothingIsLeft();
}

TEST_F(S3UploadTest, TriesAreRecordedOnDemand) {
    const P<vexil::CTransferMetrics> metrics = new vexil::CTransferMetrics;
    settings.recordsTries = true;
    settings.metrics = metrics;
    settings.parallelParts = 1;
    service.setFault(onFirstTry(Operation::Part, 2, refusal("503 Slow Down", "SlowDown")));
    expectStored(uploadFile(content));
    // The begin, three parts, the end and a HEAD for the size.
    EXPECT_THAT(observer->tries, testing::ElementsAre(1, 1, 2, 1, 1, 1));
    EXPECT_EQ(metrics->getRequestCount(), 7);
    EXPECT_EQ(metrics->getRetryCount(), 1);
    EXPECT_EQ(metrics->getErrorCount(vexil::ErrorKind::Throttled), 1);
    service.setFault(always(Operation::Part, 1, refusal("503 Slow Down", "SlowDown")));
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    const auto tries = vexil::CTryLog::fromError(*error).getTries();
    ASSERT_EQ(tries.size(), 6u);
    EXPECT_EQ(tries[5].status, 503);
    EXPECT_EQ(error->getS3Code(), "SlowDown");
}

// ---- completion ------------------------------------------------------------------------------------------

TEST_F(S3UploadTest, ErrorInsideASuccessOfTheCompletionIsTriedAgain) {
    service.setFault(
        onFirstTry(Operation::Complete, 0, reply("200 OK", "  " + errorDocument("InternalError"))));
    expectStored(uploadFile(content));
    EXPECT_EQ(service.countOf(Operation::Complete), 2);
}

TEST_F(S3UploadTest, LostResponseToTheCompletionIsASuccess) {
    service.setLoss(onFirstTry(Operation::Complete, 0, lostResponse));
    expectStored(uploadFile(content));
    EXPECT_EQ(service.countOf(Operation::Complete), 2);
    EXPECT_EQ(service.sentBytes(), content.size());
}

TEST_F(S3UploadTest, LostCompletionOfAnotherObjectIsAnError) {
    service.putObject("k", "old", std::string(32, 'a') + "-3");
    service.setFault([](const Call& call) -> std::optional<std::string> {
        if (call.operation != Operation::Complete) {
            return std::nullopt;
        }
        return call.tries == 1 ? lostResponse : refusal("404 Not Found", "NoSuchUpload");
    });
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getS3Code(), "NoSuchUpload");
    EXPECT_EQ(service.object("k"), "old");
    EXPECT_EQ(service.uploadCount(), 0u);
}

TEST_F(S3UploadTest, MissingUploadIsAnErrorEvenIfTheSameObjectExists) {
    (void)uploadFile(content);
    service.forgetCalls();
    service.setFault(always(Operation::Complete, 0, refusal("404 Not Found", "NoSuchUpload")));
    const auto error = thrownBy<CS3Error>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getS3Code(), "NoSuchUpload");
    EXPECT_EQ(service.countOf(Operation::Complete), 1);
}

TEST_F(S3UploadTest, OtherObjectAfterTheCompletionIsAnError) {
    const std::string other = "<CompleteMultipartUploadResult><ETag>\"" + std::string(32, 'a') +
                              "-3\"</ETag></CompleteMultipartUploadResult>";
    service.setLoss(onFirstTry(Operation::Complete, 0, reply("200 OK", other)));
    auto kindOf = [&] {
        try {
            (void)uploadFile(content);
        } catch (const CError& error) {
            return error.getKind();
        }
        return ErrorKind::Other;
    };
    EXPECT_EQ(kindOf(), ErrorKind::InvalidData);
    service.forgetCalls();
    service.setLoss(onFirstTry(Operation::Head, 0, "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n"));
    EXPECT_EQ(kindOf(), ErrorKind::InvalidData);
}

TEST_F(S3UploadTest, ETagMayComeFromTheObject) {
    service.setLoss(onFirstTry(Operation::Complete, 0, reply("200 OK", "<CompleteMultipartUploadResult/>")));
    expectStored(uploadFile(content));
}

TEST_F(S3UploadTest, ObjectThatMayNotBeReadIsASuccess) {
    service.setFault(always(Operation::Head, 0, "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n"));
    expectStored(uploadFile(content));
}

// ---- end by the caller -----------------------------------------------------------------------------------

TEST_F(S3UploadTest, CancelledUploadLeavesNoParts) {
    settings.cancelToken = new CCancelToken;
    service.setFault([this](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Part && call.part == 2) {
            settings.cancelToken->cancel();
        }
        return std::nullopt;
    });
    const auto error = thrownBy<CCURLError>([&] { (void)uploadFile(content); });
    EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    expectNothingIsLeft();
    mayLeave = true;
}

TEST_F(S3UploadTest, CancelledTokenSendsNothing) {
    settings.cancelToken = new CCancelToken;
    settings.cancelToken->cancel();
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)uploadFile(content); })->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)uploadFile("small"); })->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(service.peer.connectionCount(), 0u);
}

TEST_F(S3UploadTest, DeadlineEndsTheUpload) {
    settings.deadline = CRetryPolicy::Clock::now() - 1ms;
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)uploadFile(content); })->getCode(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(service.peer.connectionCount(), 0u);
    // A pause of the service that is longer than the time that is left.
    CRetryPolicy::Settings retries;
    retries.pauseFactor = 1;
    settings.retryPolicy = CRetryPolicy(retries);
    service.setFault(
        always(Operation::Part, 1, refusal("503 Slow Down", "SlowDown", "Retry-After: 100\r\n")));
    settings.deadline = CRetryPolicy::Clock::now() + 500ms;
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)uploadFile(content); })->getCode(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(service.uploadCount(), 0u);
    mayLeave = true;
}

TEST_F(S3UploadTest, ErrorOfTheObserverEndsTheUpload) {
    observer->whenShown = [this] {
        if (service.countOf(Operation::Part, 1) > 0) {
            throw std::runtime_error("enough");
        }
    };
    EXPECT_THROW((void)uploadFile(content), std::runtime_error);
    expectNothingIsLeft();
    mayLeave = true;
}

TEST_F(S3UploadTest, RequestsAreObserved) {
    const P<RequestObserver> requests = zet::make<RequestObserver>();
    settings.requestObserver = requests;
    expectStored(uploadFile(content));
    EXPECT_EQ(requests->started, 6);
    EXPECT_EQ(requests->ended, 6);
}

TEST_F(S3UploadTest, StoppedRequestsLeaveNoParts) {
    const P<RequestObserver> requests = zet::make<RequestObserver>();
    settings.requestObserver = requests;
    // A program cancels each transfer from inside after a signal.
    class Progress : public virtual vexil::CBase, public CNetRequest::ITransferProgress {
    public:
        explicit Progress(P<RequestObserver> observer) : m_observer(std::move(observer)) {}
        void onProgress(int64, int64, int64, int64) override {
            if (m_observer->isStopped) {
                throw CError("stopped");
            }
        }

    private:
        const P<RequestObserver> m_observer;
    };
    client.setRequestSetup(vexil::makeRequestSetup(
        [requests](CNetRequest& request) { request.setTransferProgress(zet::make<Progress>(requests)); }));
    service.setFault([requests](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Part) {
            requests->isStopped = true;
        }
        return std::nullopt;
    });
    EXPECT_ANY_THROW((void)uploadFile(content));
    expectNothingIsLeft();
    mayLeave = true;
}

TEST_F(S3UploadTest, PartsAreDeletedWhenAllTransfersHaveEnded) {
    const P<BlockingStream> stream = zet::make<BlockingStream>(content, 2 * partSize);
    std::thread releaser;
    observer->whenShown = [&] {
        if (stream->isBlocked) {
            releaser = std::thread([stream] {
                std::this_thread::sleep_for(200ms);
                stream->release();
            });
            throw std::runtime_error("enough");
        }
    };
    std::atomic<bool> wasBlocked{false};
    service.setFault([&](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Abort) {
            wasBlocked = stream->isBlocked.load();
        }
        return std::nullopt;
    });
    CS3TransferManager manager(client, settings);
    EXPECT_THROW((void)manager.upload(stream, static_cast<int64>(content.size()), "b", "k"),
                 std::runtime_error);
    releaser.join();
    EXPECT_FALSE(wasBlocked);
    expectNothingIsLeft();
    mayLeave = true;
}

// ---- streams ---------------------------------------------------------------------------------------------

TEST_F(S3UploadTest, StreamIsSentFromItsPosition) {
    CS3TransferManager manager(client, settings);
    const std::string bytes = "before" + content + "after";
    const P<zet::CMemoryInStream> stream =
        zet::make<zet::CMemoryInStream>(bytes.data(), static_cast<int>(bytes.size()));
    stream->seek(6);
    expectStored(manager.upload(stream, static_cast<int64>(content.size()), "b", "k"));
    stream->seek(6);
    EXPECT_EQ(manager.upload(stream, 5, "b", "k").partCount, 0);
    EXPECT_EQ(service.object("k"), content.substr(0, 5));
}

TEST_F(S3UploadTest, FailedPartOfAStreamIsSentAgain) {
    service.setFault(onFirstTry(Operation::Part, 2, lostResponse));
    CS3TransferManager manager(client, settings);
    zet::CMemoryInStream stream(content.data(), static_cast<int>(content.size()));
    expectStored(manager.upload(&stream, static_cast<int64>(content.size()), "b", "k"));
    EXPECT_EQ(service.sentBytes(), content.size() + partSize);
}

TEST_F(S3UploadTest, StreamThatEndsEarlyIsAnError) {
    CS3TransferManager manager(client, settings);
    zet::CMemoryInStream stream(content.data(), static_cast<int>(content.size()));
    EXPECT_THROW((void)manager.upload(&stream, static_cast<int64>(content.size()) + 1, "b", "k"), CError);
    expectNothingIsLeft();
    mayLeave = true;
}

TEST_F(S3UploadTest, LengthOfAStreamDecides) {
    CS3TransferManager manager(client, settings);
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, partSize}) {
        service.forgetCalls();
        const CS3UploadResult result = manager.uploadStream(new Pipe(content.substr(0, size)), "b", "k");
        EXPECT_EQ(result.partCount, 0);
        EXPECT_EQ(result.size, static_cast<int64>(size));
        EXPECT_TRUE(service.object("k") == content.substr(0, size));
        EXPECT_EQ(service.calls().size(), 1u);
    }
    EXPECT_EQ(manager.uploadStream(new Pipe(content.substr(0, partSize + 1)), "b", "k").partCount, 2);
    EXPECT_TRUE(service.object("k") == content.substr(0, partSize + 1));
    expectStored(manager.uploadStream(new Pipe(content), "b", "k"));
    EXPECT_EQ(observer->total, -1);
}

TEST_F(S3UploadTest, FailedPartOfAPipeIsSentAgain) {
    service.setFault(onFirstTry(Operation::Part, 1, lostResponse));
    CS3TransferManager manager(client, settings);
    expectStored(manager.uploadStream(new Pipe(content), "b", "k"));
    EXPECT_EQ(service.sentBytes(), content.size() + partSize);
}

TEST_F(S3UploadTest, PartsGrowSoThatTheyAreEnough) {
    constexpr int64 mebibyte = 1 << 20;
    EXPECT_EQ(vexil::choosePartSize(0, 0), 8 * mebibyte);
    EXPECT_EQ(vexil::choosePartSize(0, 80000 * mebibyte), 8 * mebibyte);
    EXPECT_EQ(vexil::choosePartSize(0, 80000 * mebibyte + 1), 9 * mebibyte);
    EXPECT_EQ(vexil::choosePartSize(6 * mebibyte, 60000 * mebibyte), 6 * mebibyte);
    EXPECT_EQ(vexil::choosePartSize(0, 5 * mebibyte * mebibyte), 525 * mebibyte);
    EXPECT_THROW((void)vexil::choosePartSize(0, 10001 * CS3Client::maxPutSize), CError);
    for (const int64 first : {5 * mebibyte, 8 * mebibyte, 100 * mebibyte, 1024 * mebibyte}) {
        int64 sum = 0;
        for (int number = 1; number <= 10000; ++number) {
            const int64 size = vexil::getGrowingPartSize(first, number);
            ASSERT_LE(size, 1024 * mebibyte);
            sum += size;
        }
        EXPECT_EQ(vexil::getGrowingPartSize(first, 700), first);
        EXPECT_GE(sum, 5 * mebibyte * mebibyte) << first;
    }
    EXPECT_EQ(vexil::getGrowingPartSize(5 * mebibyte, 701), 10 * mebibyte);
}

// ---- resumption ------------------------------------------------------------------------------------------

class S3ResumeTest : public S3UploadTest {
protected:
    /// Fails after all parts are stored.
    String fail() {
        const fs::path path = write(content);
        settings.keepsForResume = true;
        settings.parallelParts = 1;
        service.setFault(always(Operation::Complete, 0, refusal("403 Forbidden", "AccessDenied")));
        CS3TransferManager manager(client, settings);
        EXPECT_THROW((void)manager.uploadFile(path, "b", "k"), CS3Error);
        EXPECT_EQ(service.countOf(Operation::Abort), 0);
        EXPECT_EQ(service.uploadCount(), 1u);
        EXPECT_EQ(manager.getResumeToken(), observer->token);
        service.setFault(nullptr);
        service.forgetCalls();
        return manager.getResumeToken();
    }
    CS3UploadResult resume(const String& token) {
        CS3TransferManager manager(client, settings);
        return manager.resumeUpload(token, folder / "file");
    }
};

TEST_F(S3ResumeTest, OnlyMissingPartsAreSent) {
    const String token = fail();
    EXPECT_THAT(token.toUTF8(), testing::Not(HasSubstr(secretKey)));
    service.removePart(2);
    expectStored(resume(token));
    EXPECT_EQ(service.countOf(Operation::Create), 0);
    EXPECT_EQ(service.countOf(Operation::Part, 1), 0);
    EXPECT_EQ(service.countOf(Operation::Part, 2), 1);
    EXPECT_EQ(service.countOf(Operation::Part, 3), 0);
}

TEST_F(S3ResumeTest, PartsThatDifferAreSentAgain) {
    const String token = fail();
    service.changePart(1, std::string(partSize, 'x'));
    service.changePart(3, "short");
    expectStored(resume(token));
    EXPECT_EQ(service.sentBytes(), partSize + 100);
}

TEST_F(S3ResumeTest, ChangedFileIsRefusedBeforeAnythingIsSent) {
    const String token = fail();
    const fs::path path = folder / "file";
    const auto time = fs::last_write_time(path);
    fs::last_write_time(path, time + 5s);
    const auto kindOf = [&] {
        try {
            (void)resume(token);
        } catch (const CError& error) {
            return error.getKind();
        }
        return ErrorKind::Other;
    };
    EXPECT_EQ(kindOf(), ErrorKind::Conflict);
    std::ofstream(path, std::ios::binary | std::ios::app) << "more";
    fs::last_write_time(path, time);
    EXPECT_EQ(kindOf(), ErrorKind::Conflict);
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_EQ(service.uploadCount(), 1u);
}

TEST_F(S3ResumeTest, UploadThatIsCompleteAlreadyIsASuccess) {
    const String token = fail();
    service.forgetUploads();
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)resume(token); })->getS3Code(), "NoSuchUpload");
    settings.keepsForResume = false;
    (void)uploadFile(content);
    fs::last_write_time(folder / "file", fs::last_write_time(folder / "file"));
    service.forgetCalls();
    const CS3UploadResult result = resume(observer->token);
    EXPECT_EQ(result.size, static_cast<int64>(content.size()));
    EXPECT_EQ(result.partCount, 3);
    EXPECT_EQ(service.sentBytes(), 0u);
}

TEST_F(S3ResumeTest, DiscardedUploadLeavesNoParts) {
    const String token = fail();
    CS3TransferManager manager(client, settings);
    manager.discardUpload(token);
    EXPECT_EQ(service.uploadCount(), 0u);
    // The service does not know it any more.
    manager.discardUpload(token);
    EXPECT_EQ(service.countOf(Operation::Abort), 2);
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)resume(token); })->getS3Code(), "NoSuchUpload");
}

TEST_F(S3ResumeTest, TokenOfADiscardedUploadIsForgotten) {
    const fs::path path = write(content);
    settings.keepsForResume = true;
    service.setFault(always(Operation::Complete, 0, refusal("403 Forbidden", "AccessDenied")));
    CS3TransferManager manager(client, settings);
    EXPECT_THROW((void)manager.uploadFile(path, "b", "k"), CS3Error);
    service.setFault(always(Operation::Abort, 0, refusal("403 Forbidden", "AccessDenied")));
    EXPECT_EQ(thrownBy<CS3Error>([&] { manager.discardUpload(manager.getResumeToken()); })->getS3Code(),
              "AccessDenied");
    EXPECT_EQ(manager.getResumeToken(), observer->token);
    service.setFault(nullptr);
    manager.discardUpload(manager.getResumeToken());
    EXPECT_EQ(manager.getResumeToken(), "");
    EXPECT_EQ(argErrorOf([&] { manager.discardUpload(manager.getResumeToken()); }),
              "CS3TransferManager::discardUpload: the text is not a whole resume token of an upload");
}

TEST_F(S3ResumeTest, OtherTextsAreRefused) {
    const std::string token = fail().toUTF8();
    const std::string place = "CS3TransferManager::resumeUpload: ";
    for (const std::string& text : {std::string(), std::string("x"), token.substr(0, token.size() - 3),
                                    token.substr(9), token + "&a=b"}) {
        EXPECT_EQ(argErrorOf([&] { (void)resume(String(text)); }),
                  place + "the text is not a whole resume token of an upload");
    }
    std::string newer = token;
    newer.replace(newer.find("version=1"), 9, "version=2");
    EXPECT_EQ(argErrorOf([&] { (void)resume(String(newer)); }),
              place + "the resume token has the version '2', which is not supported");
    EXPECT_THAT(service.calls(), IsEmpty());
    (void)resume(String(token + "\n"));
}

// ---- arguments -------------------------------------------------------------------------------------------

TEST_F(S3UploadTest, WrongArgumentsAreRefused) {
    const auto errorOf = [&](const CS3TransferSettings& wrong) {
        return argErrorOf([&] {
            CS3TransferManager manager(client, wrong);
            (void)manager.uploadFile(write("small"), "b", "k");
        });
    };
    const std::string place = "CS3TransferManager::uploadFile: ";
    EXPECT_EQ(errorOf({.parallelParts = 0}), place + "parallelParts must be 1 to 1000");
    EXPECT_EQ(errorOf({.parallelParts = 1001}), place + "parallelParts must be 1 to 1000");
    const std::string sizes = place + "partSize must be 0 or 5242880 to 5368709120";
    EXPECT_EQ(errorOf({.partSize = 5242879}), sizes);
    EXPECT_EQ(errorOf({.partSize = 5368709121}), sizes);
    CS3TransferManager manager(client);
    EXPECT_EQ(argErrorOf([&] { (void)manager.uploadFile(write("a"), "", "k"); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { (void)manager.upload(nullptr, 5, "b", "k"); }),
              "CS3TransferManager::upload: data stream must not be null");
    EXPECT_EQ(argErrorOf([&] { (void)manager.upload(new Pipe(""), -1, "b", "k"); }),
              "CS3TransferManager::upload: size must not be negative");
    EXPECT_EQ(argErrorOf([&] { (void)manager.uploadStream(nullptr, "b", "k"); }),
              "CS3TransferManager::uploadStream: data stream must not be null");
    CS3TransferManager large(client, {.partSize = int64{1} << 31});
    EXPECT_THAT(argErrorOf([&] { (void)large.uploadStream(new Pipe(""), "b", "k"); }),
                StartsWith("CS3TransferManager::uploadStream: partSize must not exceed 1073741824 "));
    EXPECT_EQ(service.peer.connectionCount(), 0u);
}

// ---- checksums --------------------------------------------------------------------------------------------

class S3UploadChecksumTest : public S3ResumeTest {
protected:
    S3UploadChecksumTest() { service.knowChecksums(); }

    CS3UploadResult store(const std::string& bytes) {
        CS3TransferManager manager(client, settings);
        return manager.uploadFile(write(bytes), "b", "k", {.checksum = S3Checksum::CRC32C});
    }
    std::string composite() const {
        const std::string_view bytes = content;
        return base64(crc32c(crc32c(bytes.substr(0, partSize)) + crc32c(bytes.substr(partSize, partSize)) +
                             crc32c(bytes.substr(2 * partSize)))) +
               "-3";
    }
    static std::string completion(const std::string& checksum) {
        return reply("200 OK", "<CompleteMultipartUploadResult><ETag>\"e\"</ETag><ChecksumCRC32C>" +
                                   checksum + "</ChecksumCRC32C></CompleteMultipartUploadResult>");
    }
};

TEST_F(S3UploadChecksumTest, PartsAndObjectAreCompared) {
    const CS3UploadResult result = store(content);
    expectStored(result);
    EXPECT_EQ(result.checksum.toUTF8(), composite());
    EXPECT_THAT(service.calls().at(0).head, HasSubstr("x-amz-checksum-algorithm: CRC32C\r\n"));
}

TEST_F(S3UploadChecksumTest, SmallObjectsHaveTheirChecksum) {
    EXPECT_EQ(store("hello").checksum.toUTF8(), base64(crc32c("hello")));
}

TEST_F(S3UploadChecksumTest, OtherBytesOfAPartAreSentAgain) {
    service.setFault([](const Call& call) -> std::optional<std::string> {
        const bool isMeant = call.operation == Operation::Part && call.part == 2 && call.tries <= 2;
        return isMeant ? std::optional(
                             reply("200 OK", "", "ETag: \"kms\"\r\nx-amz-checksum-crc32c: AAAAAA==\r\n"))
                       : std::nullopt;
    });
    expectStored(store(content));
    EXPECT_EQ(service.countOf(Operation::Part, 2), 3);
}

TEST_F(S3UploadChecksumTest, APartThatStaysWrongEndsTheUpload) {
    service.setFault(always(Operation::Part, 2,
                            reply("200 OK", "", "ETag: \"kms\"\r\nx-amz-checksum-crc32c: AAAAAA==\r\n")));
    const auto error = thrownBy<CError>([&] { (void)store(content); });
    EXPECT_EQ(error->getKind(), ErrorKind::InvalidData);
    EXPECT_THAT(error->getMessage().toUTF8(), HasSubstr("stored is AAAAAA=="));
    EXPECT_EQ(service.countOf(Operation::Part, 2), 3);
    expectNothingIsLeft();
}

TEST_F(S3UploadChecksumTest, AnotherChecksumOfTheObjectIsAnError) {
    service.setLoss(always(Operation::Complete, 0, completion("AAAAAA==-3")));
    const auto error = thrownBy<CError>([&] { (void)store(content); });
    EXPECT_EQ(error->getKind(), ErrorKind::InvalidData);
    EXPECT_EQ(error->getMessage().toUTF8(),
              "The object has the CRC32C AAAAAA==-3, but its parts should make " + composite() + ".");
}

TEST_F(S3UploadChecksumTest, ResumedUploadComparesTheChecksumsOfStoredParts) {
    settings.keepsForResume = true;
    settings.parallelParts = 1;
    service.setFault(always(Operation::Part, 3, refusal("403 Forbidden", "AccessDenied")));
    EXPECT_THROW((void)store(content), CS3Error);
    const String token = observer->token;
    EXPECT_THAT(token.toUTF8(), HasSubstr("checksum=CRC32C"));
    service.setFault(nullptr);
    service.forgetCalls();
    service.changePart(1, std::string(partSize, 'x'));
    const CS3UploadResult result = resume(token);
    expectStored(result);
    EXPECT_EQ(result.checksum.toUTF8(), composite());
    EXPECT_EQ(service.countOf(Operation::Part, 1), 1) << "it was another one";
    EXPECT_EQ(service.countOf(Operation::Part, 2), 0) << "its checksum is right, although its ETag is no MD5";
}

TEST_F(S3UploadChecksumTest, ServicesWithoutChecksumsGetNoneAtTheCompletion) {
    FakeS3 plain;
    client.setBaseURL(String(plain.peer.url("")));
    const CS3UploadResult result = store(content);
    EXPECT_EQ(result.checksum, "");
    EXPECT_TRUE(plain.object("k") == content);
    EXPECT_THAT(plain.peer.requests().at(4).body, testing::Not(HasSubstr("Checksum")));
}

}  // namespace
