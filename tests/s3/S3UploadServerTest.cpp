// Uploads in parts to a real S3 server.
#include "tests/s3/S3Server.h"
#include "tests/support/GeneratedStream.h"
#include "tests/support/PeakMemory.h"
#include "vexil/s3/S3TransferManager.h"

#include <filesystem>
#include <fstream>
#include <malloc.h>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using vexil::CCancelToken;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::CS3UploadResult;

constexpr int64 mebibyte = 1 << 20;
constexpr int64 fileSize = 64 * mebibyte;
constexpr int allowedGrowth = 16 * 1024;  // KiB

/// Sets the peak back to the size of now (Linux).
void forgetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

/// Cancels after some bytes.
class Canceller : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    explicit Canceller(CCancelToken* token) : m_token(token) {}
    void onProgress(int64 doneBytes, int64) override {
        if (doneBytes > fileSize / 2) {
            m_token->cancel();
        }
    }

private:
    const P<CCancelToken> m_token;
};

/// With both versions of the signature. Each test has its own bucket.
class S3UploadServerTest : public testing::TestWithParam<int> {
protected:
    S3UploadServerTest() : client(makeServerClient()), stream(new GeneratedStream(fileSize)) {
        client.setSignatureVersion(GetParam());
        bucket = makeBucketName("upload-");
    }

    void SetUp() override { client.createBucket(request, bucket); }

    fs::path writeFile() const {
        const fs::path path = folder / "file";
        std::ofstream file(path, std::ios::binary);
        char bytes[1 << 14];
        while (const int length = stream->read(bytes, sizeof bytes)) {
            file.write(bytes, length);
        }
        return path;
    }
    /// The object has the bytes of the stream.
    void expectStored(const CS3UploadResult& result) {
        EXPECT_EQ(result.size, fileSize);
        EXPECT_EQ(result.partCount, 8);
        EXPECT_THAT(result.eTag.toUTF8(), testing::MatchesRegex("\"?[0-9a-f]+-8\"?"));
        stream->seek(0);
        client.getObject(request, bucket, "k", 0, -1, stream);
        EXPECT_EQ(stream->getPosition(), fileSize);
    }

    const TestFolder testFolder{"vexil-upload-server"};
    const fs::path folder = testFolder.path;
    CS3Client client;
    CNetRequest request;
    String bucket;
    P<GeneratedStream> stream;
};

TEST_P(S3UploadServerTest, FileIsStoredInPartsInBoundedMemory) {
    const fs::path path = writeFile();
    CS3TransferManager manager(client);
    // Load libraries and allocate buffers first.
    std::ofstream(folder / "small") << "small";
    EXPECT_EQ(manager.uploadFile(folder / "small", bucket, "small").size, 5);
    forgetPeak();
    const int before = peakResidentSize();
    ASSERT_GT(before, 0);
    const CS3UploadResult result = manager.uploadFile(path, bucket, "k", {.contentType = "text/a"});
    const int growth = peakResidentSize() - before;
    RecordProperty("peak_growth_kib", growth);
    std::printf("peak resident size grew by %d KiB\n", growth);
    EXPECT_LT(growth, allowedGrowth);
    expectStored(result);
    EXPECT_EQ(request.getResponseHeaderMap().at("content-type"), "text/a");
}

TEST_P(S3UploadServerTest, StreamIsStoredInParts) {
    CS3TransferManager manager(client);
    expectStored(manager.uploadStream(stream, bucket, "k"));
    stream->seek(0);
    expectStored(manager.upload(stream, fileSize, bucket, "k"));
}

TEST_P(S3UploadServerTest, PartsOfAStreamAreNotKept) {
    // Memory of parts goes back to the system at once, so that all of it is counted.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    CS3TransferManager manager(client, {.parallelParts = 2});
    EXPECT_EQ(manager.uploadStream(stream, bucket, "k").partCount, 8);
    stream->seek(0);
    forgetPeak();
    const int before = peakResidentSize();
    expectStored(manager.uploadStream(stream, bucket, "k"));
    const int growth = peakResidentSize() - before;
    std::printf("peak resident size grew by %d KiB\n", growth);
    EXPECT_LT(growth, 2 * 8 * 1024 + 4 * 1024);
}

TEST_P(S3UploadServerTest, CancelledUploadIsResumed) {
    const fs::path path = writeFile();
    CS3TransferSettings settings;
    settings.parallelParts = 2;
    settings.cancelToken = new CCancelToken;
    settings.observer = new Canceller(settings.cancelToken);
    settings.keepsForResume = true;
    CS3TransferManager manager(client, settings);
    EXPECT_THROW((void)manager.uploadFile(path, bucket, "k"), CCURLError);
    EXPECT_EQ(client.getObjectSize(request, bucket, "k"), -1);
    CS3TransferManager other(client);
    expectStored(other.resumeUpload(manager.getResumeToken(), path));
    // Nothing is left to resume; the object is the proof that it was complete.
    expectStored(other.resumeUpload(manager.getResumeToken(), path));
}

INSTANTIATE_TEST_SUITE_P(Version, S3UploadServerTest, testing::Values(2, 4),
                         testing::PrintToStringParamName());

}  // namespace
