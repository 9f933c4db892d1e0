// An object of 1 GiB passes through the library without being kept in memory.
#include "tests/s3/S3TestSupport.h"
#include "tests/support/GeneratedStream.h"
#include "tests/support/PeakMemory.h"

#include <cstdio>
#include <cstdlib>

namespace {

using namespace vexil_test;

constexpr int64 objectSize = int64{1} << 30;
constexpr int allowedGrowth = 16 * 1024;  // KiB

String environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

TEST(S3LargeObjectTest, StreamsInBoundedMemory) {
    CS3Client client(environment("VEXIL_S3_ACCESS_KEY"), environment("VEXIL_S3_SECRET_KEY"), false);
    client.setBaseURL(environment("VEXIL_S3_ENDPOINT"));
    client.setMaxRetries(0);
    const P<GeneratedStream> stream = new GeneratedStream(objectSize);
    CNetRequest request;
    client.createBucket(request, "large");
    // Load libraries and allocate buffers with one small transfer first.
    client.putObject(request, "large", "small", "x", 1, "");
    client.getObject(request, "large", "small", 0, -1);
    const int before = peakResidentSize();
    ASSERT_GT(before, 0);

    client.putObject(request, "large", "object", stream, objectSize, "");
    EXPECT_EQ(client.getObjectSize(request, "large", "object"), objectSize);
    stream->seek(0);
    client.getObject(request, "large", "object", 0, -1, stream);
    EXPECT_EQ(stream->getPosition(), objectSize);

    const int growth = peakResidentSize() - before;
    RecordProperty("peak_growth_kib", growth);
    std::printf("peak resident size grew by %d KiB\n", growth);
    EXPECT_LT(growth, allowedGrowth);
}

}  // namespace
