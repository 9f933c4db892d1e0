// Downloads in parts from a real S3 server.
#include "tests/s3/S3TestSupport.h"
#include "tests/support/GeneratedStream.h"
#include "tests/support/PeakMemory.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/FileInStream.h"
#include "zet/TimeFields.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <random>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using vexil::CCancelToken;
using vexil::CS3DownloadResult;
using vexil::CS3TransferManager;
using vexil::S3ContentCheck;

constexpr int64 mebibyte = 1 << 20;
constexpr int64 objectSize = 64 * mebibyte + 1;
constexpr int allowedGrowth = 16 * 1024;  // KiB

String environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

/// Cancels after some bytes.
class Canceller : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    explicit Canceller(CCancelToken* token) : m_token(token) {}
    void onProgress(int64 doneBytes, int64) override {
        if (doneBytes > objectSize / 2) {
            m_token->cancel();
        }
    }

private:
    const P<CCancelToken> m_token;
};

/// With both versions of the signature. Each test has its own bucket.
class S3DownloadServerTest : public testing::TestWithParam<int> {
protected:
    S3DownloadServerTest()
        : client(environment("VEXIL_S3_ACCESS_KEY"), environment("VEXIL_S3_SECRET_KEY"), false) {
        client.setBaseURL(environment("VEXIL_S3_ENDPOINT"));
        client.setSignatureVersion(GetParam());
        const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
        bucket = String(std::string("download-") + info->name()).toLower();
        bucket.replaceAll("/", "-v");
        fs::create_directories(folder);
    }
    ~S3DownloadServerTest() override { fs::remove_all(folder); }

    void SetUp() override {
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

    void upload(int64 size, int64 partSize) {
        const P<GeneratedStream> stream = new GeneratedStream(size);
        (void)CS3TransferManager(client, {.partSize = partSize}).upload(stream, size, bucket, "k");
    }
    /// Throws if the file has other bytes.
    void expectFile(int64 size) const {
        GeneratedStream expected(size);
        const P<zet::CFileInStream> file = zet::make<zet::CFileInStream>(path);
        EXPECT_EQ(file->getSize(), size);
        std::vector<char> block(1 << 16);
        while (const int length = file->read(block.data(), static_cast<int>(block.size()))) {
            expected.write(block.data(), length);
        }
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-download-" + std::to_string(std::random_device()()));
    const fs::path path = folder / "file";
    CS3Client client;
    CNetRequest request;
    String bucket;
};

TEST_P(S3DownloadServerTest, ReadsObjectsOfAllSizes) {
    for (const int64 size : {int64{0}, int64{1}, 6 * mebibyte, 6 * mebibyte + 1}) {
        upload(size, 6 * mebibyte);
        CS3TransferManager manager(client, {.partSize = mebibyte});
        EXPECT_EQ(manager.downloadFile(bucket, "k", path).size, size);
        expectFile(size);
        const P<GeneratedStream> stream = new GeneratedStream(size);
        EXPECT_EQ(manager.download(bucket, "k", stream).size, size);
        EXPECT_EQ(stream->getPosition(), size);
    }
}

TEST_P(S3DownloadServerTest, ReadsALargeObjectInBoundedMemory) {
    upload(objectSize, 0);
    CS3TransferManager manager(client);
    (void)manager.download(bucket, "k", new GeneratedStream(objectSize));  // loads what is needed
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak is that of now
    const int before = peakResidentSize();
    ASSERT_GT(before, 0);
    const CS3DownloadResult result = manager.downloadFile(bucket, "k", path);
    const int growth = peakResidentSize() - before;
    RecordProperty("peak_growth_kib", growth);
    std::printf("peak resident size grew by %d KiB, the content check is %d\n", growth,
                static_cast<int>(result.check));
    EXPECT_LT(growth, allowedGrowth);
    expectFile(objectSize);
}

TEST_P(S3DownloadServerTest, ReadsOnlyMissingPartsLater) {
    upload(objectSize, 0);
    const P<CCancelToken> token = new CCancelToken;
    CS3TransferManager cancelled(
        client,
        {.parallelParts = 2, .partSize = mebibyte, .cancelToken = token, .observer = new Canceller(token)});
    EXPECT_THROW((void)cancelled.downloadFile(bucket, "k", path), CCURLError);
    EXPECT_FALSE(fs::exists(path));
    CS3TransferManager manager(client);
    const CS3DownloadResult result = manager.downloadFile(bucket, "k", path);
    EXPECT_GT(result.resumedBytes, objectSize / 4);
    expectFile(objectSize);
}

INSTANTIATE_TEST_SUITE_P(Versions, S3DownloadServerTest, testing::Values(2, 4));

}  // namespace
