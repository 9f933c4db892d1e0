// Downloads of any size by CS3TransferManager.
#include "tests/s3/FakeObject.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/BufferStream.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <optional>
#include <random>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CCancelToken;
using vexil::CRetryPolicy;
using vexil::CS3DownloadResult;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::ErrorKind;
using vexil::S3ContentCheck;

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

    int64 done = -1;
    int64 mostDone = -1;
    int64 total = -2;
    std::function<void()> whenShown;
};

/// Cannot seek. Counts how many parts were requested when it gets its first bytes.
class OrderedSink : public virtual vexil::CBase, public zet::IOutStream {
public:
    void write(const void* data, int length) override {
        if (whenWritten) {
            whenWritten();
        }
        bytes.append(static_cast<const char*>(data), static_cast<std::size_t>(length));
    }
    int64 getSize() override { return -1; }
    void seek(int64) override { throw CError("cannot seek"); }
    int64 getPosition() override { throw CError("has no position"); }

    std::string bytes;
    std::function<void()> whenWritten;
};

std::string load(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class S3DownloadTest : public testing::Test {
protected:
    S3DownloadTest() : content(ScriptedPeer::pattern(0, 4 * partSize + 100)) {
        client.setBaseURL(String(object.peer.url("")));
        fs::create_directories(folder);
        object.set(content);
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
    ~S3DownloadTest() override { fs::remove_all(folder); }

    CS3DownloadResult download(const vexil::CS3GetOptions& options = {}) {
        CS3TransferManager manager(client, settings);
        return manager.downloadFile("b", "k", path, options);
    }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder)) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }
    fs::path partPath() const {
        for (const std::string& name : names()) {
            if (name.starts_with(".file.vexil-part-")) {
                return folder / name;
            }
        }
        return {};
    }
    /// Everything that must be true of a success.
    void expectFile(const CS3DownloadResult& result, const std::string& expected) const {
        EXPECT_EQ(result.size, static_cast<int64>(expected.size()));
        EXPECT_TRUE(load(path) == expected);
        EXPECT_THAT(names(), ElementsAre("file"));
        EXPECT_EQ(observer->done, result.size);
        EXPECT_EQ(observer->total, result.size);
    }
    /// A failure of this kind that leaves no file under the final name.
    template <class Error = CError>
    std::string failure(ErrorKind kind, bool keepsPart) {
        const auto error = thrownBy<Error>([&] { (void)download(); });
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(!partPath().empty(), keepsPart);
        EXPECT_EQ(error ? error->getKind() : ErrorKind::Other, kind);
        return error ? error->getMessage().toUTF8() : "(none)";
    }
    /// A download that ends after parts 0 and 1.
    void leaveTwoParts() {
        settings.parallelParts = 1;
        object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
            return call.index() == 2 ? std::optional(reply("403 Forbidden", errorDocument("AccessDenied")))
                                     : std::nullopt;
        });
        EXPECT_THROW((void)download(), CS3Error);
        object.setFault(nullptr);
        object.forgetCalls();
        ASSERT_FALSE(partPath().empty());
        ASSERT_FALSE(fs::exists(path));
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-download-test-" + std::to_string(std::random_device()()));
    const fs::path path = folder / "file";
    FakeObject object;
    CS3Client client{{.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false};
    const std::string content;
    CS3TransferSettings settings;
    P<Observer> observer;
    std::vector<CRetryPolicy::Milliseconds> pauses;
};

// ---- files -----------------------------------------------------------------------------------------------

TEST_F(S3DownloadTest, ObjectOfOnePartIsOneGet) {
    for (const std::size_t size : {std::size_t{1}, partSize - 1, partSize}) {
        object.set(content.substr(0, size));
        object.forgetCalls();
        const CS3DownloadResult result = download();
        expectFile(result, content.substr(0, size));
        EXPECT_EQ(result.check, S3ContentCheck::MD5);
        EXPECT_THAT(object.starts(), ElementsAre(0));
    }
}

TEST_F(S3DownloadTest, EmptyObjectIsAnEmptyFile) {
    object.set("");
    const CS3DownloadResult result = download();
    expectFile(result, "");
    EXPECT_EQ(result.eTag, "\"d41d8cd98f00b204e9800998ecf8427e\"");
    EXPECT_THAT(object.starts(), ElementsAre(-1, 0));
}

TEST_F(S3DownloadTest, LargerObjectIsReadInParts) {
    for (const std::size_t size : {partSize + 1, 4 * partSize, 4 * partSize + 100}) {
        object.set(content.substr(0, size));
        object.forgetCalls();
        const CS3DownloadResult result = download();
        expectFile(result, content.substr(0, size));
        EXPECT_EQ(result.check, S3ContentCheck::MD5);
        EXPECT_EQ(result.resumedBytes, 0);
        EXPECT_EQ(object.calls().size(), (size + partSize - 1) / partSize);
        EXPECT_EQ(observer->mostDone, result.size);
        for (const ObjectCall& call : object.calls()) {
            EXPECT_EQ(call.ifMatch, call.first == 0 ? "" : result.eTag.toUTF8());
        }
    }
}

TEST_F(S3DownloadTest, PartsShareARateLimit) {
    settings.rateLimit = zet::make<vexil::CRateLimit>();
    settings.rateLimit->setDownloadRate(static_cast<int64>(content.size()) * 2);
    const auto start = std::chrono::steady_clock::now();
    expectFile(download(), content);
    // Less a tenth of a second and a turn.
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(350));
}

TEST_F(S3DownloadTest, BothVersionsAndTheirOptionsWork) {
    client.setSignatureVersion(4);
    expectFile(download({.versionId = "v1"}), content);
    for (const RecordedRequest& request : object.peer.requests()) {
        EXPECT_THAT(request.header("authorization").value_or(""), StartsWith("AWS4-HMAC-SHA256 "));
        EXPECT_THAT(request.requestLine(), HasSubstr("versionId=v1"));
    }
}

TEST_F(S3DownloadTest, ReplacesAFile) {
    std::ofstream(path) << "old";
    expectFile(download(), content);
}

TEST_F(S3DownloadTest, ConditionThatIsNotMetIsTheErrorOfTheService) {
    const auto error = thrownBy<CS3Error>([&] { (void)download({.ifMatch = "\"other\""}); });
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*error));
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(object.calls().size(), 1u);
}

TEST_F(S3DownloadTest, WrongArgumentsAreRefusedBeforeAnythingIsSent) {
    const std::string place = "CS3TransferManager::downloadFile: ";
    const auto errorOf = [&](const CS3TransferSettings& wrong) {
        CS3TransferManager manager(client, wrong);
        return argErrorOf([&] { (void)manager.downloadFile("b", "k", path); });
    };
    EXPECT_EQ(errorOf({.parallelParts = 0}), place + "parallelParts must be 1 to 1000");
    EXPECT_EQ(errorOf({.partSize = -1}), place + "partSize must be 0 to 5368709120");
    CS3TransferManager manager(client, settings);
    EXPECT_EQ(argErrorOf([&] { (void)manager.downloadFile("b", "", path); }),
              place + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { (void)manager.downloadFile("b", "k", folder / ""); }),
              place + "path must have the name of a file");
    EXPECT_EQ(argErrorOf([&] { (void)manager.downloadFile("b", "k", path, {.partNumber = 1}); }),
              place + "partNumber must be 0, because the whole object is read");
    EXPECT_EQ(argErrorOf([&] { (void)manager.download("b", "k", nullptr); }),
              "CS3TransferManager::download: data stream must not be null");
    EXPECT_THROW((void)manager.downloadFile("b", "k", folder), CError);
    EXPECT_THROW((void)manager.downloadFile("b", "k", folder / "none" / "file"), CError);
    EXPECT_THAT(object.calls(), IsEmpty());
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(S3DownloadTest, SecondDownloadToTheSameFileIsRefused) {
    std::optional<CError> error;
    observer->whenShown = [&] {
        if (!error) {
            CS3TransferManager second(client, {.partSize = partSize});
            error = thrownBy<CError>([&] { (void)second.downloadFile("b", "k", path); });
        }
    };
    expectFile(download(), content);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getKind(), ErrorKind::Conflict);
    EXPECT_THAT(error->getMessage().toUTF8(), StartsWith("Another process is downloading to the file '"));
    EXPECT_EQ(object.calls().size(), 5u);
}

// ---- faults ----------------------------------------------------------------------------------------------

TEST_F(S3DownloadTest, RefusedPartIsRequestedAgainAfterThePauseOfTheServer) {
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.tries == 1
                   ? std::optional(reply("503 Slow Down", errorDocument("SlowDown"), "Retry-After: 7\r\n"))
                   : std::nullopt;
    });
    expectFile(download(), content);
    EXPECT_EQ(object.calls().size(), 10u);
    EXPECT_EQ(pauses.size(), 5u);
}

TEST_F(S3DownloadTest, PartThatIsCutContinuesFromWhereItHasEnded) {
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        std::string response = object.makePart(call.first, std::min<int64>(call.last, 40'099));
        response.insert(response.find("\r\n") + 2, "Connection: close\r\n");
        response.resize(response.find("\r\n\r\n") + 4 + 60);
        return call.tries == 1 ? std::optional(response) : std::nullopt;
    });
    expectFile(download(), content);
    EXPECT_THAT(object.starts(),
                ElementsAre(0, 60, 10'000, 10'060, 20'000, 20'060, 30'000, 30'060, 40'000, 40'060));
    EXPECT_EQ(object.calls()[1].ifMatch, quoted(hexOf(rawMD5Of(content))));
    EXPECT_EQ(observer->mostDone, static_cast<int64>(content.size()));
}

TEST_F(S3DownloadTest, ConnectionsThatAreResetOrStallAreReplaced) {
    client.setRequestSetup(vexil::makeRequestSetup(
        [](CNetRequest& request) { request.setLowSpeedLimit(1, zet::CTimeSpan::fromSeconds(1)); }));
    const std::string whole = object.makePart(0, partSize - 1);
    const std::size_t head = whole.find("\r\n\r\n") + 4;
    object.peer.onConnection().expectRequest().replyCut(whole, head + 100).reset();
    object.peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    expectFile(download(), content);
    // An RST may overtake the bytes.
    EXPECT_GE(object.peer.connectionCount(), 3u);
}

TEST_F(S3DownloadTest, WrongRangesAreRequestedAgainAndNeverWritten) {
    int wrong = 0;
    object.setFault([this, &wrong](const ObjectCall& call) -> std::optional<std::string> {
        if (call.first == 0 || call.tries > 2) {
            return std::nullopt;
        }
        if (wrong++ % 2 == 0) {
            return reply("200 OK", content, "ETag: " + quoted(hexOf(rawMD5Of(content))) + "\r\n");
        }
        std::string response = object.makePart(call.first, std::min<int64>(call.last, 40'099));
        response.replace(response.find("bytes ") + 6, 1, "9");
        return response;
    });
    expectFile(download(), content);
    EXPECT_EQ(object.calls().size(), 13u);
}

TEST_F(S3DownloadTest, RangeThatStaysWrongIsAnError) {
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        return call.index() == 2 ? std::optional(object.makePart(0, partSize - 1)) : std::nullopt;
    });
    EXPECT_EQ(
        failure(ErrorKind::InvalidData, true),
        "The server responded to the request for bytes 20000 to 29999 of the object with status 206 and "
        "'bytes 0-9999/40100'.");
    EXPECT_EQ(pauses.size(), 2u);
}

TEST_F(S3DownloadTest, ServiceWithoutRangesIsAnError) {
    object.setFault(
        [this](const ObjectCall&) { return std::optional(reply("200 OK", content, "ETag: \"e\"\r\n")); });
    EXPECT_THAT(failure(ErrorKind::Other, false), HasSubstr("it cannot be read in parts"));
    // A small object is all in the first part.
    object.set("small");
    object.setFault(
        [](const ObjectCall&) { return std::optional(reply("200 OK", "small", "ETag: \"e\"\r\n")); });
    expectFile(download(), "small");
}

TEST_F(S3DownloadTest, ObjectThatIsReplacedMeanwhileIsAnError) {
    settings.parallelParts = 1;
    const std::string other(content.size(), 'x');
    object.setFault([&](const ObjectCall& call) -> std::optional<std::string> {
        return call.index() == 2
                   ? std::optional(reply("412 Precondition Failed", errorDocument("PreconditionFailed")))
                   : std::nullopt;
    });
    EXPECT_EQ(failure(ErrorKind::Conflict, false),
              "The object 'k' was replaced by another one while it was read.");
    EXPECT_EQ(object.calls().size(), 3u);
    // A service that ignores the condition.
    object.setFault([&](const ObjectCall& call) -> std::optional<std::string> {
        std::string response = object.makePart(call.first, std::min<int64>(call.last, 40'099));
        response.replace(response.find("ETag: \"") + 7, 1, "z");
        return call.index() == 2 ? std::optional(response) : std::nullopt;
    });
    EXPECT_EQ(failure(ErrorKind::Conflict, false),
              "The object 'k' was replaced by another one while it was read.");
}

TEST_F(S3DownloadTest, ObjectThatIsDeletedMeanwhileIsAnError) {
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.index() == 2 ? std::optional(reply("404 Not Found", errorDocument("NoSuchKey")))
                                 : std::nullopt;
    });
    const auto error = thrownBy<CS3Error>([&] { (void)download(); });
    EXPECT_TRUE(CS3Client::isNotFoundError(*error));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(S3DownloadTest, FlippedBitIsNoticed) {
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        std::string response = object.makePart(call.first, std::min<int64>(call.last, 40'099));
        response.back() = static_cast<char>(response.back() ^ 1);
        return call.index() == 3 ? std::optional(response) : std::nullopt;
    });
    EXPECT_THAT(failure(ErrorKind::InvalidData, false), StartsWith("The content of 'k' has the MD5 "));
    OrderedSink sink;
    CS3TransferManager manager(client, settings);
    EXPECT_THAT(transientErrorOf([&] { (void)manager.download("b", "k", &sink); }),
                StartsWith("The content of 'k' has the MD5 "));
    settings.verifiesETags = false;
    EXPECT_EQ(download().check, S3ContentCheck::None);
}

TEST_F(S3DownloadTest, FlippedBitOfAnObjectInPartsIsNoticed) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    expectFile(download(), content);
    EXPECT_THAT(object.starts(), ElementsAre(-1, -1, 0, 10'000, 20'000, 30'000, 40'000));
    EXPECT_EQ(download().check, S3ContentCheck::PartMD5s);
    fs::remove(path);
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        std::string response =
            object.makePart(std::max<int64>(call.first, 0), std::min<int64>(call.last, 40'099));
        response.back() = static_cast<char>(response.back() ^ 1);
        return call.index() == 3 ? std::optional(response) : std::nullopt;
    });
    EXPECT_THAT(failure(ErrorKind::InvalidData, false), StartsWith("The content of 'k' has the ETag "));
}

TEST_F(S3DownloadTest, OtherETagsAreNotCompared) {
    object.setUploadedParts({15'000, 10'000, 15'100});
    CS3DownloadResult result = download();
    expectFile(result, content);
    EXPECT_EQ(result.check, S3ContentCheck::None);
    object.set(content, quoted(hexOf(rawMD5Of("other")) + "-7"));  // the service does not know part numbers
    result = download();
    expectFile(result, content);
    EXPECT_EQ(result.check, S3ContentCheck::None);
    object.set(content, quoted(hexOf(rawMD5Of("other"))));
    object.setHeaders("x-amz-server-side-encryption: aws:kms\r\n");
    result = download();
    expectFile(result, content);
    EXPECT_EQ(result.check, S3ContentCheck::None);
}

TEST_F(S3DownloadTest, PartsNeedAStrongETag) {
    object.set(content, "W/\"e\"");
    EXPECT_EQ(failure(ErrorKind::Other, false),
              "The object has no strong ETag, so it cannot be read in parts.");
    object.set("small", "W/\"e\"");
    expectFile(download(), "small");
}

// ---- while the first part is read ------------------------------------------------------------------------

/// The first connection sends the head of the first part and some bytes of it, and then waits.
class S3DownloadBeginTest : public S3DownloadTest {
protected:
    static constexpr std::size_t sentFirst = 100;

    S3DownloadBeginTest() { set(content.substr(0, partSize + 100)); }

    void set(const std::string& body) {
        object.set(body);
        first = object.makePart(0, static_cast<int64>(std::min(partSize, body.size())) - 1);
        cut = first.find("\r\n\r\n") + 4 + sentFirst;
    }
    auto beginFirstPart() { return object.peer.onConnection().expectRequest().reply(first.substr(0, cut)); }
    void holdFirstPart() { beginFirstPart().pause("first").reply(first.substr(cut)).thenDefault(); }
    /// Returns when the download has ended.
    template <class Check>
    CS3DownloadResult downloadWhile(const Check& check) {
        const std::future<void> watcher = watch(check);
        return download();
    }
    /// Lets the first part go on after the check. The destructor of the result waits for that.
    template <class Check>
    std::future<void> watch(const Check& check) {
        return std::async(std::launch::async, [this, &check] {
            EXPECT_TRUE(object.peer.waitUntilPaused());
            check();
            object.peer.release("first");
        });
    }
    void expectPlayed() const {
        EXPECT_TRUE(object.peer.waitUntilIdle());
        EXPECT_THAT(object.peer.failures(), IsEmpty());
        EXPECT_EQ(object.peer.unplayedScripts(), 0u);
    }
    bool hasRequests(std::size_t count) const { return object.peer.waitForRequests(count); }
    bool hasMoreRequestsThan(std::size_t count) const {
        return object.peer.waitForRequests(count + 1, 300ms);
    }

    std::string first;
    std::size_t cut = 0;
};

TEST_F(S3DownloadBeginTest, OtherPartsBeginAfterTheHeadOfTheFirstOne) {
    holdFirstPart();
    expectFile(downloadWhile([&] {
                   EXPECT_TRUE(hasRequests(2));
                   const RecordedRequest second = object.peer.requests().at(1);
                   EXPECT_EQ(second.header("range"), "bytes=10000-10099");
                   EXPECT_EQ(second.header("if-match"), quoted(hexOf(rawMD5Of(object.body()))));
               }),
               object.body());
    EXPECT_EQ(object.peer.requests().size(), 2u);
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, StreamGetsTheBytesInOrder) {
    holdFirstPart();
    OrderedSink sink;
    const auto check = [this] { EXPECT_TRUE(hasRequests(2)); };
    const std::future<void> watcher = watch(check);
    CS3TransferManager manager(client, settings);
    EXPECT_EQ(manager.download("b", "k", &sink).check, S3ContentCheck::MD5);
    EXPECT_TRUE(sink.bytes == object.body());
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, LimitOfPartsCountsTheFirstOne) {
    set(content);
    for (const int limit : {1, 2, 3}) {
        SCOPED_TRACE(limit);
        fs::remove(path);
        object.peer.clearRecords();
        settings.parallelParts = limit;
        holdFirstPart();
        for (int i = 1; i < limit; ++i) {
            object.peer.onConnection()
                .expectRequest()
                .pause("others")
                .replyWith([this](const std::string& raw) {
                    const int64 begin = std::stoll(raw.substr(raw.find("bytes=") + 6));
                    return object.makePart(begin, begin + static_cast<int64>(partSize) - 1);
                })
                .thenDefault();
        }
        const auto count = static_cast<std::size_t>(limit);
        expectFile(downloadWhile([&] {
                       EXPECT_TRUE(hasRequests(count));
                       EXPECT_FALSE(hasMoreRequestsThan(count));
                       object.peer.release("others", count - 1);
                   }),
                   content);
        EXPECT_EQ(object.peer.requests().size(), 5u);
        expectPlayed();
    }
}

TEST_F(S3DownloadBeginTest, NothingElseIsRequestedOfAnObjectOfOnePart) {
    set(content.substr(0, partSize));
    holdFirstPart();
    expectFile(downloadWhile([&] { EXPECT_FALSE(hasMoreRequestsThan(1)); }), object.body());
    EXPECT_EQ(object.peer.requests().size(), 1u);
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, ObjectOfOnePartIsNotComparedWithTheHeadOfAnEarlierTry) {
    settings.verifiesChecksums = true;
    const auto setObject = [&](const std::string& body, const std::string& eTag) {
        object.set(body, eTag);
        object.setChecksums("x-amz-checksum-crc32c: " + base64(crc32c(body)) + "\r\n");
    };
    setObject(content.substr(0, 500), "W/\"e\"");
    ObjectCall call;
    call.method = "GET";
    call.first = 0;
    call.last = static_cast<int64>(partSize) - 1;
    call.asksForChecksum = true;
    first = object.makeResponse(call);
    cut = first.size() - 1;
    beginFirstPart().close();
    setObject(ScriptedPeer::pattern(5, 500), "W/\"f\"");
    expectFile(download(), object.body());
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, PartsOfTheUploadAreAskedForMeanwhile) {
    object.setUploadedParts({6'000, 4'100});
    first = object.makePart(0, static_cast<int64>(partSize) - 1);
    cut = first.find("\r\n\r\n") + 4 + sentFirst;
    holdFirstPart();
    const CS3DownloadResult result = downloadWhile([&] { EXPECT_TRUE(hasRequests(4)); });
    expectFile(result, object.body());
    EXPECT_EQ(result.check, S3ContentCheck::PartMD5s);
    EXPECT_THAT(object.starts(), ElementsAre(-1, -1, 10'000));
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, FirstPartThatIsCutContinuesWithTheSameObject) {
    beginFirstPart().pause("first").close();
    expectFile(downloadWhile([&] { EXPECT_TRUE(hasRequests(2)); }), object.body());
    EXPECT_THAT(object.starts(), ElementsAre(static_cast<int64>(sentFirst), 10'000));
    for (const ObjectCall& call : object.calls()) {
        EXPECT_EQ(call.ifMatch, quoted(hexOf(rawMD5Of(object.body()))));
    }
    EXPECT_EQ(pauses.size(), 1u);
    EXPECT_EQ(observer->mostDone, static_cast<int64>(object.body().size()));
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, FailureOfTheFirstPartEndsTheOthers) {
    beginFirstPart().pause("first").close();
    const std::string second = object.makePart(10'000, 10'099);
    object.peer.onConnection().expectRequest().replyCut(second, second.size() - 1).waitForClose();
    object.setFault([](const ObjectCall&) -> std::optional<std::string> {
        return reply("403 Forbidden", errorDocument("AccessDenied"));
    });
    const auto check = [this] { EXPECT_TRUE(hasRequests(2)); };
    const std::future<void> watcher = watch(check);
    const auto error = thrownBy<CS3Error>([&] { (void)download(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "AccessDenied");
    EXPECT_THAT(object.starts(), ElementsAre(static_cast<int64>(sentFirst)));
    EXPECT_THAT(names(), IsEmpty());
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, PartsThatWereFetchedBeforeTheFirstOneFailedAreKept) {
    set(content);
    beginFirstPart().pause("first").close();
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.index() == 0 ? std::optional(reply("403 Forbidden", errorDocument("AccessDenied")))
                                 : std::nullopt;
    });
    observer->whenShown = [this] {
        if (observer->done == static_cast<int64>(content.size() - partSize + sentFirst)) {
            object.peer.release("first");
        }
    };
    EXPECT_THROW((void)download(), CS3Error);
    EXPECT_FALSE(partPath().empty());
    observer->whenShown = nullptr;
    object.setFault(nullptr);
    object.forgetCalls();
    const CS3DownloadResult result = download();
    expectFile(result, content);
    EXPECT_EQ(result.resumedBytes, static_cast<int64>(content.size() - partSize));
    EXPECT_THAT(object.starts(), ElementsAre(-1, 0));
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, ObjectThatChangesAfterTheHeadIsAnError) {
    const std::string changed = "The object 'k' was replaced by another one while it was read.";
    beginFirstPart().waitForClose();
    object.set(ScriptedPeer::pattern(5, partSize + 100));
    EXPECT_EQ(failure(ErrorKind::Conflict, false), changed);
    EXPECT_EQ(object.calls().size(), 1u);
    // A service that ignores the condition.
    beginFirstPart().waitForClose();
    object.setFault([this](const ObjectCall& call) { return std::optional(object.makeResponse(call)); });
    EXPECT_EQ(failure(ErrorKind::Conflict, false), changed);
    EXPECT_EQ(object.calls().size(), 2u);
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, FirstPartThatChangesAfterItsHeadIsAnError) {
    beginFirstPart().pause("first").close();
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        if (call.index() == 1) {
            const std::string response = object.makeResponse(call);
            object.replaceNow(ScriptedPeer::pattern(5, partSize + 100));
            return response;
        }
        return std::nullopt;
    });
    const auto check = [this] { EXPECT_TRUE(hasRequests(2)); };
    const std::future<void> watcher = watch(check);
    EXPECT_EQ(failure(ErrorKind::Conflict, false),
              "The object 'k' was replaced by another one while it was read.");
    expectPlayed();
}

TEST_F(S3DownloadBeginTest, PartsWithoutAStrongETagFailAtTheHead) {
    object.set(content, "W/\"e\"");
    first = object.makePart(0, static_cast<int64>(partSize) - 1);
    cut = first.find("\r\n\r\n") + 4 + sentFirst;
    beginFirstPart().waitForClose();
    EXPECT_EQ(failure(ErrorKind::Other, false),
              "The object has no strong ETag, so it cannot be read in parts.");
    EXPECT_THAT(object.calls(), IsEmpty());
    expectPlayed();
}

// ---- resumption ------------------------------------------------------------------------------------------

TEST_F(S3DownloadTest, OnlyMissingPartsAreReadLater) {
    leaveTwoParts();
    const CS3DownloadResult result = download();
    expectFile(result, content);
    EXPECT_EQ(result.resumedBytes, static_cast<int64>(2 * partSize));
    EXPECT_EQ(result.check, S3ContentCheck::MD5);
    EXPECT_THAT(object.starts(), ElementsAre(-1, 20'000, 30'000, 40'000));
    EXPECT_EQ(observer->mostDone, result.size);
}

TEST_F(S3DownloadTest, OtherPartSizeOfALaterCallDoesNotMatter) {
    leaveTwoParts();
    settings.partSize = 7'000;
    expectFile(download(), content);
    EXPECT_THAT(object.starts(), ElementsAre(-1, 20'000, 30'000, 40'000));
}

TEST_F(S3DownloadTest, PartsOfAnOlderObjectAreNotUsed) {
    leaveTwoParts();
    const std::string other = ScriptedPeer::pattern(77, 3 * partSize);
    object.set(other);
    const CS3DownloadResult result = download();
    expectFile(result, other);
    EXPECT_EQ(result.resumedBytes, 0);
}

TEST_F(S3DownloadTest, DamagedStateBeginsAgain) {
    for (const int change : {0, 1, 2, 3, 4}) {
        leaveTwoParts();
        const fs::path part = partPath();
        const auto size = fs::file_size(part);
        if (change < 3) {
            std::fstream file(part, std::ios::binary | std::ios::in | std::ios::out);
            // The version, the ETag, the seal.
            const std::size_t at = load(part).rfind("vexil-part 1") + std::array{11u, 40u, 70u}[change];
            file.seekp(static_cast<std::streamoff>(at));
            file.put('?');
        } else {
            fs::resize_file(part, change == 3 ? size - 1 : 100);
        }
        const CS3DownloadResult result = download();
        expectFile(result, content);
        EXPECT_EQ(result.resumedBytes, 0) << change;
        fs::remove(path);
    }
}

TEST_F(S3DownloadTest, DamagedContentIsNoticed) {
    leaveTwoParts();
    {
        std::fstream file(partPath(), std::ios::binary | std::ios::in | std::ios::out);
        file.put('?');
    }
    EXPECT_THAT(failure(ErrorKind::InvalidData, false), StartsWith("The content of 'k' has the MD5 "));
    expectFile(download(), content);
}

TEST_F(S3DownloadTest, ObjectThatIsGoneDeletesItsParts) {
    leaveTwoParts();
    object.remove();
    EXPECT_THROW((void)download(), CError);
    EXPECT_THAT(names(), IsEmpty());
}

// ---- cancellation ----------------------------------------------------------------------------------------

TEST_F(S3DownloadTest, CancelledDownloadCanBeResumed) {
    settings.parallelParts = 1;
    settings.cancelToken = new CCancelToken;
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        if (call.index() == 2) {
            settings.cancelToken->cancel();
        }
        return std::nullopt;
    });
    const auto error = thrownBy<CCURLError>([&] { (void)download(); });
    EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_FALSE(fs::exists(path));
    settings.cancelToken = nullptr;
    object.setFault(nullptr);
    EXPECT_GE(download().resumedBytes, static_cast<int64>(2 * partSize));
}

TEST_F(S3DownloadTest, DeadlineEndsTheDownload) {
    settings.deadline = CRetryPolicy::Clock::now() - 1s;
    const auto error = thrownBy<CCURLError>([&] { (void)download(); });
    EXPECT_EQ(error->getCode(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_THAT(object.calls(), IsEmpty());
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(S3DownloadTest, ErrorOfTheObserverEndsTheDownload) {
    observer->whenShown = [] { throw CError("The observer stops."); };
    EXPECT_EQ(plainErrorOf([&] { (void)download(); }), "The observer stops.");
    EXPECT_FALSE(fs::exists(path));
}

// ---- streams ---------------------------------------------------------------------------------------------

TEST_F(S3DownloadTest, StreamGetsTheBytesInOrder) {
    OrderedSink sink;
    CS3TransferManager manager(client, settings);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, partSize, 4 * partSize + 100}) {
        object.set(content.substr(0, size));
        sink.bytes.clear();
        EXPECT_EQ(manager.download("b", "k", &sink).size, static_cast<int64>(size));
        EXPECT_TRUE(sink.bytes == content.substr(0, size));
    }
}

TEST_F(S3DownloadTest, SlowPartDoesNotFillTheMemory) {
    const std::string large = ScriptedPeer::pattern(0, 20 * partSize);
    object.set(large);
    settings.parallelParts = 3;
    // The first connection gets part 0, and late another one, which is 1, 2 or 3.
    std::atomic<std::size_t> late = 0;
    const auto makeReply = [&](const std::string& raw) {
        const auto first = static_cast<std::size_t>(std::stoul(raw.substr(raw.find("bytes=") + 6)));
        late = first / partSize;
        return object.makePart(static_cast<int64>(first), static_cast<int64>(first + partSize - 1));
    };
    object.peer.onConnection()
        .expectRequest()
        .replyWith(makeReply)
        .expectRequest()
        .pause()
        .replyWith(makeReply)
        .thenDefault();
    OrderedSink sink;
    std::thread watcher([&] {
        EXPECT_TRUE(object.peer.waitUntilPaused());
        std::size_t part = 0;
        for (const RecordedRequest& request : object.peer.requests()) {
            if (request.connection == 0) {
                part = std::stoul(request.header("range").value_or("bytes=0").substr(6)) / partSize;
            }
        }
        // The late part and two further ones are all that may be in memory.
        EXPECT_TRUE(object.peer.waitForRequests(part + 3));
        EXPECT_FALSE(object.peer.waitForRequests(part + 4, 300ms));
        object.peer.release();
    });
    CS3TransferManager manager(client, settings);
    (void)manager.download("b", "k", &sink);
    watcher.join();
    EXPECT_GT(late, 0u);
    EXPECT_TRUE(sink.bytes == large);
}

TEST_F(S3DownloadTest, ErrorOfTheStreamPassesThrough) {
    OrderedSink sink;
    sink.whenWritten = [&] {
        if (!sink.bytes.empty()) {
            throw std::runtime_error("The stream is full.");
        }
    };
    CS3TransferManager manager(client, settings);
    EXPECT_THROW((void)manager.download("b", "k", &sink), std::runtime_error);
    EXPECT_TRUE(sink.bytes == content.substr(0, partSize));
}

}  // namespace
