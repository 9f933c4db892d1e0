// Downloads in parts from a real S3 server.
#include "tests/s3/S3Server.h"
#include "tests/support/GeneratedStream.h"
#include "tests/support/PeakMemory.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/FileInStream.h"

#include <filesystem>
#include <fstream>
#include <malloc.h>
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
    S3DownloadServerTest() : client(makeServerClient()) {
        client.setSignatureVersion(GetParam());
        bucket = makeBucketName("download-");
    }

    void SetUp() override { client.createBucket(request, bucket); }

    void upload(int64 size, int64 partSize, bool storesPartSize = false) {
        const P<GeneratedStream> stream = new GeneratedStream(size);
        CS3TransferManager manager(client, {.partSize = partSize, .storesPartSize = storesPartSize});
        (void)manager.upload(stream, size, bucket, "k");
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

    const TestFolder testFolder{"vexil-download-server"};
    const fs::path folder = testFolder.path;
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

// The gateway does not tell the sizes of parts.
TEST_P(S3DownloadServerTest, ComparesThePartsOfTheMetadata) {
    const int64 size = 11 * mebibyte + 1;
    for (const bool storesPartSize : {false, true}) {
        upload(size, 5 * mebibyte, storesPartSize);
        const S3ContentCheck expected = storesPartSize ? S3ContentCheck::PartMD5s : S3ContentCheck::None;
        CS3TransferManager manager(client, {.partSize = 3 * mebibyte});
        EXPECT_EQ(manager.downloadFile(bucket, "k", path).check, expected);
        expectFile(size);
        EXPECT_EQ(manager.download(bucket, "k", new GeneratedStream(size)).check, expected);
        EXPECT_EQ(client.getVerifiedObject(request, bucket, "k", new GeneratedStream(size)).check, expected);
    }
    upload(mebibyte, 0);
    EXPECT_EQ(client.getVerifiedObject(request, bucket, "k", new GeneratedStream(mebibyte)).check,
              S3ContentCheck::MD5);
}

INSTANTIATE_TEST_SUITE_P(Versions, S3DownloadServerTest, testing::Values(2, 4),
                         testing::PrintToStringParamName());

}  // namespace
