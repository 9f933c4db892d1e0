// The content of downloads, compared with what the service tells about it.
#include "tests/s3/FakeObject.h"
#include "tests/s3/S3WireTest.h"
#include "vexil/s3/S3GetOptions.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/BufferStream.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vexil::CS3DownloadResult;
using vexil::CS3GetOptions;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::ErrorKind;
using vexil::S3ContentCheck;

// ---- values computed in another way ----------------------------------------------------------------------

std::string rawSHA256Of(std::string_view bytes) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), hash, &length, EVP_sha256(), nullptr);
    return {reinterpret_cast<const char*>(hash), length};
}

/// \param polynomial  with its bits reversed
template <class Sum>
std::string rawCRCOf(std::string_view bytes, Sum polynomial) {
    Sum sum = static_cast<Sum>(-1);
    for (const char c : bytes) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
        }
    }
    sum = static_cast<Sum>(~sum);
    std::string raw;
    for (int shift = 8 * (static_cast<int>(sizeof sum) - 1); shift >= 0; shift -= 8) {
        raw += static_cast<char>(sum >> shift);
    }
    return raw;
}

std::string rawCRC32Of(std::string_view bytes) {
    return rawCRCOf<std::uint32_t>(bytes, 0xEDB88320);
}

std::string rawCRC32COf(std::string_view bytes) {
    return rawCRCOf<std::uint32_t>(bytes, 0x82F63B78);
}

std::string rawCRC64NVMEOf(std::string_view bytes) {
    return rawCRCOf<std::uint64_t>(bytes, 0x9A6C9329AC4BC9B5);
}

using Hash = std::string (*)(std::string_view);

/// As a service makes it from the hashes of the parts.
std::string compositeOf(Hash hash, const std::string& bytes, const std::vector<std::size_t>& sizes) {
    std::string hashes;
    std::size_t offset = 0;
    for (const std::size_t size : sizes) {
        hashes += hash(bytes.substr(offset, size));
        offset += size;
    }
    return base64(hash(hashes)) + "-" + std::to_string(sizes.size());
}

struct Algorithm {
    std::string header;
    std::string name;
    Hash hash;
    S3ContentCheck check;
    S3ContentCheck checkOfParts;
};

const std::vector<Algorithm> algorithms = {
    {"x-amz-checksum-crc32c: ", "CRC32C", rawCRC32COf, S3ContentCheck::CRC32C, S3ContentCheck::PartCRC32Cs},
    {"x-amz-checksum-crc32: ", "CRC32", rawCRC32Of, S3ContentCheck::CRC32, S3ContentCheck::PartCRC32s},
    {"x-amz-checksum-sha256: ", "SHA256", rawSHA256Of, S3ContentCheck::SHA256, S3ContentCheck::PartSHA256s},
};

const std::string encrypted = "x-amz-server-side-encryption: aws:kms\r\n";

TEST(S3VerificationValuesTest, AreThoseOfTheStandards) {
    EXPECT_EQ(base64(rawCRC32Of("123456789")), "y/Q5Jg==");
    EXPECT_EQ(base64(rawCRC32COf("123456789")), "4waSgw==");
    EXPECT_EQ(base64(rawCRC64NVMEOf("123456789")), "rosUhgp5mIg=");
    EXPECT_EQ(base64(rawSHA256Of("hello")), "LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=");
}

// ---- downloads in parts ----------------------------------------------------------------------------------

class S3VerificationTest : public testing::Test {
protected:
    S3VerificationTest() : content(ScriptedPeer::pattern(0, 4 * partSize + 100)) {
        client.setBaseURL(String(object.peer.url("")));
        fs::create_directories(folder);
        object.set(content);
        vexil::CRetryPolicy::Settings retries;
        retries.pauseFactor = 0;
        settings.partSize = partSize;
        settings.retryPolicy = vexil::CRetryPolicy(retries);
    }
    ~S3VerificationTest() override { fs::remove_all(folder); }

    /// Into the file and into a stream, which must agree. The calls are those of the file.
    S3ContentCheck download(const CS3GetOptions& options = {}) {
        object.forgetCalls();
        CS3TransferManager manager(client, settings);
        const CS3DownloadResult result = manager.downloadFile("b", "k", path, options);
        EXPECT_TRUE(load() == object.body());
        fs::remove(path);
        const auto calls = object.calls();
        zet::CBufferStream stream;
        EXPECT_EQ(manager.download("b", "k", &stream, options).check, result.check);
        EXPECT_EQ(stream.getSize(), static_cast<int64>(object.body().size()));
        object.setCalls(calls);
        return result.check;
    }
    std::string failure() {
        CS3TransferManager manager(client, settings);
        zet::CBufferStream stream;
        const auto error = thrownBy<CError>([&] { (void)manager.downloadFile("b", "k", path); });
        const auto streamError = thrownBy<CError>([&] { (void)manager.download("b", "k", &stream); });
        EXPECT_TRUE(fs::is_empty(folder));
        if (!error || !streamError) {
            return "(none)";
        }
        EXPECT_EQ(error->getKind(), ErrorKind::InvalidData);
        EXPECT_TRUE(vexil::isTransientError(*error));
        EXPECT_EQ(error->getMessage(), streamError->getMessage());
        return error->getMessage().toUTF8();
    }
    /// All requests for bytes give the object with one other bit.
    void flipBit(std::size_t position) {
        object.setFault([this, position](const ObjectCall& call) -> std::optional<std::string> {
            const auto first = static_cast<std::size_t>(std::max<int64>(call.first, 0));
            if (call.method == "HEAD" || position < first || position > static_cast<std::size_t>(call.last)) {
                return std::nullopt;
            }
            std::string response = object.makeResponse(call);
            response[response.find("\r\n\r\n") + 4 + position - first] ^= 1;
            return response;
        });
    }
    std::string load() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    int headCount() const {
        const auto starts = object.starts();
        return static_cast<int>(std::count(starts.begin(), starts.end(), -1));
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-verification-" + std::to_string(std::random_device()()));
    const fs::path path = folder / "file";
    FakeObject object;
    CS3Client client{{.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false};
    const std::string content;
    CS3TransferSettings settings;
};

TEST_F(S3VerificationTest, OnlyTheFirstRequestAsksForChecksums) {
    EXPECT_EQ(download(), S3ContentCheck::MD5);
    EXPECT_EQ(object.calls().size(), 5u);
    for (const ObjectCall& call : object.calls()) {
        EXPECT_EQ(call.asksForChecksum, call.first == 0);
    }
    settings.verifiesChecksums = false;
    object.setHeaders(encrypted);
    EXPECT_EQ(download(), S3ContentCheck::None);
    EXPECT_EQ(object.calls().size(), 5u);
    for (const ObjectCall& call : object.calls()) {
        EXPECT_FALSE(call.asksForChecksum);
    }
    object.setChecksums("x-amz-checksum-crc32c: " + base64(rawCRC32COf(content)) + "\r\n");
    EXPECT_EQ(download({.asksForChecksum = true}), S3ContentCheck::CRC32C);
}

TEST_F(S3VerificationTest, ChecksumOfTheObjectIsCompared) {
    object.setHeaders(encrypted);
    for (const Algorithm& algorithm : algorithms) {
        for (const char* type : {"", "x-amz-checksum-type: FULL_OBJECT\r\n"}) {
            for (const std::size_t size : {std::size_t{0}, std::size_t{1}, partSize, 2 * partSize + 1}) {
                object.set(content.substr(0, size));
                object.setChecksums(algorithm.header + base64(algorithm.hash(object.body())) + "\r\n" + type);
                EXPECT_EQ(download(), algorithm.check) << size;
                EXPECT_EQ(headCount(), size == 0 || size > partSize ? 1 : 0);
            }
        }
    }
}

TEST_F(S3VerificationTest, FlippedBitIsNoticedByAChecksum) {
    object.setHeaders(encrypted);
    for (const Algorithm& algorithm : algorithms) {
        const std::string right = base64(algorithm.hash(content));
        object.setChecksums(algorithm.header + right + "\r\n");
        for (const std::size_t position : {std::size_t{0}, partSize - 1, partSize, content.size() - 1}) {
            std::string wrong = content;
            wrong[position] ^= 1;
            flipBit(position);
            EXPECT_EQ(failure(), "The content of 'k' has the " + algorithm.name + " " +
                                     base64(algorithm.hash(wrong)) + ", but the service tells " + right +
                                     ".");
        }
        object.setFault(nullptr);
        object.setChecksums(algorithm.header + base64(algorithm.hash("other")) + "\r\n");
        EXPECT_THAT(failure(), StartsWith("The content of 'k' has the " + algorithm.name + " " + right));
    }
}

TEST_F(S3VerificationTest, ChecksumOfThePartsIsCompared) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    object.setHeaders(encrypted);
    for (const Algorithm& algorithm : algorithms) {
        object.setChecksums(algorithm.header +
                            compositeOf(algorithm.hash, content, {15'000, 15'000, 10'100}) +
                            "\r\nx-amz-checksum-type: COMPOSITE\r\n");
        EXPECT_EQ(download(), algorithm.checkOfParts);
        EXPECT_EQ(headCount(), 3);
        for (const std::size_t position : {0, 14'999, 15'000, 40'099}) {
            flipBit(position);
            EXPECT_THAT(failure(), AllOf(StartsWith("The content of 'k' has the " + algorithm.name + " "),
                                         HasSubstr("-3 in parts of 15000 bytes, but the service tells "),
                                         EndsWith("-3.")));
        }
        object.setFault(nullptr);
    }
}

TEST_F(S3VerificationTest, StrongestValueThatNeedsNoPartSizeIsTaken) {
    object.set(content.substr(0, partSize));
    const std::string crc32c = "x-amz-checksum-crc32c: " + base64(rawCRC32COf(object.body())) + "\r\n";
    const std::string sha256 = "x-amz-checksum-sha256: " + base64(rawSHA256Of(object.body())) + "\r\n";
    object.setChecksums(crc32c);
    EXPECT_EQ(download(), S3ContentCheck::MD5);
    object.setChecksums(crc32c + sha256);
    EXPECT_EQ(download(), S3ContentCheck::SHA256);
    object.setUploadedParts({5'000, 5'000});
    object.setChecksums(crc32c);
    EXPECT_EQ(download(), S3ContentCheck::CRC32C);
    EXPECT_EQ(headCount(), 0);
    object.setChecksums("");
    EXPECT_EQ(download(), S3ContentCheck::PartMD5s);
    settings.verifiesETags = false;
    object.setChecksums(crc32c);
    EXPECT_EQ(download(), S3ContentCheck::CRC32C);
}

TEST_F(S3VerificationTest, CRC64OfTheWholeObjectNeedsNoSizeOfParts) {
    // As Amazon tells it of every object, also of one in parts.
    object.setUploadedParts({15'000, 15'000, 10'100});
    const std::string right = base64(rawCRC64NVMEOf(content));
    object.setChecksums("x-amz-checksum-crc64nvme: " + right + "\r\nx-amz-checksum-type: FULL_OBJECT\r\n");
    object.setHeaders(encrypted);
    EXPECT_EQ(download(), S3ContentCheck::CRC64NVME);
    EXPECT_EQ(headCount(), 1);
    flipBit(0);
    EXPECT_THAT(failure(), AllOf(StartsWith("The content of 'k' has the CRC64NVME "), HasSubstr(right)));
    object.setFault(nullptr);
    object.setChecksums("x-amz-checksum-crc64nvme: " + right + "-3\r\nx-amz-checksum-type: COMPOSITE\r\n");
    EXPECT_EQ(download(), S3ContentCheck::None) << "services do not combine it";
}

TEST_F(S3VerificationTest, ChecksumOfARangeIsNotCompared) {
    object.setHeaders("x-amz-checksum-sha256: " + base64(rawSHA256Of(content.substr(0, partSize))) + "\r\n");
    EXPECT_EQ(download(), S3ContentCheck::MD5);
}

TEST_F(S3VerificationTest, ValuesThatCannotBeReadAreIgnored) {
    object.setHeaders(encrypted);
    const std::string sum = base64(rawCRC32COf("other"));
    for (const std::string& value :
         {std::string("!!!!!!=="), std::string("AAAA"), std::string("AAAAAAA="), std::string("AAAAAA==AAAA"),
          std::string("AAAA===="), std::string("\"AAAAAA==\""), sum + "-", sum + "-0", sum + "-x",
          sum + "--1", sum + "-10001", sum + "-99999999999999999999", std::string("-2"),
          std::string("AAAA-2"), sum + "-2\r\nx-amz-checksum-type: FULL_OBJECT",
          sum + "\r\nx-amz-checksum-type: COMPOSITE"}) {
        object.setChecksums("x-amz-checksum-crc32c: " + value + "\r\nx-amz-checksum-sha256: " + value +
                            "\r\nx-amz-checksum-crc64nvme: " + value + "\r\n");
        EXPECT_EQ(download(), S3ContentCheck::None) << value;
    }
}

TEST_F(S3VerificationTest, ServiceThatRefusesTheQuestionIsNotAFailure) {
    object.setHeaders(encrypted);
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.method == "HEAD" ? std::optional<std::string>("HTTP/1.1 403 Forbidden\r\n\r\n")
                                     : std::nullopt;
    });
    EXPECT_EQ(download(), S3ContentCheck::None);
    // The object of another question.
    object.setChecksums("x-amz-checksum-crc32c: AAAAAA==\r\n");
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.method == "HEAD"
                   ? std::optional<std::string>("HTTP/1.1 200 OK\r\nETag: \"other\"\r\nContent-Length: 5\r\n"
                                                "x-amz-checksum-crc32c: AAAAAA==\r\n\r\n")
                   : std::nullopt;
    });
    EXPECT_EQ(download(), S3ContentCheck::None);
}

// ---- the size of the parts -------------------------------------------------------------------------------

std::string sizeHeader(const std::string& value) {
    return "x-amz-meta-vexil-part-size: " + value + "\r\n";
}

TEST_F(S3VerificationTest, PartSizeOfTheMetadataSavesRequests) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    object.setHeaders(sizeHeader("15000"));
    EXPECT_EQ(download(), S3ContentCheck::PartMD5s);
    EXPECT_EQ(headCount(), 0);
    // A service that does not know part numbers.
    object.setUploadedParts({});
    object.set(content, eTagOfParts(content, {15'000, 15'000, 10'100}));
    EXPECT_EQ(download(), S3ContentCheck::PartMD5s);
    for (const std::size_t position : {0, 14'999, 15'000, 40'099}) {
        flipBit(position);
        EXPECT_THAT(failure(),
                    EndsWith("-3. The size of the parts comes from the metadata vexil-part-size of "
                             "the object: either the content or this number is wrong."));
    }
}

TEST_F(S3VerificationTest, PartSizeThatCannotBeRightIsIgnored) {
    for (const char* value : {"", "abc", "0", "-15000", "+15000", "15000,15000", "15000 bytes", "1.5e4",
                              "13366", "20050", "99999999999999999999999", "9223372036854775807"}) {
        object.setHeaders(sizeHeader(value));
        object.setUploadedParts({15'000, 15'000, 10'100});
        EXPECT_EQ(download(), S3ContentCheck::PartMD5s) << value;
        EXPECT_EQ(headCount(), 2) << value;
        object.setUploadedParts({});
        object.set(content, eTagOfParts(content, {15'000, 15'000, 10'100}));
        EXPECT_EQ(download(), S3ContentCheck::None) << value;
    }
}

TEST_F(S3VerificationTest, WrongPartSizeOfTheMetadataIsNoFailureIfTheServiceKnowsBetter) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    object.setHeaders(sizeHeader("15001"));
    CS3TransferManager manager(client, settings);
    LogCapture log;
    EXPECT_EQ(manager.downloadFile("b", "k", path).check, S3ContentCheck::PartMD5s);
    EXPECT_TRUE(load() == content);
    EXPECT_EQ(headCount(), 2);
    EXPECT_THAT(log.lines(),
                testing::Contains("W: The metadata vexil-part-size of the object 'k' is wrong: its parts do "
                                  "not have 15001 bytes."));
    // The bytes are gone.
    zet::CBufferStream stream;
    EXPECT_EQ(manager.download("b", "k", &stream).check, S3ContentCheck::None);
    // Parts of different sizes.
    object.setUploadedParts({15'000, 10'000, 15'100});
    EXPECT_EQ(download(), S3ContentCheck::None);
    // The content is wrong as well: a file can still be compared.
    fs::remove(path);
    object.setUploadedParts({15'000, 15'000, 10'100});
    flipBit(20'000);
    const auto error = thrownBy<CError>([&] { (void)manager.downloadFile("b", "k", path); });
    EXPECT_THAT(error->getMessage().toUTF8(), HasSubstr("in parts of 15000 bytes"));
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(S3VerificationTest, PartSizeThatTheServiceConfirmsIsNotBlamed) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    object.setHeaders(sizeHeader("15000"));
    flipBit(20'000);
    EXPECT_THAT(failure(), AllOf(HasSubstr("in parts of 15000 bytes"), Not(HasSubstr("metadata"))));
}

// ---- CS3Client::getVerifiedObject() ----------------------------------------------------------------------

TEST_F(S3VerificationTest, ClientComparesObjectsOfAllKinds) {
    CNetRequest request;
    const auto get = [&] {
        zet::CBufferStream stream;
        object.forgetCalls();
        const CS3DownloadResult result = client.getVerifiedObject(request, "b", "k", &stream);
        EXPECT_EQ(result.size, static_cast<int64>(object.body().size()));
        EXPECT_EQ(stream.getSize(), result.size);
        return result.check;
    };
    EXPECT_EQ(get(), S3ContentCheck::MD5);
    EXPECT_TRUE(object.calls().at(0).asksForChecksum);
    EXPECT_EQ(object.calls().size(), 1u);
    object.setUploadedParts({15'000, 15'000, 10'100});
    EXPECT_EQ(get(), S3ContentCheck::PartMD5s);
    ASSERT_EQ(object.calls().size(), 4u);
    EXPECT_EQ(object.calls().at(3).ifMatch, eTagOfParts(content, {15'000, 15'000, 10'100}));
    object.setHeaders(sizeHeader("15000"));
    EXPECT_EQ(get(), S3ContentCheck::PartMD5s);
    EXPECT_EQ(object.calls().size(), 1u);
    object.setHeaders(sizeHeader("15001"));
    EXPECT_EQ(get(), S3ContentCheck::None);
    object.setHeaders(encrypted);
    object.setChecksums(
        "x-amz-checksum-sha256: " + compositeOf(rawSHA256Of, content, {15'000, 15'000, 10'100}) + "\r\n");
    EXPECT_EQ(get(), S3ContentCheck::PartSHA256s);
    object.setHeaders("");
    object.setChecksums("");
    object.setUploadedParts({});
    object.set(content, eTagOfParts(content, {15'000, 15'000, 10'100}));
    EXPECT_EQ(get(), S3ContentCheck::None);
    object.set("");
    EXPECT_EQ(get(), S3ContentCheck::MD5);
}

TEST_F(S3VerificationTest, ClientNoticesAFlippedBit) {
    CNetRequest request;
    const auto failureOf = [&] {
        zet::CBufferStream stream;
        const auto error =
            thrownBy<CError>([&] { (void)client.getVerifiedObject(request, "b", "k", &stream); });
        EXPECT_EQ(error ? error->getKind() : ErrorKind::Other, ErrorKind::InvalidData);
        return error ? error->getMessage().toUTF8() : "(none)";
    };
    for (const std::size_t position : {std::size_t{0}, content.size() / 2, content.size() - 1}) {
        object.set(content);
        object.setFault([this, position](const ObjectCall& call) -> std::optional<std::string> {
            if (call.method == "HEAD") {
                return std::nullopt;
            }
            std::string response = object.makeResponse(call);
            response[response.find("\r\n\r\n") + 4 + position] ^= 1;
            return response;
        });
        EXPECT_THAT(failureOf(),
                    AllOf(StartsWith("The content of 'k' has the MD5 "),
                          EndsWith(", but the service tells " + hexOf(rawMD5Of(content)) + ".")));
        object.setUploadedParts({15'000, 15'000, 10'100});
        EXPECT_THAT(failureOf(), AllOf(StartsWith("The content of 'k' has the ETag "), EndsWith("-3.")));
    }
}

TEST_F(S3VerificationTest, ClientDoesNotMixTwoObjects) {
    object.setUploadedParts({15'000, 15'000, 10'100});
    object.setFault([this](const ObjectCall& call) -> std::optional<std::string> {
        if (call.method == "HEAD" && call.part == 3) {
            const std::string response = object.makeResponse(call);
            object.replaceNow("another object");
            return response;
        }
        return std::nullopt;
    });
    CNetRequest request;
    zet::CBufferStream stream;
    const auto error =
        thrownBy<CS3Error>([&] { (void)client.getVerifiedObject(request, "b", "k", &stream); });
    EXPECT_TRUE(error && CS3Client::isPreconditionFailed(*error));
    EXPECT_EQ(stream.getSize(), 0);
}

const std::string hello = "ETag: \"5d41402abc4b2a76b9719d911017c592\"\r\n";

class S3VerifiedGetTest : public S3WireTest {
protected:
    CS3DownloadResult get(const CS3GetOptions& options = {}) {
        return client.getVerifiedObject(request, "b", "k", stream, options);
    }
    P<zet::CBufferStream> stream = zet::make<zet::CBufferStream>();
};

TEST_F(S3VerifiedGetTest, SignsTheQuestionForChecksums) {
    answer({reply("200 OK", "hello", hello), reply("200 OK", "hello", hello)});
    const CS3DownloadResult result = get();
    EXPECT_EQ(result.eTag, "\"5d41402abc4b2a76b9719d911017c592\"");
    EXPECT_EQ(result.size, 5);
    EXPECT_EQ(result.check, S3ContentCheck::MD5);
    const std::string toSign = "GET\n\n\n" + fixedDate + "\nx-amz-checksum-mode:ENABLED\n/b/k";
    EXPECT_EQ(peer.requests().at(0).head,
              head("GET /b/k", {dateLine, "x-amz-checksum-mode: ENABLED", authorizationOf(toSign)}));
    client.setSignatureVersion(4);
    (void)get();
    EXPECT_THAT(peer.requests().at(1).head, HasSubstr("x-amz-checksum-mode;"));
}

TEST_F(S3VerifiedGetTest, TakesABodyOfUnknownLength) {
    const std::string chunked = "HTTP/1.1 200 OK\r\n" + hello + "Transfer-Encoding: chunked\r\n\r\n";
    answer({chunked + "2\r\nhe\r\n3\r\nllo\r\n0\r\n\r\n", chunked + "2\r\nje\r\n3\r\nllo\r\n0\r\n\r\n"});
    const CS3DownloadResult result = get();
    EXPECT_EQ(result.size, 5);
    EXPECT_EQ(result.check, S3ContentCheck::MD5);
    EXPECT_THAT(transientErrorOf([&] { (void)get(); }), StartsWith("The content of 'k' has the MD5 "));
}

TEST_F(S3VerifiedGetTest, BeginsAgainWithEachTry) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("500 Internal Server Error", errorDocument("InternalError")))
        .expectRequest()
        .reply(reply("200 OK", "hello", hello));
    EXPECT_EQ(get().check, S3ContentCheck::MD5);
    EXPECT_EQ(stream->getSize(), 5);
}

TEST_F(S3VerifiedGetTest, RefusalsAreTheErrorsOfGetObject) {
    answer({reply("412 Precondition Failed", errorDocument("PreconditionFailed")),
            "HTTP/1.1 304 Not Modified\r\nETag: \"e\"\r\n\r\n"});
    EXPECT_TRUE(
        CS3Client::isPreconditionFailed(*thrownBy<CS3Error>([&] { (void)get({.ifMatch = "\"e\""}); })));
    try {
        (void)get({.ifNoneMatch = "\"e\""});
        ADD_FAILURE();
    } catch (const CError& error) {
        EXPECT_TRUE(CS3Client::isNotModified(error));
    }
    EXPECT_EQ(stream->getSize(), 0);
}

TEST_F(S3VerifiedGetTest, RangeInsteadOfTheObjectIsAnError) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("206 Partial Content", "ell", hello + "Content-Range: bytes 1-3/5\r\n"))
        .clientMayLeave();
    EXPECT_EQ(plainErrorOf([&] { (void)get(); }),
              "The server responded to the request for the whole object with a part of it.");
    EXPECT_EQ(stream->getSize(), 0);
}

TEST_F(S3VerifiedGetTest, ErrorInsideABodyIsNoticed) {
    // The connection ends within the body, and the stream cannot be right.
    const std::string whole = reply("200 OK", "hello", hello);
    peer.onConnection().expectRequest().replyCut(whole, whole.size() - 2).close();
    EXPECT_THROW((void)get(), CCURLError);
    // A body that is all there, but is an error of the service.
    answer({reply("200 OK", "<Error/>", hello)});
    EXPECT_THAT(transientErrorOf([&] { (void)get(); }), StartsWith("The content of 'k' has the MD5 "));
}

TEST_F(S3VerifiedGetTest, WrongArgumentsAreRefused) {
    EXPECT_EQ(argErrorOf([&] { (void)client.getVerifiedObject(request, "b", "k", nullptr); }),
              "CS3Client::prepareGetObjectRequest: data stream must not be null");
    EXPECT_EQ(argErrorOf([&] { (void)get({.partNumber = 1}); }),
              "CS3Client::prepareGetObjectRequest: a part number and a stream exclude each other");
}

}  // namespace
