// A file of 1 GiB passes through the library without being kept in memory, and large directories are listed.
#include "tests/ftp/FTPServerTestSupport.h"
#include "tests/support/GeneratedStream.h"
#include "tests/support/PeakMemory.h"

#include <cstdio>

namespace {

using namespace vexil_test;

constexpr int64 fileSize = int64{1} << 30;
constexpr int allowedGrowth = 16 * 1024;  // KiB

class FTPServerLargeTest : public FTPDirectoryTest {
protected:
    FTPServerLargeTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPServerLargeTest, testing::Values(pureFTPdPlain, pyftpdlibPlain), nameOf);

TEST_P(FTPServerLargeTest, FileStreamsInBoundedMemory) {
    // Load libraries and allocate buffers with one small transfer first.
    upload(path("small"), "x");
    download(path("small"));
    const int before = peakResidentSize();
    ASSERT_GT(before, 0);

    const P<GeneratedStream> stream = new GeneratedStream(fileSize);
    client.prepareUploadRequest(request, path("large"), stream, fileSize, false);
    request.perform();
    EXPECT_EQ(getInfo(path("large"))->getSize(), fileSize);
    EXPECT_EQ(static_cast<int64>(std::filesystem::file_size(onDisk("large"))), fileSize);
    stream->seek(0);
    client.prepareDownloadRequest(request, path("large"), 0, -1);
    request.setReceiveDataStream(stream);
    request.perform();
    EXPECT_EQ(stream->getPosition(), fileSize);

    // As an interrupted download continues.
    stream->seek(fileSize - 1000);
    client.prepareDownloadRequest(request, path("large"), fileSize - 1000, -1);
    request.setReceiveDataStream(stream);
    request.perform();
    EXPECT_EQ(stream->getPosition(), fileSize);

    const int growth = peakResidentSize() - before;
    RecordProperty("peak_growth_kib", growth);
    std::printf("peak resident size grew by %d KiB\n", growth);
    EXPECT_LT(growth, allowedGrowth);
}

TEST_P(FTPServerLargeTest, TenThousandEntriesAreListed) {
    makeOnDisk("many");
    std::vector<std::string> expected;
    for (int number = 10000; number < 20000; ++number) {
        const std::string name = "entry number " + std::to_string(number);
        writeOnDisk("many/" + name);
        expected.push_back("f " + name);
    }
    EXPECT_EQ(list(path("many")), expected);
}

}  // namespace
